#pragma once

#include "common/WebAddress.h"
#include "intelligence/GroupableTab.h"
#include "intelligence/TabGroupingRequest.h"

#include <span>
#include <string>
#include <utility>
#include <vector>

namespace vale {

/// A tab with what the grouping asks of its address again and again: to parse those of 2,000 tabs at every
/// change would be felt.
struct GroupingTab : GroupableTab {
  explicit GroupingTab(GroupableTab tab)
      : GroupableTab(std::move(tab)), address(normalizeURL(url)), canBeGrouped(isGroupable(*this)) {}

  /// The same tab a little later.
  void update(GroupableTab tab) {
    if (tab.url == url && tab.agentOwner == agentOwner) {
      GroupableTab::operator=(std::move(tab));
    } else {
      *this = GroupingTab(std::move(tab));
    }
  }

  std::string address;  ///< normalised
  bool canBeGrouped;
};

inline std::vector<GroupingTab> groupingTabs(std::vector<GroupableTab> tabs) {
  std::vector<GroupingTab> open;
  open.reserve(tabs.size());
  for (auto& tab : tabs) open.emplace_back(std::move(tab));
  return open;
}

/// Those of the tabs that can be grouped.
inline std::vector<GroupableTab> groupable(std::span<const GroupingTab> tabs) {
  std::vector<GroupableTab> found;
  for (const auto& tab : tabs) {
    if (tab.canBeGrouped) found.push_back(tab);
  }
  return found;
}

}  // namespace vale
