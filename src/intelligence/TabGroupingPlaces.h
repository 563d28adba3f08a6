#pragma once

#include "intelligence/GroupingTab.h"
#include "intelligence/TabGroupingState.h"

#include <cstddef>
#include <span>
#include <unordered_map>
#include <unordered_set>
#include <vector>

namespace vale {

/// Where the tabs of one grouping are, for many questions at once. The state must outlive it, unchanged.
class TabGroupingPlaces {
 public:
  explicit TabGroupingPlaces(const TabGroupingState& state);

  const TabGroup* groupOf(const Uuid& tab) const;
  bool isUnassigned(const Uuid& tab) const { return unassigned_.contains(tab); }
  /// The user put it where it is, and no pass moves it.
  bool isUserPlaced(const Uuid& tab) const { return userPlaced_.contains(tab); }
  /// New, or moved on to another address since a pass placed it.
  bool isPending(const GroupingTab& tab) const;

 private:
  const TabGroupingState& state_;
  std::unordered_map<Uuid, std::size_t> groups_;
  std::unordered_set<Uuid> unassigned_;
  std::unordered_set<Uuid> userPlaced_;
};

/// The tabs of the list that can be grouped and await a place, in order.
std::vector<GroupableTab> pendingTabs(const TabGroupingState& state, std::span<const GroupingTab> tabs);

/// The groups that an assignment tells of: those with an open tab, without the members that await a place,
/// and of the others the first `mostTold`.
std::vector<TabGroup> groupsToTell(const TabGroupingState& state, std::span<const GroupingTab> tabs);
inline constexpr std::size_t mostTold = 50;

/// What an automatic pass would have to do now.
enum class TabGroupingTask { none, regroup, assignment };
TabGroupingTask dueTask(const TabGroupingState& state, std::span<const GroupingTab> tabs);

/// Remembers the groups of tabs whose address has changed, and takes the present address of those that were
/// placed without one. True when that changed the state.
bool noteAddresses(TabGroupingState& state, std::span<const GroupingTab> tabs);

/// Drops what the state says of tabs that have no place in it, groups without tabs, and, when more than
/// `mostAbsent` members are not open, those: a closed window's tabs may come back for a long time, but not
/// for ever.
void tidy(TabGroupingState& state, std::span<const GroupingTab> tabs);
inline constexpr std::size_t mostAbsent = 1'000;

}  // namespace vale
