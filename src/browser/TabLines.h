#pragma once

#include "browser/BrowserModel.h"

#include <cstddef>
#include <string_view>
#include <vector>

namespace vale {

/// One line of a window's list of tabs.
struct TabLine {
  enum class Kind { pinnedTab, groupHeader, groupTab, looseTab, agentsHeader, agentTab };

  Kind kind = Kind::looseTab;
  Uuid id;                    ///< the tab's or the group's; nil for the heading of the agents' tabs
  Uuid groupID;               ///< of a group's header and its tabs; else nil
  BrowserTab* tab = nullptr;  ///< null for headers

  bool isTab() const { return tab != nullptr; }
  bool operator==(const TabLine&) const = default;
};

/// The lines of a window from top to bottom; the tabs of a collapsed group are left out. With a filter only
/// the tabs whose title or address contain it in any case, those of collapsed groups too, below the headers
/// of theirs. Costs one walk over the tabs.
std::vector<TabLine> tabLines(const BrowserModel& model, std::string_view filter = {});

/// A change of a list in one place: from `position` on, `removed` lines go and the `inserted` that stand
/// there in the new list come.
struct LineSplice {
  std::size_t position = 0;
  std::size_t removed = 0;
  std::size_t inserted = 0;

  bool operator==(const LineSplice&) const = default;
};

/// What makes `after` of `before`, to be carried out in order: positions count in the list as the earlier
/// splices leave it. As few lines as possible are touched; where little stays, the whole stretch is replaced
/// at once.
std::vector<LineSplice> lineSplices(const std::vector<TabLine>& before, const std::vector<TabLine>& after);

}  // namespace vale
