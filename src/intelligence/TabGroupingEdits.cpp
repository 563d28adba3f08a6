#include "intelligence/TabGroupingEdits.h"

#include "browser/SavedSession.h"
#include "common/Text.h"
#include "intelligence/TabGroupingHints.h"
#include "intelligence/TabGroupingPlaces.h"

#include <algorithm>
#include <unordered_map>
#include <utility>

namespace vale::TabGroupingEdits {
namespace {

std::string givenName(const std::string& name) {
  return std::string(firstCharacters(trimmed(singleLine(name)), longestName));
}

TabGroup* find(TabGroupingState& state, const Uuid& groupID) {
  const auto found = std::ranges::find(state.groups, groupID, &TabGroup::id);
  return found == state.groups.end() ? nullptr : &*found;
}

const GroupingTab* find(const Scene& scene, const Uuid& tabID) {
  const auto found = std::ranges::find(scene.tabs, tabID, &GroupingTab::id);
  return found != scene.tabs.end() && found->canBeGrouped ? &*found : nullptr;
}

/// Takes the tab out of where it is, and remembers that the user put it where it goes.
void take(TabGroupingState& state, const GroupingTab& tab) {
  for (auto& group : state.groups) std::erase(group.tabIDs, tab.id);
  std::erase(state.unassigned, tab.id);
  state.placedURLs[tab.id.text()] = tab.address;
  state.formerGroups.erase(tab.id.text());
  if (!state.userPlaced) state.userPlaced.emplace();
  if (std::ranges::find(*state.userPlaced, tab.id) == state.userPlaced->end()) {
    state.userPlaced->push_back(tab.id);
  }
}

/// The group is the user's from now on, and says what belongs together.
void makeManual(TabGroupingState& state, const Scene& scene, TabGroup& group) {
  group.source = TabGroupSource::manual;
  ManualGroupPreference hint{.key = group.id.text(), .name = group.name, .updatedAt = scene.now};
  std::unordered_map<Uuid, const GroupingTab*> open;
  for (const auto& tab : scene.tabs) open.emplace(tab.id, &tab);
  for (const auto& id : group.tabIDs) {
    if (const auto tab = open.find(id); tab != open.end() && tab->second->canBeGrouped) {
      hint.urls.push_back(tab->second->address);
    }
  }
  TabGroupingHints::remember(state.hints, std::move(hint));
}

void dropEmptyGroups(TabGroupingState& state) {
  std::erase_if(state.groups, [](const TabGroup& group) { return group.tabIDs.empty(); });
}

}  // namespace

std::optional<Uuid> addToNewGroup(TabGroupingState& state, const Scene& scene,
                                  const std::vector<Uuid>& tabIDs, const std::string& name) {
  TabGroup group{.id = Uuid::random(), .name = givenName(name)};
  group.userNamed = !group.name.empty();
  if (group.name.empty()) group.name = defaultGroupName;
  for (const auto& id : tabIDs) {
    const auto* tab = find(scene, id);
    if (!tab || std::ranges::find(group.tabIDs, id) != group.tabIDs.end()) continue;
    take(state, *tab);
    TabGroupingHints::separate(state.hints, tab->address, group.id.text());
    group.tabIDs.push_back(id);
  }
  if (group.tabIDs.empty()) return std::nullopt;
  dropEmptyGroups(state);
  makeManual(state, scene, state.groups.emplace_back(group));
  return group.id;
}

void moveTab(TabGroupingState& state, const Scene& scene, const Uuid& tabID, const Uuid& groupID,
             const std::optional<Uuid>& before) {
  const auto* tab = find(scene, tabID);
  auto* group = find(state, groupID);
  if (!tab || !group || before == tabID) return;
  take(state, *tab);
  TabGroupingHints::separate(state.hints, tab->address, groupID.text());
  const auto place = before ? std::ranges::find(group->tabIDs, *before) : group->tabIDs.end();
  group->tabIDs.insert(place, tabID);
  makeManual(state, scene, *group);
  dropEmptyGroups(state);
}

void removeFromGroup(TabGroupingState& state, const Scene& scene, const Uuid& tabID) {
  const auto* tab = find(scene, tabID);
  if (!tab || !TabGroupingPlaces(state).groupOf(tabID)) return;
  take(state, *tab);
  TabGroupingHints::separate(state.hints, tab->address, {});
  state.unassigned.push_back(tabID);
  dropEmptyGroups(state);
}

void renameGroup(TabGroupingState& state, const Scene& scene, const Uuid& groupID, const std::string& name) {
  auto* group = find(state, groupID);
  if (!group) return;
  const auto given = givenName(name);
  group->userNamed = !given.empty();
  if (given.empty()) return;
  group->name = given;
  makeManual(state, scene, *group);
}

void setCollapsed(TabGroupingState& state, const Uuid& groupID, bool collapsed) {
  if (auto* group = find(state, groupID)) group->collapsed = collapsed;
}

}  // namespace vale::TabGroupingEdits
