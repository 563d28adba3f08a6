#include "app/gtk/SettingsPage.h"

#include <fmt/format.h>

#include <utility>

namespace vale::gtk {

namespace {

/// Whom the address entry asks for words: the engines, the chosen one, and a form for another.
class SearchPage : public SettingsPage {
 public:
  explicit SearchPage(const SettingsPlace& place) : SettingsPage(place, "Search", "system-search-symbolic") {
    auto* choice = addGroup("Search");
    chosen_ = addChoice(choice, "Search Engine", "Gets the words that you type into the address entry", {}, 0,
                        [this](std::size_t at) {
                          const auto& list = engines().list().value().engines;
                          if (at < list.size()) engines().choose(list[at].keyword);
                        });
    list_ = addGroup("Keywords", "A keyword before the words asks this engine for once: “w tides” looks for "
                                 "tides in Wikipedia.");
    addForm();
    subscriptions_.push_back(engines().list().observe([this](const auto& list) { show(list); }));
  }

 private:
  SearchEngines& engines() const { return place_.services.base.searchEngines; }

  void addForm() {
    auto* group = addGroup("Add a Search Engine",
                           "Search for something at the site, copy the address of the result, and write "
                           "{searchTerms} or %s where your words are.");
    const auto entry = [&](const char* title) {
      auto* row = adw_entry_row_new();
      adw_preferences_row_set_use_markup(ADW_PREFERENCES_ROW(row), FALSE);
      adw_preferences_row_set_title(ADW_PREFERENCES_ROW(row), title);
      adw_preferences_group_add(group, row);
      connections_.push_back(connect(row, "entry-activated", [this] { add(); }));
      return GTK_EDITABLE(row);
    };
    name_ = entry("Name");
    keyword_ = entry("Keyword");
    address_ = entry("Address");
    auto* button = gtk_button_new_with_mnemonic("_Add");
    gtk_widget_set_halign(button, GTK_ALIGN_END);
    gtk_widget_set_margin_top(button, 8);
    connections_.push_back(connect(button, "clicked", [this] { add(); }));
    problem_ = newProblem();
    adw_preferences_group_add(group, GTK_WIDGET(problem_));
    adw_preferences_group_add(group, button);
  }

  void add() {
    const auto problem = engines().add({.name = gtk_editable_get_text(name_),
                                        .keyword = gtk_editable_get_text(keyword_),
                                        .address = gtk_editable_get_text(address_)});
    say(problem_, problem.value_or(""));
    if (problem) return;
    for (auto* entry : {name_, keyword_, address_}) gtk_editable_set_text(entry, "");
    gtk_widget_grab_focus(GTK_WIDGET(name_));
  }

  void show(const SearchEngineList& list) {
    std::vector<std::string> names;
    for (const auto& engine : list.engines) names.push_back(engine.name);
    if (names != names_) {
      names_ = std::move(names);
      setChoices(chosen_, names_, list.chosen);
    }
    select(chosen_, list.chosen);
    if (list.engines == listed_) return;
    listed_ = list.engines;
    for (auto* row : rows_) adw_preferences_group_remove(list_, row);
    rows_.clear();
    for (const auto& engine : listed_) {
      auto* row = addRow(list_, engine.name);
      auto* keyword = gtk_label_new(engine.keyword.c_str());
      gtk_widget_add_css_class(keyword, "dim-label");
      adw_action_row_add_suffix(row, keyword);
      rows_.push_back(GTK_WIDGET(row));
      if (SearchEngines::isBuiltIn(engine.keyword)) continue;
      setSubtitle(row, engine.address);
      addButton(row, "user-trash-symbolic", fmt::format("Remove {}", engine.name),
                [this, key = engine.keyword] { engines().remove(key); });
    }
  }

  AdwComboRow* chosen_ = nullptr;
  AdwPreferencesGroup* list_ = nullptr;
  GtkEditable *name_ = nullptr, *keyword_ = nullptr, *address_ = nullptr;
  GtkLabel* problem_ = nullptr;
  std::vector<std::string> names_;
  std::vector<SearchEngine> listed_;
  std::vector<GtkWidget*> rows_;
};

}  // namespace

std::unique_ptr<SettingsPage> makeSearchSettings(const SettingsPlace& place) {
  return std::make_unique<SearchPage>(place);
}

}  // namespace vale::gtk
