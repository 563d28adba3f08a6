#include "browser/BrowserModel.h"

#include <algorithm>
#include <utility>

namespace vale {

const ManualTabGroup* BrowserModel::group(const Uuid& id) const {
  const auto found = std::ranges::find(groups_, id, &ManualTabGroup::id);
  return found == groups_.end() ? nullptr : &*found;
}

ManualTabGroup* BrowserModel::findGroup(const Uuid& id) {
  const auto found = std::ranges::find(groups_, id, &ManualTabGroup::id);
  return found == groups_.end() ? nullptr : &*found;
}

const ManualTabGroup* BrowserModel::groupOf(const Uuid& tabID) const {
  const auto holds = [&](const ManualTabGroup& group) {
    return std::ranges::find(group.tabIDs, tabID) != group.tabIDs.end();
  };
  const auto found = std::ranges::find_if(groups_, holds);
  return found == groups_.end() ? nullptr : &*found;
}

/// A colour that no group of this window has yet, if there is one.
TabGroupColor BrowserModel::freeColor() const {
  using enum TabGroupColor;
  constexpr TabGroupColor order[] = {blue, green, orange, purple, red, cyan, pink, yellow, gray};
  const auto free = std::ranges::find_if(order, [&](TabGroupColor color) {
    return std::ranges::find(groups_, color, &ManualTabGroup::color) == groups_.end();
  });
  return free == std::end(order) ? order[groups_.size() % std::size(order)] : *free;
}

std::optional<Uuid> BrowserModel::createGroup(const std::vector<Uuid>& tabIDs, std::string name,
                                              std::optional<TabGroupColor> color) {
  const bool known = std::ranges::any_of(tabIDs, [&](const Uuid& id) {
    const auto member = tab(id);
    return member && !member->agentOwner;
  });
  if (!known) return std::nullopt;
  const auto id = Uuid::random();
  groups_.push_back({.id = id,
                     .name = name.empty() ? std::string(defaultGroupName) : std::move(name),
                     .color = color.value_or(freeColor())});
  addToGroup(tabIDs, id);
  return id;
}

void BrowserModel::renameGroup(const Uuid& id, std::string name) {
  auto* group = findGroup(id);
  if (!group || group->name == name || name.empty()) return;
  group->name = std::move(name);
  tabsChanged();
}

void BrowserModel::recolorGroup(const Uuid& id, TabGroupColor color) {
  auto* group = findGroup(id);
  if (!group || group->color == color) return;
  group->color = color;
  tabsChanged();
}

void BrowserModel::setGroupCollapsed(const Uuid& id, bool collapsed) {
  auto* group = findGroup(id);
  if (!group || group->collapsed == collapsed) return;
  group->collapsed = collapsed;
  tabsChanged();
  const auto at = selected_ ? indexOf(selected_->id) : std::nullopt;
  if (!collapsed || !at || groupOf(selected_->id) != group) return;
  const auto seen = [&](const TabPointer& tab) {
    const auto* other = groupOf(tab->id);
    return !other || !other->collapsed;
  };
  const auto here = tabs_.begin() + static_cast<std::ptrdiff_t>(*at);
  const auto after = std::find_if(here, tabs_.end(), seen);
  const auto before = std::find_if(std::make_reverse_iterator(here), tabs_.rend(), seen);
  if (after != tabs_.end()) {
    show(*after, SelectedBy::user);
  } else if (before != tabs_.rend()) {
    show(*before, SelectedBy::user);
  }
}

void BrowserModel::addToGroup(const std::vector<Uuid>& tabIDs, const Uuid& id,
                              std::optional<std::size_t> index) {
  if (!group(id)) return;
  std::vector<Uuid> joining;
  for (const auto& tabID : tabIDs) {
    const auto member = tab(tabID);
    if (!member || member->agentOwner || std::ranges::find(joining, tabID) != joining.end()) continue;
    member->pinned_ = false;
    joining.push_back(tabID);
  }
  if (joining.empty()) return;
  auto& members = findGroup(id)->tabIDs;
  // The place is meant among the members as they stand; those that move within the group make room first.
  std::size_t place = std::min(index.value_or(members.size()), members.size());
  place -= static_cast<std::size_t>(
      std::count_if(members.begin(), members.begin() + static_cast<std::ptrdiff_t>(place),
                    [&](const Uuid& member) { return std::ranges::find(joining, member) != joining.end(); }));
  for (auto& other : groups_) {
    std::erase_if(other.tabIDs,
                  [&](const Uuid& member) { return std::ranges::find(joining, member) != joining.end(); });
  }
  members.insert(members.begin() + static_cast<std::ptrdiff_t>(place), joining.begin(), joining.end());
  std::erase_if(groups_, [](const ManualTabGroup& group) { return group.tabIDs.empty(); });
  arrange();
  tabsChanged();
}

void BrowserModel::removeFromGroup(const Uuid& tabID) {
  if (!groupOf(tabID)) return;
  leaveGroup(tabID);
  arrange();
  tabsChanged();
}

void BrowserModel::moveGroup(const Uuid& id, std::size_t index) {
  const auto found = std::ranges::find(groups_, id, &ManualTabGroup::id);
  if (found == groups_.end()) return;
  auto moved = std::move(*found);
  groups_.erase(found);
  index = std::min(index, groups_.size());
  groups_.insert(groups_.begin() + static_cast<std::ptrdiff_t>(index), std::move(moved));
  arrange();
  tabsChanged();
}

void BrowserModel::ungroup(const Uuid& id) {
  if (std::erase_if(groups_, [&](const ManualTabGroup& group) { return group.id == id; }) == 0) return;
  arrange();
  tabsChanged();
}

void BrowserModel::closeGroup(const Uuid& id) {
  if (const auto* found = group(id)) closeTabs(std::vector(found->tabIDs), Remembered::yes);
}

void BrowserModel::foldGroup(const Uuid& id, std::string name, std::string summary) {
  const auto* found = group(id);
  if (!found || isPrivate()) return;
  FoldedTabGroup folded{.id = id,
                        .name = name.empty() ? found->name : std::move(name),
                        .summary = std::move(summary),
                        .foldedAt = session_.surroundings().clock.now()};
  const auto members = found->tabIDs;
  for (const auto& tabID : members) folded.tabs.push_back(tab(tabID)->saved());
  session_.addFolded(std::move(folded));
  closeTabs(members, Remembered::no);
}

std::optional<Uuid> BrowserModel::restoreFolded(const Uuid& id) {
  if (isPrivate()) return std::nullopt;
  auto folded = session_.takeFolded(id);
  if (!folded) return std::nullopt;
  const auto groupID = group(folded->id) ? Uuid::random() : folded->id;
  ManualTabGroup restored{.id = groupID, .name = std::move(folded->name), .color = freeColor()};
  std::vector<TabPointer> made;
  for (auto& saved : folded->tabs) {
    saved.pinned = false;
    made.push_back(makeTab(saved));
    restored.tabIDs.push_back(made.back()->id);
    tabs_.push_back(made.back());
    follow(made.back());
    showIcon(made.back());
  }
  if (made.empty()) return std::nullopt;
  groups_.push_back(std::move(restored));
  arrange();
  tabsChanged();
  show(made.front(), SelectedBy::user);
  return groupID;
}

void BrowserModel::discardFolded(const Uuid& id) { session_.takeFolded(id); }

}  // namespace vale
