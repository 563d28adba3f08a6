#include "intelligence/TabGroupingPlaces.h"

#include "intelligence/TabClustering.h"

#include <algorithm>
#include <utility>

namespace vale {
TabGroupingPlaces::TabGroupingPlaces(const TabGroupingState& state)
    : state_(state), unassigned_(state.unassigned.begin(), state.unassigned.end()) {
  for (std::size_t i = 0; i < state.groups.size(); ++i) {
    for (const auto& id : state.groups[i].tabIDs) groups_.emplace(id, i);
  }
  if (state.userPlaced) userPlaced_.insert(state.userPlaced->begin(), state.userPlaced->end());
}

const TabGroup* TabGroupingPlaces::groupOf(const Uuid& tab) const {
  const auto found = groups_.find(tab);
  return found == groups_.end() ? nullptr : &state_.groups[found->second];
}

bool TabGroupingPlaces::isPending(const GroupingTab& tab) const {
  if (!groups_.contains(tab.id) && !isUnassigned(tab.id)) return true;
  if (isUserPlaced(tab.id)) return false;
  const auto placed = state_.placedURLs.find(tab.id.text());
  return placed != state_.placedURLs.end() && placed->second != tab.address;
}

std::vector<GroupableTab> pendingTabs(const TabGroupingState& state, std::span<const GroupingTab> tabs) {
  const TabGroupingPlaces places(state);
  std::vector<GroupableTab> pending;
  std::ranges::copy_if(tabs, std::back_inserter(pending),
                       [&](const GroupingTab& tab) { return tab.canBeGrouped && places.isPending(tab); });
  return pending;
}

std::vector<TabGroup> groupsToTell(const TabGroupingState& state, std::span<const GroupingTab> tabs) {
  const TabGroupingPlaces places(state);
  std::unordered_set<Uuid> open;
  std::unordered_set<Uuid> members;
  for (const auto& tab : tabs) {
    const auto* group = tab.canBeGrouped ? places.groupOf(tab.id) : nullptr;
    if (!group) continue;
    open.insert(group->id);
    if (!places.isPending(tab)) members.insert(tab.id);
  }
  std::vector<TabGroup> told;
  for (const auto& group : state.groups) {
    if (!open.contains(group.id)) continue;
    auto& copy = told.emplace_back(group);
    std::erase_if(copy.tabIDs, [&](const Uuid& id) { return !members.contains(id); });
    if (copy.tabIDs.size() > mostTold) copy.tabIDs.resize(mostTold);
  }
  return told;
}

TabGroupingTask dueTask(const TabGroupingState& state, std::span<const GroupingTab> tabs) {
  const TabGroupingPlaces places(state);
  std::size_t count = 0;
  bool grouped = false;
  bool pending = false;
  for (const auto& tab : tabs) {
    if (!tab.canBeGrouped) continue;
    ++count;
    grouped |= places.groupOf(tab.id) != nullptr;
    pending |= places.isPending(tab);
  }
  if (count < TabGroupingRequest::fewestTabs) return TabGroupingTask::none;
  if (grouped) return pending ? TabGroupingTask::assignment : TabGroupingTask::none;
  // Too many are refused, however they were grouped before.
  if (count > TabGroupingRequest::mostTabs) return TabGroupingTask::regroup;
  const bool done = state.signature == TabClustering::signature(groupable(tabs));
  return done ? TabGroupingTask::none : TabGroupingTask::regroup;
}

bool noteAddresses(TabGroupingState& state, std::span<const GroupingTab> tabs) {
  if (state.groups.empty() && state.unassigned.empty()) return false;
  const TabGroupingPlaces places(state);
  bool changed = false;
  for (const auto& tab : tabs) {
    const auto* group = places.groupOf(tab.id);
    if ((!group && !places.isUnassigned(tab.id)) || !tab.canBeGrouped) continue;
    const auto key = tab.id.text();
    if (!state.placedURLs.contains(key)) {
      state.placedURLs.emplace(key, tab.address);
      changed = true;
    }
    if (!group || !places.isPending(tab)) {
      changed |= state.formerGroups.erase(key) > 0;
    } else {
      changed |= std::exchange(state.formerGroups[key], group->id) != group->id;
    }
  }
  return changed;
}

void tidy(TabGroupingState& state, std::span<const GroupingTab> tabs) {
  std::unordered_set<Uuid> open;
  for (const auto& tab : tabs) open.insert(tab.id);
  const auto absent = [&](const Uuid& id) { return !open.contains(id); };
  auto count = std::ranges::count_if(state.unassigned, absent);
  for (const auto& group : state.groups) count += std::ranges::count_if(group.tabIDs, absent);
  if (static_cast<std::size_t>(count) > mostAbsent) {
    std::erase_if(state.unassigned, absent);
    for (auto& group : state.groups) std::erase_if(group.tabIDs, absent);
  }
  std::erase_if(state.groups, [](const TabGroup& group) { return group.tabIDs.empty(); });

  const TabGroupingPlaces places(state);
  const auto gone = [&](const Uuid& id) { return !places.groupOf(id) && !places.isUnassigned(id); };
  const auto entryGone = [&](const auto& entry) {
    const auto id = Uuid::parse(entry.first);
    return !id || gone(*id);
  };
  std::erase_if(state.placedURLs, entryGone);
  std::erase_if(state.formerGroups, entryGone);
  if (state.userPlaced) std::erase_if(*state.userPlaced, gone);
  if (state.userPlaced && state.userPlaced->empty()) state.userPlaced.reset();
}

}  // namespace vale
