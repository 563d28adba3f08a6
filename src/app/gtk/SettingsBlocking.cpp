#include "app/gtk/ContentBlocking.h"
#include "app/gtk/Controls.h"
#include "app/gtk/SettingsPage.h"

#include <fmt/format.h>

#include <utility>

namespace vale::gtk {

namespace {

/// What is blocked: the filter lists, and the sites that are excepted.
class BlockingPage : public SettingsPage {
 public:
  explicit BlockingPage(const SettingsPlace& place)
      : SettingsPage(place, "Blocking", "action-unavailable-symbolic") {
    addState();
    addLists();
    sites_ = addGroup("Blocking Is Off for These Sites",
                      "Turn it off and on for the site that you are at in the main menu.");
    subscriptions_.push_back(lists().content().observe([this](const auto& content) { show(content); }));
  }

 private:
  ContentBlocking& blocking() const { return *place_.services.blocking; }
  BlockingLists& lists() const { return blocking().lists(); }

  void addState() {
    auto* group = addGroup("Content Blocking");
    auto* all = addSwitch(group, "Block Ads and Trackers", "", ContentBlocking::preferenceKey, true);
    auto* row = ADW_ACTION_ROW(gtk_widget_get_ancestor(GTK_WIDGET(all), ADW_TYPE_ACTION_ROW));
    subscriptions_.push_back(blocking().isWorking().observe([row](bool working) {
      adw_action_row_set_subtitle(
          row, working ? "The lists are being made ready. Long ones take a while; turn one "
                         "off to stop that."
                       : "What the lists below name is not loaded");
    }));
    own_ = addSwitch(group, "Well-Known Trackers",
                     "A short list that comes with Vale: hosts that only measure or advertise");
    connections_.push_back(connect(own_, "notify::active", [this](GParamSpec*) {
      lists().setOwnListEnabled(gtk_switch_get_active(own_));
    }));
    problem_ = newProblem();
    adw_preferences_group_add(group, GTK_WIDGET(problem_));
    retry_ = gtk_button_new_with_mnemonic("_Try Again");
    gtk_widget_set_halign(retry_, GTK_ALIGN_END);
    gtk_widget_set_margin_top(retry_, 8);
    connections_.push_back(connect(retry_, "clicked", [this] { blocking().retry(); }));
    adw_preferences_group_add(group, retry_);
    subscriptions_.push_back(blocking().problem().observe([this](const auto& problem) {
      say(problem_, problem.value_or(""));
      gtk_widget_set_visible(retry_, problem && blocking().filters().value().empty());
    }));
  }

  void addLists() {
    lists_ = addGroup("Your Lists", "Files in the form of EasyList, or hosts files. Vale keeps a copy, and "
                                    "fetches nothing: choose a newer file when you have one.");
    auto* suffix = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, 8);
    auto* spinner = gtk_spinner_new();
    gtk_widget_set_tooltip_text(spinner, "The lists are being made ready");
    gtk_box_append(GTK_BOX(suffix), spinner);
    subscriptions_.push_back(blocking().isWorking().observe([this, spinner](bool working) {
      working_ = working;
      gtk_spinner_set_spinning(GTK_SPINNER(spinner), working_ || taking_);
      spinner_ = spinner;
    }));
    auto* button = gtk_button_new_with_mnemonic("_Add List…");
    gtk_widget_set_valign(button, GTK_ALIGN_CENTER);
    connections_.push_back(connect(button, "clicked", [this] { choose(std::nullopt); }));
    gtk_box_append(GTK_BOX(suffix), button);
    adw_preferences_group_set_header_suffix(lists_, suffix);
    listProblem_ = newProblem();
    adw_preferences_group_add(lists_, GTK_WIDGET(listProblem_));
    subscriptions_.push_back(lists().storageError().observe(
        [this](const auto& problem) { say(listProblem_, problem.value_or("")); }));
  }

  /// Asks for a file, for a new list or in place of one.
  void choose(const std::optional<Uuid>& instead) {
    chooser_ = GObjectPointer<GtkFileChooserNative>::adopt(
        gtk_file_chooser_native_new(instead ? "Choose a Newer File" : "Add a Filter List", place_.window,
                                    GTK_FILE_CHOOSER_ACTION_OPEN, instead ? "_Replace" : "_Add", nullptr));
    chosen_ = connect(chooser_.get(), "response", [this, instead](int response) {
      const auto file =
          GObjectPointer<GFile>::adopt(gtk_file_chooser_get_file(GTK_FILE_CHOOSER(chooser_.get())));
      const char* path = response == GTK_RESPONSE_ACCEPT && file ? g_file_peek_path(file.get()) : nullptr;
      if (path) take(path, instead);
    });
    gtk_native_dialog_set_modal(GTK_NATIVE_DIALOG(chooser_.get()), TRUE);
    gtk_native_dialog_show(GTK_NATIVE_DIALOG(chooser_.get()));
  }

