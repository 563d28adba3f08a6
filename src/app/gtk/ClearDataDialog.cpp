#include "app/gtk/ClearDataDialog.h"

#include "app/gtk/BrowserServices.h"
#include "app/gtk/Controls.h"
#include "app/gtk/GObjectPointer.h"
#include "app/gtk/WhenDone.h"

#include <adwaita.h>
#include <fmt/format.h>

#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace vale::gtk {

namespace {

/// What most people mean; the rest is chosen one by one.
bool isUsual(DataKind kind) {
  return kind == DataKind::history || kind == DataKind::siteData || kind == DataKind::cache ||
         kind == DataKind::closedTabs;
}

/// Lives as long as its window.
class Dialog : public std::enable_shared_from_this<Dialog> {
 public:
  Dialog(GtkWindow* parent, BrowserServices& services)
      : services_(services), window_(GTK_WINDOW(adw_window_new())), stack_(GTK_STACK(gtk_stack_new())),
        range_(adw_combo_row_new()), clearButton_(gtk_button_new_with_mnemonic("_Clear")),
        cancelButton_(gtk_button_new_with_mnemonic("_Cancel")), doing_(gtk_label_new(nullptr)),
        done_(ADW_STATUS_PAGE(adw_status_page_new())),
        undo_(gtk_button_new_with_mnemonic("_Bring Back the History")) {
    gtk_window_set_title(window_, "Clear Browsing Data");
    gtk_window_set_transient_for(window_, parent);
    gtk_window_set_destroy_with_parent(window_, TRUE);
    gtk_window_set_modal(window_, TRUE);
    gtk_window_set_default_size(window_, 460, 640);
    auto* header = adw_header_bar_new();
    adw_header_bar_set_show_start_title_buttons(ADW_HEADER_BAR(header), FALSE);
    adw_header_bar_set_show_end_title_buttons(ADW_HEADER_BAR(header), FALSE);
    gtk_widget_add_css_class(clearButton_, "destructive-action");
    adw_header_bar_pack_start(ADW_HEADER_BAR(header), cancelButton_);
    adw_header_bar_pack_end(ADW_HEADER_BAR(header), clearButton_);
    gtk_stack_add_named(stack_, newChoices(), "choices");
    gtk_stack_add_named(stack_, newProgress(), "progress");
    gtk_stack_add_named(stack_, newDone(), "done");
    gtk_widget_set_vexpand(GTK_WIDGET(stack_), TRUE);
    auto* box = gtk_box_new(GTK_ORIENTATION_VERTICAL, 0);
    gtk_box_append(GTK_BOX(box), header);
    gtk_box_append(GTK_BOX(box), GTK_WIDGET(stack_));
    adw_window_set_content(ADW_WINDOW(window_), box);
    on(cancelButton_, "clicked", [this] { gtk_window_close(window_); });
    on(clearButton_, "clicked", [this] { clear(); });
    on(undo_, "clicked", [this] { bringBack(); });
    closeWithEscape(GTK_WINDOW(window_));
  }

  void show() {
    g_object_set_data_full(G_OBJECT(window_), "vale-clear-data", new std::shared_ptr(shared_from_this()),
                           [](gpointer data) { delete static_cast<std::shared_ptr<Dialog>*>(data); });
    gtk_window_present(window_);
    count();
    allow();
  }

 private:
  struct Row {
    GtkWidget* row;
    GtkWidget* check;
  };

  template <typename Handler> void on(gpointer object, const char* signal, Handler handler) {
    connections_.push_back(connect(object, signal, std::move(handler)));
  }

  BrowsingDataCleaner& cleaner() { return *services_.cleaner; }

  DataRange range() const {
    return rawValues<DataRange>.at(adw_combo_row_get_selected(ADW_COMBO_ROW(range_))).first;
  }

  std::set<DataKind> chosen() const {
    std::set<DataKind> kinds;
    for (const auto& [kind, row] : rows_) {
      if (gtk_check_button_get_active(GTK_CHECK_BUTTON(row.check))) kinds.insert(kind);
    }
    return kinds;
  }

  GtkWidget* newChoices() {
    auto* page = adw_preferences_page_new();
    auto* when = adw_preferences_group_new();
    const auto names = GObjectPointer<GtkStringList>::adopt(gtk_string_list_new(nullptr));
    for (const auto& entry : rawValues<DataRange>) {
      gtk_string_list_append(names.get(), std::string(entry.second).c_str());
    }
    adw_preferences_row_set_title(ADW_PREFERENCES_ROW(range_), "Time");
    adw_combo_row_set_model(ADW_COMBO_ROW(range_), G_LIST_MODEL(names.get()));
    on(range_, "notify::selected", [this](GParamSpec*) { count(); });
    adw_preferences_group_add(ADW_PREFERENCES_GROUP(when), range_);
    adw_preferences_page_add(ADW_PREFERENCES_PAGE(page), ADW_PREFERENCES_GROUP(when));
    auto* what = adw_preferences_group_new();
    adw_preferences_group_set_description(ADW_PREFERENCES_GROUP(what),
                                          "Open tabs, bookmarks and conversations stay.");
    for (const auto& entry : rawValues<DataKind>) {
      auto* row = adw_action_row_new();
      adw_preferences_row_set_use_markup(ADW_PREFERENCES_ROW(row), FALSE);
      adw_preferences_row_set_title(ADW_PREFERENCES_ROW(row), std::string(entry.second).c_str());
      adw_action_row_set_subtitle_lines(ADW_ACTION_ROW(row), 0);
      auto* check = gtk_check_button_new();
      gtk_widget_set_valign(check, GTK_ALIGN_CENTER);
      gtk_check_button_set_active(GTK_CHECK_BUTTON(check), isUsual(entry.first));
      on(check, "toggled", [this] { allow(); });
      labelledBy(check, row);
      adw_action_row_add_prefix(ADW_ACTION_ROW(row), check);
      adw_action_row_set_activatable_widget(ADW_ACTION_ROW(row), check);
      adw_preferences_group_add(ADW_PREFERENCES_GROUP(what), row);
      rows_[entry.first] = {row, check};
    }
    adw_preferences_page_add(ADW_PREFERENCES_PAGE(page), ADW_PREFERENCES_GROUP(what));
    return page;
  }

