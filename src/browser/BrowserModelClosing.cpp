#include "browser/BrowserModel.h"
#include "common/Error.h"
#include "common/Log.h"

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>

#include <algorithm>
#include <utility>

namespace vale {

namespace {

bool isCollapsed(const ManualTabGroup* group) { return group && group->collapsed; }

}  // namespace

BrowserModel::TabPointer BrowserModel::nextSelection(const BrowserTab& removed,
                                                     const std::vector<TabPointer>& from,
                                                     bool preferOpener) const {
  const auto open = [&](const std::optional<Uuid>& id) -> TabPointer {
    if (!id || *id == removed.id) return nullptr;
    const auto found = std::ranges::find(from, *id, [](const TabPointer& tab) { return tab->id; });
    return found == from.end() ? nullptr : *found;
  };
  const auto opener = open(removed.openerID);
  if (preferOpener && opener) return opener;
  if (!preferOpener && removed.agentOwner) {
    if (auto own = open(lastPersonalSelection_)) return own;
  }
  const auto at = std::ranges::find(from, removed.id, [](const TabPointer& tab) { return tab->id; });
  if (at == from.end()) return from.empty() ? nullptr : from.front();

  // A run of links opened from one page is read to its end; then back to that page, when it is where the user
  // came from.
  const auto right = at + 1;
  if (opener) {
    if (right != from.end() && (*right)->openerID == removed.openerID) return *right;
    const auto activated = [](const TabPointer& tab) { return tab->lastActivatedAt.value_or(Date()); };
    const bool cameFrom = std::ranges::all_of(from, [&](const TabPointer& tab) {
      return tab->id == removed.id || activated(tab) <= activated(opener);
    });
    if (cameFrom) return opener;
  }
  // The neighbour: rather in the same group than outside, rather to the right than to the left, and a tab
  // that can be seen before one that is folded into its group.
  const auto* group = groupOf(removed.id);
  const auto sameGroup = [&](const TabPointer& tab) { return groupOf(tab->id) == group; };
  const auto seen = [&](const TabPointer& tab) {
    return !isCollapsed(groupOf(tab->id)) && tab->pinned() == removed.pinned();
  };
  const auto any = [](const TabPointer&) { return true; };
  const auto nearest = [&](const auto& fits) -> TabPointer {
    const auto after = std::find_if(right, from.end(), fits);
    if (after != from.end()) return *after;
    const auto before = std::find_if(std::make_reverse_iterator(at), from.rend(), fits);
    return before == from.rend() ? nullptr : *before;
  };
  if (group) {
    if (auto neighbour = nearest(sameGroup)) return neighbour;
  }
  if (auto neighbour = nearest(seen)) return neighbour;
  return nearest(any);
}

void BrowserModel::close(const Uuid& id, bool preferOpener) {
  const auto self = shared_from_this();
  const auto closing = tab(id);
  if (!closing) return;
  if (tabs_.size() == 1 && onLastTabClosing) {
    const auto ask = onLastTabClosing;
    ask();
    return;
  }
  const auto next = closing == selected_ ? nextSelection(*closing, tabs_, preferOpener) : selected_;
  rememberClosed(*closing);
  remove(closing);
  if (closing == selected_) show(next, next && next->agentOwner ? SelectedBy::agent : SelectedBy::user);
  tabsChanged();
  if (closing->page()) letGo(*closing);
}

void BrowserModel::closeTabs(const std::vector<Uuid>& ids, Remembered remembered) {
  const auto self = shared_from_this();
  const auto named = [&](const TabPointer& tab) { return std::ranges::find(ids, tab->id) != ids.end(); };
  if (std::ranges::all_of(tabs_, named)) {
    if (remembered == Remembered::yes && onLastTabClosing) {
      const auto ask = onLastTabClosing;
      ask();
      return;
    }
    open({}, {});
  }
  for (const auto& id : ids) {
    const auto closing = tab(id);
    if (!closing) continue;
    if (remembered == Remembered::yes) {
      close(id);
      continue;
    }
    const auto next = closing == selected_ ? nextSelection(*closing, tabs_, false) : selected_;
    remove(closing);
    if (closing == selected_) show(next, SelectedBy::user);
    if (!closing->page()) continue;
    closing->page()->stop();
    letGo(*closing);
  }
  tabsChanged();
}

void BrowserModel::rememberClosed(BrowserTab& closing) {
  if (closing.page()) closing.page()->stop();
  if (isPrivate()) return;
  ClosedTab entry{.saved = closing.saved(),
                  .orderedIndex = indexOf(closing.id).value_or(tabs_.size()),
                  .entryID = Uuid::random(),
                  .closedAt = session_.surroundings().clock.now(),
                  .state = closing.sleepingState_};
  if (const auto* group = groupOf(closing.id)) {
    entry.groupID = group->id;
    const auto member = std::ranges::find(group->tabIDs, closing.id);
    entry.indexInGroup = static_cast<std::size_t>(member - group->tabIDs.begin());
  }
  entry.looseIndex = static_cast<std::size_t>(
      std::count_if(tabs_.begin(), tabs_.begin() + static_cast<std::ptrdiff_t>(entry.orderedIndex),
                    [&](const TabPointer& tab) { return !tab->pinned() && !groupOf(tab->id); }));
  const auto entryID = entry.entryID;
  closedTabs_.push_back(std::move(entry));
  if (closedTabs_.size() > closedTabLimit) closedTabs_.erase(closedTabs_.begin());
  publishClosed();
  if (!closing.page()) return;
  // The page lives on, silent and unseen, until it has said what brings it back.
  auto page = letGo(closing);
  page->setMuted(true);
  const auto& main = session_.surroundings().main;
  asio::co_spawn(main.executor(), keepState(weak_from_this(), entryID, std::move(page)), asio::detached);
}

Task<void> BrowserModel::keepState(std::weak_ptr<BrowserModel> model, Uuid entryID,
                                   std::shared_ptr<Page> page) {
  try {
    auto state = co_await page->sessionState();
    const auto self = model.lock();
    if (!self) co_return;
    const auto entry = std::ranges::find(self->closedTabs_, entryID, &ClosedTab::entryID);
    if (entry != self->closedTabs_.end()) entry->state = std::move(state);
  } catch (const Error& error) {
    log::debug("A closed page did not say where it was: {}", error.message);
  }
}

void BrowserModel::publishClosed() {
  std::vector<ClosedTabSummary> summaries;
  for (auto entry = closedTabs_.rbegin(); entry != closedTabs_.rend(); ++entry) {
    summaries.push_back({.id = entry->entryID,
                         .title = entry->saved.title,
                         .url = entry->saved.url,
                         .closedAt = entry->closedAt});
  }
  recentlyClosed_.set(std::move(summaries));
}

BrowserModel::TabPointer BrowserModel::reopen(const Uuid& entryID) {
  const auto found = std::ranges::find(closedTabs_, entryID, &ClosedTab::entryID);
  if (found == closedTabs_.end()) return nullptr;
  const ClosedTab entry = std::move(*found);
  closedTabs_.erase(found);
  publishClosed();
  auto made = makeTab(entry.saved);
  made->sleepingState_ = entry.state;
  if (entry.groupID && group(*entry.groupID)) {
    insert(made, tabs_.size(), entry.groupID, entry.indexInGroup);
  } else if (made->pinned()) {
    insert(made, entry.orderedIndex);
  } else {
    insert(made, firstLoose() + entry.looseIndex);
  }
  showIcon(made);
  show(made, SelectedBy::user);
  return made;
}

std::size_t BrowserModel::forgetClosedTabs(std::optional<Date> since) {
  const auto count =
      std::erase_if(closedTabs_, [&](const ClosedTab& one) { return !since || one.closedAt >= *since; });
  publishClosed();
  return count;
}

Task<bool> BrowserModel::hibernate(Uuid id) {
  const auto self = shared_from_this();
  const auto sleeper = tab(id);
  if (!sleeper || !sleeper->page() || sleeper == selected_) co_return false;
  const auto* page = sleeper->page();
  auto state = co_await sleeper->page()->sessionState();
  // While the page was asked, the user may have come back, closed the tab or moved it.
  if (tab(id) != sleeper || sleeper->page() != page || sleeper == selected_) co_return false;
  sleeper->sleepingState_ = std::move(state);
  letGo(*sleeper);
  co_return true;
}

}  // namespace vale
