#include "browser/TabDrop.h"

#include <algorithm>

namespace vale {

namespace {

std::size_t firstOfAgents(const BrowserModel& model) {
  const auto found =
      std::ranges::find_if(model.tabs(), [](const auto& tab) { return tab->agentOwner && !tab->pinned(); });
  return static_cast<std::size_t>(found - model.tabs().begin());
}

}  // namespace

TabPlace dropPlace(const BrowserModel& model, const TabLine* line, DropSide side) {
  using enum TabLine::Kind;
  const std::size_t beyond = side == DropSide::after ? 1 : 0;
  if (line && (line->kind == pinnedTab || line->kind == looseTab)) {
    const auto index = model.indexOf(line->id).value_or(model.tabs().size()) + beyond;
    return {.kind = line->kind == pinnedTab ? TabPlace::Kind::pinned : TabPlace::Kind::loose, .index = index};
  }
  const auto* group = line ? model.group(line->groupID) : nullptr;
  if (!group) return {.kind = TabPlace::Kind::loose, .index = firstOfAgents(model)};
  if (line->kind == groupHeader) return {.kind = TabPlace::Kind::group, .groupID = group->id};
  const auto member = std::ranges::find(group->tabIDs, line->id);
  return {.kind = TabPlace::Kind::group,
          .groupID = group->id,
          .index = static_cast<std::size_t>(member - group->tabIDs.begin()) + beyond};
}

void putTab(BrowserModel& model, const Uuid& tab, const TabPlace& place, const TabMover& fetch) {
  const auto index = place.index.value_or(model.tabs().size());
  const bool here = model.indexOf(tab).has_value();
  const bool inTabs = place.kind != TabPlace::Kind::group;
  if (!here) {
    fetch(tab, model, inTabs ? index : model.tabs().size());
    if (!model.indexOf(tab)) return;
  }
  if (!inTabs) {
    model.addToGroup({tab}, place.groupID, place.index);
    return;
  }
  // Leaving and joining the pinned ones moves the tab; its place is said by what it goes before.
  const auto before = index < model.tabs().size() ? model.tabs()[index] : nullptr;
  model.setPinned(tab, place.kind == TabPlace::Kind::pinned);
  if (before && before->id == tab) return;
  const auto target = before ? model.indexOf(before->id).value_or(model.tabs().size()) : model.tabs().size();
  model.removeFromGroup(tab);
  model.move(tab, target);
}

std::optional<std::size_t> dropIndexOfGroup(const BrowserModel& model, const Uuid& group, const TabLine* line,
                                            DropSide side) {
  const auto place = [&](const Uuid& id) {
    return static_cast<std::size_t>(std::ranges::find(model.groups(), id, &ManualTabGroup::id) -
                                    model.groups().begin());
  };
  const auto from = place(group);
  const auto count = model.groups().size();
  if (from == count) return std::nullopt;
  std::size_t to = count;
  if (line && line->kind == TabLine::Kind::pinnedTab) {
    to = 0;
  } else if (line && model.group(line->groupID)) {
    to = place(line->groupID) + (side == DropSide::after ? 1 : 0);
  }
  // Counted without the group itself, which leaves its place first.
  return to > from ? to - 1 : to;
}

}  // namespace vale