  GtkWidget* newProgress() {
    auto* box = gtk_box_new(GTK_ORIENTATION_VERTICAL, 18);
    gtk_widget_set_valign(box, GTK_ALIGN_CENTER);
    spinner_ = gtk_spinner_new();
    gtk_widget_set_size_request(spinner_, 32, 32);
    gtk_box_append(GTK_BOX(box), spinner_);
    gtk_box_append(GTK_BOX(box), doing_);
    return box;
  }

  GtkWidget* newDone() {
    gtk_widget_set_halign(undo_, GTK_ALIGN_CENTER);
    gtk_widget_add_css_class(undo_, "pill");
    adw_status_page_set_child(done_, undo_);
    return GTK_WIDGET(done_);
  }

  /// What would go, row by row as it becomes known.
  void count() {
    ++counting_;
    for (const auto& [kind, row] : rows_) {
      adw_action_row_set_subtitle(ADW_ACTION_ROW(row.row), "…");
      whenDone<std::string>(services_.base.surroundings.main, cleaner().amount(kind, range()),
                            [weak = weak_from_this(), kind = kind,
                             asked = counting_](const std::expected<std::string, Error>& amount) {
                              const auto self = weak.lock();
                              if (!self || self->counting_ != asked || !amount) return;
                              adw_action_row_set_subtitle(ADW_ACTION_ROW(self->rows_.at(kind).row),
                                                          amount->c_str());
                            });
    }
  }

  void allow() { gtk_widget_set_sensitive(clearButton_, !chosen().empty()); }

  void clear() {
    gtk_widget_set_visible(clearButton_, FALSE);
    gtk_button_set_label(GTK_BUTTON(cancelButton_), "_Close");
    gtk_stack_set_visible_child_name(stack_, "progress");
    gtk_spinner_start(GTK_SPINNER(spinner_));
    const auto begun = [weak = weak_from_this()](DataKind kind) {
      const auto self = weak.lock();
      if (!self) return;
      gtk_label_set_text(GTK_LABEL(self->doing_), fmt::format("Clearing: {}", rawValue(kind)).c_str());
    };
    // What has begun goes on when the dialog is closed.
    whenDone<BrowsingDataCleaner::Result>(
        services_.base.surroundings.main, cleaner().clear(chosen(), range(), begun),
        [weak = weak_from_this()](std::expected<BrowsingDataCleaner::Result, Error> result) {
          const auto self = weak.lock();
          if (!self) return;
          if (!result) return self->tell("Not Cleared", result.error().message);
          std::string text;
          for (const auto& problem : result->problems) text += (text.empty() ? "" : "\n\n") + problem;
          self->removed_ = std::move(result->removedVisits);
          self->tell(text.empty() ? "Cleared" : "Not All Was Cleared", text);
        });
  }

  void bringBack() {
    gtk_widget_set_sensitive(undo_, FALSE);
    whenDone<std::int64_t>(services_.base.surroundings.main,
                           cleaner().restoreHistory(std::exchange(removed_, {})),
                           [weak = weak_from_this()](const std::expected<std::int64_t, Error>& restored) {
                             const auto self = weak.lock();
                             if (!self) return;
                             if (!restored)
                               return self->tell("The History Is Not Back", restored.error().message);
                             self->tell("The History Is Back", "");
                           });
  }

  void tell(const char* title, const std::string& text) {
    gtk_spinner_stop(GTK_SPINNER(spinner_));
    const std::unique_ptr<char, decltype(&g_free)> markup(g_markup_escape_text(text.c_str(), -1), g_free);
    adw_status_page_set_icon_name(done_, text.empty() ? "object-select-symbolic" : "dialog-warning-symbolic");
    adw_status_page_set_title(done_, title);
    adw_status_page_set_description(done_, markup.get());
    gtk_widget_set_visible(undo_, !removed_.empty());
    gtk_stack_set_visible_child_name(stack_, "done");
    gtk_widget_grab_focus(cancelButton_);
  }

  BrowserServices& services_;
  GtkWindow* window_;
  GtkStack* stack_;
  GtkWidget* range_;
  GtkWidget* clearButton_;
  GtkWidget* cancelButton_;
  GtkWidget* doing_;
  GtkWidget* spinner_ = nullptr;
  AdwStatusPage* done_;
  GtkWidget* undo_;
  std::map<DataKind, Row> rows_;
  std::uint64_t counting_ = 0;
  std::vector<HistoryVisit> removed_;
  Connections connections_;
};

}  // namespace

void showClearData(GtkWindow* parent, BrowserServices& services) {
  std::make_shared<Dialog>(parent, services)->show();
}

}  // namespace vale::gtk
