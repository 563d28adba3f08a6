#include "app/LinkPlace.h"
#include "app/gtk/SettingsPage.h"
#include "browser/TabSleepController.h"

#include <fmt/format.h>

#include <cmath>
#include <string>

namespace vale::gtk {

namespace {

std::string waitingTime(const json::value& value) {
  if (!value.is_number()) return {};
  const auto seconds = std::max(value.to_number<double>(), 1.0);
  return seconds < 120 ? fmt::format("{:.0f} seconds", seconds) : fmt::format("{:.0f} minutes", seconds / 60);
}

/// Where tabs stand, when they sleep, and what windows begin with.
class TabsPage : public SettingsPage {
 public:
  explicit TabsPage(const SettingsPlace& place) : SettingsPage(place, "Tabs", "view-list-symbolic") {
    addLayout();
    addSleep();
    auto* windows = addGroup("Windows and Links");
    addRow(windows, "After a Start",
           "The windows and tabs of last time come back. Their pages load when you go to them.");
    addRow(windows, "New Windows", "Look like the window in front, with an empty tab.");
    addChoice(windows, "Links from Other Programs", "Where an address opens that another program hands over",
              linkPlaceKey,
              {{json::string(rawValue(LinkPlace::tab)), "In a new tab"},
               {json::string(rawValue(LinkPlace::window)), "In a new window"}},
              0, [](const json::value&) { return std::string(); });
  }

 private:
  /// A change is for all windows; new ones look like the window in front.
  template <typename Work> void forAllWindows(const Work& work) const {
    for (const auto& entry : place_.services.base.windows.entries()) work(*entry.model);
  }

  void addLayout() {
    auto* group = addGroup("Layout");
    const auto& layout = place_.model->tabLayout();
    auto* row = addChoice(group, "Tabs", "In all windows", {"Beside the page", "Above the page"},
                          layout.value() == TabLayout::vertical ? 0 : 1, [this](std::size_t at) {
                            forAllWindows([at](BrowserModel& model) {
                              model.setTabLayout(at == 0 ? TabLayout::vertical : TabLayout::horizontal);
                            });
                          });
    auto* wall = addSwitch(group, "Show the Tabs",
                           "Hidden, they come out over the page when the pointer rests at the edge (F9)");
    gtk_switch_set_active(wall, place_.model->wallVisible().value());
    connections_.push_back(connect(wall, "notify::active", [this, wall](GParamSpec*) {
      const bool visible = gtk_switch_get_active(wall);
      if (visible == place_.model->wallVisible().value()) return;
      forAllWindows([visible](BrowserModel& model) { model.setWallVisible(visible); });
    }));
    subscriptions_.push_back(place_.model->wallVisible().subscribe(
        [wall](bool visible) { gtk_switch_set_active(wall, visible); }));
    auto* wallRow = gtk_widget_get_ancestor(GTK_WIDGET(wall), ADW_TYPE_ACTION_ROW);
    subscriptions_.push_back(layout.observe([this, row, wallRow](TabLayout now) {
      select(row, now == TabLayout::vertical ? 0 : 1);
      gtk_widget_set_sensitive(wallRow, now == TabLayout::vertical);
    }));
  }

  void addSleep() {
    auto* group = addGroup("Sleep", "A sleeping tab gives its memory back, and loads its page again when you "
                                    "go to it. Pinned tabs, tabs that play or record, and forms with typed "
                                    "text stay awake.");
    auto* sleep = addSwitch(group, "Put Tabs to Sleep", "", TabSleepController::preferenceKey, true);
    auto* wait = addChoice(group, "After", "How long a tab is out of sight; sooner when memory is short",
                           TabSleepController::delayKey,
                           {{300, "5 minutes"},
                            {900, "15 minutes"},
                            {1800, "30 minutes"},
                            {3600, "1 hour"},
                            {10800, "3 hours"},
                            {43200, "12 hours"}},
                           2, waitingTime);
    g_object_bind_property(sleep, "active", wait, "sensitive", G_BINDING_SYNC_CREATE);
  }
};

}  // namespace

std::unique_ptr<SettingsPage> makeTabSettings(const SettingsPlace& place) {
  return std::make_unique<TabsPage>(place);
}

}  // namespace vale::gtk
