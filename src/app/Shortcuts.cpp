#include "app/Shortcuts.h"

#include <fmt/format.h>

namespace vale {

namespace {

using enum ShortcutSection;

std::vector<Shortcut> table() {
  std::vector<Shortcut> rows{
      {"win.back", {"<Alt>Left"}, "Back", page},
      {"win.forward", {"<Alt>Right"}, "Forward", page},
      {"win.reload", {"<Ctrl>r", "F5"}, "Reload", page},
      {"win.reload-anew", {"<Ctrl><Shift>r", "<Ctrl>F5"}, "Reload everything anew", page},
      {"win.stop", {"Escape"}, "Stop loading", page},
      {"win.site-information", {"<Ctrl><Alt>i"}, "Site information", page},
      {"win.start-page", {"<Alt>Home"}, "Start page", page},
      {"win.zoom-in", {"<Ctrl>plus", "<Ctrl>KP_Add", "<Ctrl>equal"}, "Zoom in", page},
      {"win.zoom-out", {"<Ctrl>minus", "<Ctrl>KP_Subtract"}, "Zoom out", page},
      {"win.zoom-reset", {"<Ctrl>0", "<Ctrl>KP_0"}, "Usual size", page},
      {"win.print", {"<Ctrl>p"}, "Print", page},
      {"win.save-page", {"<Ctrl>s"}, "Save the page", page},
      {"win.source", {"<Ctrl>u"}, "Page source", page},
      {"win.inspect", {"F12", "<Ctrl><Shift>i"}, "Developer tools", page},
      {"win.find", {"<Ctrl>f"}, "Find in the page", find},
      {"win.find-next", {"<Ctrl>g", "F3"}, "Next match", find},
      {"win.find-previous", {"<Ctrl><Shift>g", "<Shift>F3"}, "Previous match", find},
      {"win.new-tab", {"<Ctrl>t"}, "New tab", tabs},
      {"win.close-tab", {"<Ctrl>w", "<Ctrl>F4"}, "Close the tab", tabs},
      {"win.reopen-closed", {"<Ctrl><Shift>t"}, "Reopen the closed tab or window", tabs},
      {"win.next-tab", {"<Ctrl>Tab", "<Ctrl>Page_Down"}, "Next tab", tabs},
      {"win.previous-tab",
       {"<Ctrl><Shift>Tab", "<Ctrl><Shift>ISO_Left_Tab", "<Ctrl>Page_Up"},
       "Previous tab",
       tabs},
      {"win.move-tab-on", {"<Ctrl><Shift>Page_Down"}, "Move the tab on", tabs},
      {"win.move-tab-back", {"<Ctrl><Shift>Page_Up"}, "Move the tab back", tabs},
      {"", {"<Ctrl>1...8"}, "Tab 1 to 8", tabs},
      {"win.last-tab", {"<Ctrl>9", "<Ctrl>KP_9"}, "Last tab", tabs},
      {"win.new-window", {"<Ctrl>n"}, "New window", windows},
      {"win.new-private-window", {"<Ctrl><Shift>n"}, "New private window", windows},
      {"win.close-window", {"<Ctrl><Shift>w"}, "Close the window", windows},
      {"win.fullscreen", {"F11"}, "Fullscreen", windows},
      {"win.leave-fullscreen", {"Escape"}, "", windows},
      {"win.show-wall", {"F9"}, "Show or hide the tabs", windows},
      {"win.next-pane", {"F6"}, "Address, tabs, page, agent panel", windows},
      {"win.address", {"<Ctrl>l", "<Alt>d"}, "Address", general},
      {"win.agent-panel", {"<Ctrl><Shift>a"}, "Agent panel", general},
      {"win.history", {"<Ctrl>h"}, "History", general},
      {"win.bookmark-page", {"<Ctrl>d"}, "Bookmark the page", general},
      {"win.bookmark-all-tabs", {"<Ctrl><Shift>d"}, "Bookmark all tabs", general},
      {"win.bookmarks", {"<Ctrl><Shift>o"}, "Bookmarks", general},
      {"win.bookmarks-bar", {"<Ctrl><Shift>b"}, "Show or hide the bookmarks bar", general},
      {"win.downloads", {"<Ctrl><Shift>y", "<Ctrl>j"}, "Downloads", general},
      {"win.clear-data", {"<Ctrl><Shift>Delete"}, "Clear browsing data", general},
      {"win.settings", {"<Ctrl>comma"}, "Settings", general},
      {"win.shortcuts", {"<Ctrl>question", "<Ctrl>F1"}, "Keyboard shortcuts", general},
      {"app.quit", {"<Ctrl>q"}, "Quit", general},
  };
  for (int number = 1; number <= 8; ++number) {
    rows.push_back({.action = fmt::format("win.tab({})", number),
                    .keys = {fmt::format("<Ctrl>{}", number), fmt::format("<Ctrl>KP_{}", number)},
                    .title = {},
                    .section = tabs});
  }
  return rows;
}

}  // namespace

const char* titleOf(ShortcutSection section) {
  switch (section) {
  case page:
    return "Page";
  case find:
    return "Find";
  case tabs:
    return "Tabs";
  case windows:
    return "Windows";
  case general:
    break;
  }
  return "General";
}

const std::vector<Shortcut>& shortcuts() {
  static const auto rows = table();
  return rows;
}

}  // namespace vale