  void take(const std::filesystem::path& file, const std::optional<Uuid>& instead) {
    setTaking(1);
    say(listProblem_, "");
    const auto answered = [this, alive = std::weak_ptr(alive_)](const auto& taken) {
      if (alive.expired()) return;
      setTaking(-1);
      if (!taken) say(listProblem_, taken.error());
    };
    if (instead) {
      lists().replace(*instead, file, answered);
    } else {
      lists().add(file, answered);
    }
  }

  void setTaking(int change) {
    taking_ += change;
    gtk_spinner_set_spinning(GTK_SPINNER(spinner_), working_ || taking_ > 0);
  }

  void show(const BlockingContent& content) {
    gtk_switch_set_active(own_, content.ownList);
    if (!shown_ || content.lists != shown_->lists) showLists(content.lists);
    if (!shown_ || content.exceptedSites != shown_->exceptedSites) showSites(content.exceptedSites);
    shown_ = content;
  }

  void showLists(const std::vector<BlockingList>& now) {
    // A switch that is being turned must stay where it is.
    const auto changeless = [](BlockingList list) {
      list.enabled = true;
      return list;
    };
    if (shown_ && std::ranges::equal(now, shown_->lists, {}, changeless, changeless)) return;
    for (auto* row : listRows_) adw_preferences_group_remove(lists_, row);
    listRows_.clear();
    for (const auto& list : now) {
      auto* row = newRow(list.name, describeFilters(static_cast<std::size_t>(list.used),
                                                    static_cast<std::size_t>(list.notUnderstood)));
      addButton(row, "view-refresh-symbolic", fmt::format("Replace {} by a newer file", list.name),
                [this, id = list.id] { choose(id); });
      addButton(row, "user-trash-symbolic", fmt::format("Remove {}", list.name),
                [this, id = list.id] { lists().remove(id); });
      auto* enabled = gtk_switch_new();
      gtk_widget_set_valign(enabled, GTK_ALIGN_CENTER);
      gtk_switch_set_active(GTK_SWITCH(enabled), list.enabled);
      connections_.push_back(connect(enabled, "notify::active", [this, enabled, id = list.id](GParamSpec*) {
        lists().setEnabled(id, gtk_switch_get_active(GTK_SWITCH(enabled)));
      }));
      labelledBy(enabled, GTK_WIDGET(row));
      adw_action_row_add_suffix(row, enabled);
      adw_action_row_set_activatable_widget(row, enabled);
      adw_preferences_group_add(lists_, GTK_WIDGET(row));
      listRows_.push_back(GTK_WIDGET(row));
    }
    if (listRows_.empty()) {
      listRows_.push_back(GTK_WIDGET(addRow(lists_, "Lists that you add stand here.")));
    }
  }

  void showSites(const std::vector<std::string>& sites) {
    for (auto* row : siteRows_) adw_preferences_group_remove(sites_, row);
    siteRows_.clear();
    for (const auto& site : sites) {
      auto* row = addRow(sites_, site);
      addButton(row, "user-trash-symbolic", fmt::format("Block at {} again", site),
                [this, site] { lists().forgetSite(site); });
      siteRows_.push_back(GTK_WIDGET(row));
    }
    if (siteRows_.empty()) siteRows_.push_back(GTK_WIDGET(addRow(sites_, "It is on everywhere.")));
  }

  AdwPreferencesGroup *lists_ = nullptr, *sites_ = nullptr;
  GtkSwitch* own_ = nullptr;
  GtkLabel *problem_ = nullptr, *listProblem_ = nullptr;
  GtkWidget *retry_ = nullptr, *spinner_ = nullptr;
  bool working_ = false;
  int taking_ = 0;
  std::optional<BlockingContent> shown_;
  std::vector<GtkWidget*> listRows_, siteRows_;
  GObjectPointer<GtkFileChooserNative> chooser_;
  Connection chosen_;
};

}  // namespace

std::unique_ptr<SettingsPage> makeBlockingSettings(const SettingsPlace& place) {
  return std::make_unique<BlockingPage>(place);
}

}  // namespace vale::gtk
