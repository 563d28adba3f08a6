#include "app/gtk/MainMenu.h"

#include "browser/AddressDisplay.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstddef>

namespace vale::gtk {

namespace {

constexpr std::size_t mostListed = 15;

GVariant* target(const Uuid& id) { return g_variant_new_string(id.text().c_str()); }

Menu closedTabs(const BrowserModel& model) {
  Menu menu;
  const auto& closed = model.recentlyClosed().value();
  for (std::size_t i = 0; i < std::min(closed.size(), mostListed); ++i) {
    menu.item(menuLabel(windowTitle(closed[i].title, closed[i].url)), "win.reopen-tab", target(closed[i].id));
  }
  return menu;
}

Menu foldedGroups(const BrowserModel& model) {
  Menu menu;
  for (const auto& group : model.session().folded().value()) {
    Menu choices;
    choices.item("Restore", "win.restore-folded", target(group.id));
    choices.item("Discard", "win.discard-folded", target(group.id));
    menu.submenu(fmt::format("{} ({})", menuLabel(group.name), group.tabs.size()), choices);
  }
  return menu;
}

}  // namespace

Menu mainMenu(const BrowserModel& model) {
  Menu menu, windows, zoom, page, picture, more, bookmarks, closed, view, sessions, end;
  windows.item("New Tab", "win.new-tab");
  windows.item("New Window", "win.new-window");
  windows.item("New Private Window", "win.new-private-window");
  zoom.place(zoomPlace);
  page.item("Find in Page…", "win.find");
  page.item("Print…", "win.print");
  page.item("Save Page As…", "win.save-page");
  picture.item("The Whole Page", "win.picture-of-page");
  picture.item("The Window", "win.picture-of-window");
  page.submenu("Take a Picture", picture);
  more.item("Page Source", "win.source");
  more.item("Developer Tools", "win.inspect");
  more.item("Reload Everything Anew", "win.reload-anew");
  page.submenu("More Tools", more);
  bookmarks.item("Bookmarks", "win.bookmarks");
  bookmarks.item("Bookmark All Tabs…", "win.bookmark-all-tabs");
  closed.item("History", "win.history");
  closed.item("Downloads", "win.downloads");
  closed.item("Reopen Closed Tab or Window", "win.reopen-closed");
  closed.item("Clear Browsing Data…", "win.clear-data");
  // A private window remembers nothing, and leaves the others' groups alone.
  if (!model.isPrivate()) {
    if (const auto tabs = closedTabs(model); !tabs.empty()) closed.submenu("Recently Closed", tabs);
    if (const auto groups = foldedGroups(model); !groups.empty()) closed.submenu("Folded Groups", groups);
  }
  view.item("Tabs beside the Page", "win.layout", g_variant_new_string("vertical"));
  view.item("Tabs above the Page", "win.layout", g_variant_new_string("horizontal"));
  if (model.tabLayout().value() == TabLayout::vertical) view.item("Show the Tabs", "win.show-wall");
  view.item("Fullscreen", "win.fullscreen");
  view.item("Site Information", "win.site-information");
  view.item("Agent Panel", "win.agent-panel");
  view.item("Block Ads and Trackers Here", "win.blocking-here");
  view.item("Always Show Bookmarks Bar", "win.bookmarks-bar");
  if (!model.isPrivate()) sessions.item("Earlier Sessions…", "win.earlier-sessions");
  end.item("Passwords", "win.passwords");
  end.item("Settings", "win.settings");
  end.item("Keyboard Shortcuts", "win.shortcuts");
  end.item("About Vale", "win.about");
  end.item("Quit", "app.quit");
  menu.section(windows).section(zoom).section(page).section(bookmarks).section(closed).section(view);
  if (!sessions.empty()) menu.section(sessions);
  return std::move(menu.section(end));
}

}  // namespace vale::gtk
