#pragma once

#include <string>
#include <vector>

namespace vale {

/// Where a shortcut stands in the list of all of them, in this order.
enum class ShortcutSection { page, find, tabs, windows, general };

/// What the section is called in the list.
const char* titleOf(ShortcutSection section);

/// One action of the browser's and the keys that set it off.
struct Shortcut {
  std::string action;  ///< with its scope and target: "win.reload", "win.tab(2)"; none: only listed
  std::vector<std::string> keys;  ///< in GTK's notation, the one to show first
  std::string title;              ///< none: works, but is not listed
  ShortcutSection section = ShortcutSection::general;
};

/// Every key of the browser's windows. Keys of single controls (in a list, an entry) are theirs.
const std::vector<Shortcut>& shortcuts();

}  // namespace vale
