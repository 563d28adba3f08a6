#pragma once

#include "app/gtk/BrowserServices.h"
#include "app/gtk/GObjectPointer.h"
#include "app/gtk/Signal.h"
#include "common/Published.h"

#include <adwaita.h>

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace vale::gtk {

/// What the settings are about. The services outlive the window that shows the settings.
struct SettingsPlace {
  GtkWindow* window;
  std::shared_ptr<BrowserModel> model;  ///< of the browser window below
  BrowserServices& services;
};

/// One page of the settings. It makes its rows when it is made, keeps them up to date, and lives as long as
/// the window of the settings. Main thread only. Every text of a row is plain text.
class SettingsPage {
 public:
  SettingsPage(SettingsPlace place, const char* title, const char* icon);
  virtual ~SettingsPage() = default;
  SettingsPage(const SettingsPage&) = delete;
  SettingsPage& operator=(const SettingsPage&) = delete;

  AdwPreferencesPage* page() const { return page_; }

  /// The text as markup. A row's own labels could be told to show plain text, but the window lists what its
  /// search finds by titles that it always takes for markup.
  static std::string escaped(const std::string& text);

 protected:
  AdwPreferencesGroup* addGroup(const char* title, const char* description = nullptr);

  /// Of an action row of any kind.
  static void setSubtitle(gpointer row, const std::string& text);

  static AdwActionRow* newRow(const std::string& title, const std::string& subtitle = {});
  AdwActionRow* addRow(AdwPreferencesGroup* group, const std::string& title,
                       const std::string& subtitle = {});

  GtkSwitch* addSwitch(AdwPreferencesGroup* group, const char* title, const char* subtitle);
  /// A switch that is a setting, `usual` while the user has not said.
  GtkSwitch* addSwitch(AdwPreferencesGroup* group, const char* title, const char* subtitle,
                       std::string_view key, bool usual);

  /// A choice of texts; `chosen` gets the place of the one that the user takes.
  AdwComboRow* addChoice(AdwPreferencesGroup* group, const char* title, const char* subtitle,
                         const std::vector<std::string>& names, std::size_t selected,
                         std::function<void(std::size_t)> chosen);
  /// Other texts, without telling `chosen`.
  void setChoices(AdwComboRow* row, const std::vector<std::string>& names, std::size_t selected);
  void select(AdwComboRow* row, std::size_t selected);

  /// A choice of values of a setting. A value that is none of them is listed, too, as `other` names it.
  struct Value {
    json::value value;
    std::string name;
  };
  AdwComboRow* addChoice(AdwPreferencesGroup* group, const char* title, const char* subtitle,
                         std::string_view key, std::vector<Value> values, std::size_t usual,
                         const std::function<std::string(const json::value&)>& other);

  /// A button with an icon for the end of a row; `meaning` is its name, too.
  GtkWidget* addButton(AdwActionRow* row, const char* icon, const std::string& meaning,
                       std::function<void()> clicked);

  /// A sentence about what went wrong, below a group's rows; empty hides it.
  static GtkLabel* newProblem();
  static void say(GtkLabel* problem, const std::string& sentence);

  Preferences& preferences() const { return place_.services.base.preferences; }
  BrowserIntelligence& intelligence() const { return *place_.services.base.intelligence; }

  const SettingsPlace place_;
  bool setting_ = false;  ///< the rows change, and the user did not
  std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
  std::vector<Subscription> subscriptions_;
  Connections connections_;

 private:
  AdwPreferencesPage* page_;
};

std::unique_ptr<SettingsPage> makeGeneralSettings(const SettingsPlace& place);
std::unique_ptr<SettingsPage> makeTabSettings(const SettingsPlace& place);
std::unique_ptr<SettingsPage> makeSearchSettings(const SettingsPlace& place);
std::unique_ptr<SettingsPage> makePrivacySettings(const SettingsPlace& place);
std::unique_ptr<SettingsPage> makeBlockingSettings(const SettingsPlace& place);
std::unique_ptr<SettingsPage> makeAgentSettings(const SettingsPlace& place);
std::unique_ptr<SettingsPage> makeIntelligenceSettings(const SettingsPlace& place);

}  // namespace vale::gtk
