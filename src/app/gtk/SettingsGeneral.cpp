#include "app/NewTabPage.h"
#include "app/gtk/DefaultBrowser.h"
#include "app/gtk/DownloadSettings.h"
#include "app/gtk/EngineSettings.h"
#include "app/gtk/SettingsPage.h"
#include "browser/AddressInput.h"
#include "common/WebAddress.h"

#include <fmt/format.h>

#include <string>

namespace vale::gtk {

namespace {

std::string pixels(const json::value& value) {
  return value.is_number() ? fmt::format("{:.0f} pixels", value.to_number<double>()) : std::string();
}

/// What belongs to no other page: new tabs, the look of pages, and spelling.
class GeneralPage : public SettingsPage {
 public:
  explicit GeneralPage(const SettingsPlace& place)
      : SettingsPage(place, "General", "preferences-system-symbolic") {
    addNewTab();
    adw_preferences_page_add(page(), defaultBrowserSettings());
    adw_preferences_page_add(page(),
                             downloadSettings(preferences(), *place_.services.base.session.downloads()));
    addText();
    addSpelling();
  }

 private:
  enum NewTab : std::size_t { start, empty, own };

  void addNewTab() {
    auto* group = addGroup("New Tabs");
    const auto present = newTabAddress(preferences());
    const bool isOwn = isWebAddress(present);
    addChoice(group, "Show", "In ordinary windows; a private one begins empty",
              {"The start page", "Nothing", "A page of your own"},
              isOwn             ? NewTab::own
              : present.empty() ? NewTab::empty
                                : NewTab::start,
              [this](std::size_t at) { chooseNewTab(at); });
    entry_ = adw_entry_row_new();
    adw_preferences_row_set_use_markup(ADW_PREFERENCES_ROW(entry_), FALSE);
    adw_preferences_row_set_title(ADW_PREFERENCES_ROW(entry_), "Address");
    adw_entry_row_set_show_apply_button(ADW_ENTRY_ROW(entry_), TRUE);
    gtk_editable_set_text(GTK_EDITABLE(entry_), isOwn ? present.c_str() : "");
    gtk_widget_set_visible(entry_, isOwn);
    adw_preferences_group_add(group, entry_);
    problem_ = newProblem();
    adw_preferences_group_add(group, GTK_WIDGET(problem_));
    connections_.push_back(connect(entry_, "apply", [this] { takePage(); }));
  }

  void chooseNewTab(std::size_t at) {
    gtk_widget_set_visible(entry_, at == NewTab::own);
    say(problem_, "");
    if (at == NewTab::start) preferences().remove(newTabKey);
    if (at == NewTab::empty) preferences().set(newTabKey, json::string());
    if (at == NewTab::own) gtk_widget_grab_focus(entry_);
  }

  void takePage() {
    const AddressInput input{std::filesystem::path()};
    const auto request = input.interpret(gtk_editable_get_text(GTK_EDITABLE(entry_)));
    if (request.kind != AddressRequest::Kind::page || !isWebAddress(request.address)) {
      return say(problem_, "This is not the address of a web page. Write it like example.org.");
    }
    say(problem_, "");
    preferences().set(newTabKey, json::string(request.address));
    gtk_editable_set_text(GTK_EDITABLE(entry_), request.address.c_str());
  }

  void addText() {
    auto* text = addGroup("Text of Pages");
    addChoice(text, "Size", "Where a page leaves it to the browser", EngineSettings::fontSizeKey,
              {{13, "Small"}, {16, "Usual"}, {19, "Large"}, {22, "Very large"}}, 1, pixels);
    addChoice(text, "Smallest Size", "Nothing on a page is smaller", EngineSettings::smallestFontSizeKey,
              {{0, "None"}, {10, "10 pixels"}, {12, "12 pixels"}, {14, "14 pixels"}, {18, "18 pixels"}}, 0,
              pixels);
  }

  void addSpelling() {
    auto* writing = addGroup("Writing");
    const auto& languages = place_.services.engineSettings->dictionaries().value();
    auto* spelling =
        addSwitch(writing, "Check Spelling",
                  languages.empty() ? "No dictionary is installed. Install one for hunspell."
                                    : "Words that no dictionary knows are underlined in text fields",
                  EngineSettings::spellingKey, true);
    gtk_widget_set_sensitive(GTK_WIDGET(spelling), !languages.empty());
    std::vector<Value> values{{json::string(), "Of the desktop"}};
    for (const auto& language : languages) values.push_back({json::string(language), language});
    if (!languages.empty()) {
      auto* language =
          addChoice(writing, "Language", "Whose dictionary is used", EngineSettings::spellingLanguageKey,
                    std::move(values), 0, [](const json::value&) { return std::string(); });
      g_object_bind_property(spelling, "active", language, "sensitive", G_BINDING_SYNC_CREATE);
    }
  }

  GtkWidget* entry_ = nullptr;
  GtkLabel* problem_ = nullptr;
};

}  // namespace

std::unique_ptr<SettingsPage> makeGeneralSettings(const SettingsPlace& place) {
  return std::make_unique<GeneralPage>(place);
}

}  // namespace vale::gtk
