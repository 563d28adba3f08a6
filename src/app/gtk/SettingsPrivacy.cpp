#include "app/PermissionQuestions.h"
#include "app/gtk/ClearDataDialog.h"
#include "app/gtk/EngineSettings.h"
#include "app/gtk/PasswordsWindow.h"
#include "app/gtk/SettingsPage.h"

#include <fmt/format.h>

#include <ranges>

namespace vale::gtk {

namespace {

/// What sites may do and learn.
class PrivacyPage : public SettingsPage {
 public:
  explicit PrivacyPage(const SettingsPlace& place)
      : SettingsPage(place, "Privacy", "security-high-symbolic") {
    auto* tracking = addGroup("Tracking");
    addSwitch(tracking, "Prevent Tracking",
              "The engine forgets what sites store that follow you across others. Turning it off may help "
              "where a sign-in through another site fails.",
              EngineSettings::trackingKey, true);
    addOwnData();
    permissions_ = addGroup("Permissions of Sites", "What you let sites do, or forbade them. A site that is "
                                                    "not here asks.");
    subscriptions_.push_back(
        store().permissions().observe([this](const auto& permissions) { list(permissions); }));
  }

 private:
  void addOwnData() {
    auto* data = addGroup("Your Data");
    const auto leads = [this, data](const char* title, const char* subtitle, const char* meaning,
                                    void (*show)(GtkWindow*, BrowserServices&)) {
      auto* row = addRow(data, title, subtitle);
      auto* button =
          addButton(row, "go-next-symbolic", meaning, [this, show] { show(place_.window, place_.services); });
      adw_action_row_set_activatable_widget(row, button);
    };
    leads("Passwords", "What is saved, and the sites for which nothing ever is", "Show the passwords",
          showPasswords);
    leads("Clear Browsing Data", "By kind and by time", "Choose what to clear", showClearData);
  }

  SitePermissions& store() const { return *place_.services.base.session.permissions(); }

  void list(const std::vector<SitePermission>& permissions) {
    // The row whose choice is being made must not go while it says so.
    if (changing_) return;
    for (auto* row : rows_) adw_preferences_group_remove(permissions_, row);
    rows_.clear();
    auto sorted = permissions;
    std::ranges::stable_sort(sorted, {}, &SitePermission::origin);
    for (const auto& one : sorted) add(one);
    if (rows_.empty()) {
      rows_.push_back(GTK_WIDGET(addRow(permissions_, "No site has asked for anything yet.")));
    }
  }

  void add(const SitePermission& one) {
    const std::string subtitle(nameOf(one.kind));
    auto* row = addChoice(permissions_, one.origin.c_str(), subtitle.c_str(), {"Allowed", "Forbidden"},
                          one.decision == PermissionDecision::allow ? 0 : 1,
                          [this, origin = one.origin, kind = one.kind](std::size_t at) {
                            changing_ = true;
                            store().decide(origin, kind,
                                           at == 0 ? PermissionDecision::allow : PermissionDecision::deny);
                            changing_ = false;
                          });
    addButton(ADW_ACTION_ROW(row), "user-trash-symbolic", fmt::format("Forget this for {}", one.origin),
              [this, origin = one.origin, kind = one.kind] {
                store().decide(origin, kind, PermissionDecision::ask);
              });
    rows_.push_back(GTK_WIDGET(row));
  }

  AdwPreferencesGroup* permissions_ = nullptr;
  std::vector<GtkWidget*> rows_;
  bool changing_ = false;
};

}  // namespace

std::unique_ptr<SettingsPage> makePrivacySettings(const SettingsPlace& place) {
  return std::make_unique<PrivacyPage>(place);
}

}  // namespace vale::gtk
