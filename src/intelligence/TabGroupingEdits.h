#pragma once

#include "intelligence/GroupingTab.h"
#include "intelligence/TabGroupingState.h"

#include <optional>
#include <span>
#include <string>
#include <vector>

/// The user's own changes to a grouping. Pure, but for fresh identities. A tab or group that is not there
/// changes nothing. What the user places stays placed, and becomes a hint for later groupings.
namespace vale::TabGroupingEdits {

/// Names that the user gives are cut to so many characters.
inline constexpr std::size_t longestName = 100;

/// The open tabs and the time: what the edits are about.
struct Scene {
  std::span<const GroupingTab> tabs;
  Date now{};
};

/// Groups those of the tabs that can be grouped. Without a name the group is called "New group" until the
/// agent names it. None when there is no such tab.
std::optional<Uuid> addToNewGroup(TabGroupingState& state, const Scene& scene,
                                  const std::vector<Uuid>& tabIDs, const std::string& name);

/// Puts the tab before another member of the group, or at its end.
void moveTab(TabGroupingState& state, const Scene& scene, const Uuid& tabID, const Uuid& groupID,
             const std::optional<Uuid>& before);

/// The tab is in no group from now on.
void removeFromGroup(TabGroupingState& state, const Scene& scene, const Uuid& tabID);

/// An empty name keeps the present one until the agent gives another.
void renameGroup(TabGroupingState& state, const Scene& scene, const Uuid& groupID, const std::string& name);

void setCollapsed(TabGroupingState& state, const Uuid& groupID, bool collapsed);

}  // namespace vale::TabGroupingEdits
