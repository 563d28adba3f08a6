#include "intelligence/TabGroupingMerge.h"

#include "common/Text.h"
#include "intelligence/TabGroupingPlaces.h"

#include <algorithm>
#include <optional>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

namespace vale::TabGroupingMerge {
namespace {

/// For each proposed group the index of the old one that it continues.
std::vector<std::optional<std::size_t>> match(const std::vector<TabGroup>& proposed,
                                              const std::vector<TabGroup>& old) {
  struct Pair {
    std::size_t overlap, proposed, old;
  };
  std::unordered_map<Uuid, std::size_t> oldGroupOf;
  for (std::size_t i = 0; i < old.size(); ++i) {
    for (const auto& id : old[i].tabIDs) oldGroupOf.emplace(id, i);
  }
  std::vector<Pair> pairs;
  for (std::size_t i = 0; i < proposed.size(); ++i) {
    std::map<std::size_t, std::size_t> shared;
    for (const auto& id : proposed[i].tabIDs) {
      if (const auto found = oldGroupOf.find(id); found != oldGroupOf.end()) ++shared[found->second];
    }
    for (const auto& [index, overlap] : shared) pairs.push_back({overlap, i, index});
  }
  std::ranges::stable_sort(pairs, std::ranges::greater(), &Pair::overlap);

  std::vector<std::optional<std::size_t>> matches(proposed.size());
  std::vector<bool> used(old.size());
  for (const auto& pair : pairs) {
    if (matches[pair.proposed] || used[pair.old]) continue;
    matches[pair.proposed] = pair.old;
    used[pair.old] = true;
  }
  return matches;
}

/// The group as the agent described it, in one line each: its words are shown.
TabGroup described(TabGroup group, const TabGroup& proposed) {
  if (!group.userNamed) group.name = singleLine(proposed.name);
  group.intent = singleLine(proposed.intent);
  group.rationale = singleLine(proposed.rationale);
  group.comparable = proposed.comparable;
  return group;
}

/// The tabs of an answer that it may move.
class Movable {
 public:
  Movable(const TabGroupingState& state, const UsableTabs& usable) : usable_(usable) {
    if (state.userPlaced) kept_.insert(state.userPlaced->begin(), state.userPlaced->end());
  }
  bool contains(const Uuid& id) const { return usable_.contains(id) && !kept_.contains(id); }
  std::vector<Uuid> of(const std::vector<Uuid>& ids) const {
    std::vector<Uuid> movable;
    std::ranges::copy_if(ids, std::back_inserter(movable), [this](const Uuid& id) { return contains(id); });
    return movable;
  }

 private:
  const UsableTabs& usable_;
  std::unordered_set<Uuid> kept_;
};

void recordPlaces(TabGroupingState& state, const UsableTabs& usable) {
  for (const auto& [id, address] : usable) {
    state.placedURLs[id.text()] = address;
    state.formerGroups.erase(id.text());
  }
}

void append(std::vector<Uuid>& ids, const std::vector<Uuid>& more) {
  ids.insert(ids.end(), more.begin(), more.end());
}

}  // namespace

TabGroupingState applyRegroup(TabGroupingState state, const TabGroupingAnswer& answer,
                              const UsableTabs& usable) {
  const Movable movable(state, usable);
  const auto settled = [&](const Uuid& id) { return movable.contains(id); };
  const auto matches = match(answer.groups, state.groups);
  for (auto& group : state.groups) std::erase_if(group.tabIDs, settled);
  std::erase_if(state.unassigned, settled);

  std::vector<TabGroup> groups;
  std::vector<bool> continued(state.groups.size());
  for (std::size_t i = 0; i < answer.groups.size(); ++i) {
    const auto& proposed = answer.groups[i];
    TabGroup group{.id = proposed.id};
    if (matches[i]) {
      continued[*matches[i]] = true;
      group = state.groups[*matches[i]];
    }
    append(group.tabIDs, movable.of(proposed.tabIDs));
    groups.push_back(described(std::move(group), proposed));
  }
  // Of the others only what the user put there stays.
  const TabGroupingPlaces places(state);
  for (std::size_t i = 0; i < state.groups.size(); ++i) {
    if (continued[i]) continue;
    auto rest = state.groups[i];
    std::erase_if(rest.tabIDs, [&](const Uuid& id) { return !places.isUserPlaced(id); });
    groups.push_back(std::move(rest));
  }
  std::erase_if(groups, [](const TabGroup& group) { return group.tabIDs.empty(); });
  state.groups = std::move(groups);
  append(state.unassigned, movable.of(answer.unassigned));
  recordPlaces(state, usable);
  return state;
}

TabGroupingState applyAssignment(TabGroupingState state, const TabGroupingAnswer& answer,
                                 const UsableTabs& usable) {
  const Movable movable(state, usable);
  std::unordered_map<Uuid, std::size_t> indexOf;
  for (std::size_t i = 0; i < state.groups.size(); ++i) indexOf.emplace(state.groups[i].id, i);
  std::unordered_map<Uuid, std::size_t> present;
  for (std::size_t i = 0; i < state.groups.size(); ++i) {
    for (const auto& id : state.groups[i].tabIDs) present.emplace(id, i);
  }

  std::vector<std::vector<Uuid>> joining(state.groups.size());
  std::unordered_set<Uuid> leaving;
  UsableTabs settled;
  const auto settle = [&](const Uuid& id) {
    settled.insert(*usable.find(id));
    leaving.insert(id);
  };
  for (const auto& [id, groupID] : answer.assignments) {
    const auto target = indexOf.find(groupID);
    if (target == indexOf.end() || !movable.contains(id) || leaving.contains(id)) continue;
    const auto before = present.find(id);
    if (before != present.end() && before->second == target->second) {
      settled.insert(*usable.find(id));
      continue;
    }
    settle(id);
    joining[target->second].push_back(id);
  }
  std::vector<TabGroup> made;
  for (const auto& proposed : answer.groups) {
    TabGroup group{.id = proposed.id, .tabIDs = movable.of(proposed.tabIDs)};
    if (group.tabIDs.empty()) continue;
    std::ranges::for_each(group.tabIDs, settle);
    made.push_back(described(std::move(group), proposed));
  }
  const auto unassigned = movable.of(answer.unassigned);
  std::ranges::for_each(unassigned, settle);

  const auto left = [&](const Uuid& id) { return leaving.contains(id); };
  for (std::size_t i = 0; i < state.groups.size(); ++i) {
    std::erase_if(state.groups[i].tabIDs, left);
    append(state.groups[i].tabIDs, joining[i]);
  }
  std::erase_if(state.unassigned, left);
  append(state.unassigned, unassigned);
  std::erase_if(state.groups, [](const TabGroup& group) { return group.tabIDs.empty(); });
  std::ranges::move(made, std::back_inserter(state.groups));
  recordPlaces(state, settled);
  return state;
}

}  // namespace vale::TabGroupingMerge
