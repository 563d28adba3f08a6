#include "browser/BrowserModel.h"

#include <algorithm>
#include <unordered_map>
#include <unordered_set>
#include <utility>

namespace vale {

BrowserModel::BrowserModel(Uuid id, BrowserSession& session, PageEngine& engine, BrowsingMode mode)
    : id(id), mode(mode), session_(session), engine_(engine), permissions_(session.permissions()) {
  storageError.set(session.readError());
}

BrowserModel::~BrowserModel() = default;

std::shared_ptr<BrowserModel> BrowserModel::makePrivate(BrowserSession& session,
                                                        std::shared_ptr<PageEngine> engine,
                                                        TabLayout tabLayout, bool wallVisible) {
  auto model = std::make_shared<BrowserModel>(Uuid::random(), session, *engine, BrowsingMode::isPrivate);
  model->ownEngine_ = std::move(engine);
  model->permissions_ = SitePermissions::withParent(session.permissions());
  model->tabLayout_.set(tabLayout);
  model->wallVisible_.set(wallVisible);
  return model;
}

void BrowserModel::endPrivateSession() {
  if (!isPrivate()) return;
  closeWindow();
  // The engine's data goes with the last model that uses it, once its pages have told their processes.
  session_.surroundings().main.post([model = shared_from_this()] {});
}

// ---------------------------------------------------------------------------------------------------------
// Looking

BrowserModel::TabPointer BrowserModel::tab(const Uuid& id) const {
  const auto index = indexOf(id);
  return index ? tabs_[*index] : nullptr;
}

std::optional<std::size_t> BrowserModel::indexOf(const Uuid& id) const {
  const auto found = std::ranges::find(tabs_, id, [](const TabPointer& tab) { return tab->id; });
  if (found == tabs_.end()) return std::nullopt;
  return static_cast<std::size_t>(found - tabs_.begin());
}

std::size_t BrowserModel::firstLoose() const {
  const auto loose =
      std::ranges::find_if(tabs_, [&](const TabPointer& tab) { return !tab->pinned() && !groupOf(tab->id); });
  return static_cast<std::size_t>(loose - tabs_.begin());
}

std::size_t BrowserModel::insertionIndex(const BrowserTab* opener) const {
  const auto found = opener ? indexOf(opener->id) : std::nullopt;
  if (!found) return tabs_.size();
  // What a pinned tab opens cannot stand beside it; its children begin the loose ones.
  std::size_t index = opener->pinned() ? firstLoose() : *found + 1;
  while (index < tabs_.size() && tabs_[index]->openerID == opener->id) ++index;
  return index;
}

// ---------------------------------------------------------------------------------------------------------
// Making and following tabs

BrowserModel::TabPointer BrowserModel::makeTab() {
  return std::make_shared<BrowserTab>(Uuid::random(), session_.surroundings().clock);
}

BrowserModel::TabPointer BrowserModel::makeTab(const SavedTab& saved) {
  auto made =
      std::make_shared<BrowserTab>(tab(saved.id) ? Uuid::random() : saved.id, session_.surroundings().clock);
  made->restore(saved);
  return made;
}

void BrowserModel::follow(const TabPointer& tab) {
  tab->savedStateChanged_ = [this] { scheduleSave(); };
  tab->pageMade_ = [this, tab = tab.get()] { followPage(*tab); };
  if (tab->page()) followPage(*tab);
}

void BrowserModel::followPage(BrowserTab& tab) {
  const auto id = tab.id;
  auto& page = *tab.page();
  tab.modelSubscriptions_.clear();
  const auto keep = [&](Subscription subscription) {
    tab.modelSubscriptions_.push_back(std::move(subscription));
  };
  keep(page.onNewPage([this, id](NewPageRequest& request) {
    const auto opener = this->tab(id);
    if (!opener || !request.page) return;
    auto made = makeTab();
    made->openerID = id;
    made->agentOwner = opener->agentOwner;
    const auto* group = groupOf(id);
    insert(made, insertionIndex(opener.get()), group ? std::optional(group->id) : std::nullopt);
    made->adopt(std::move(request.page));
    if (request.selected) show(made, opener->agentOwner ? SelectedBy::agent : SelectedBy::user);
  }));
  keep(page.onLinkInNewTab([this, id](const std::string& address, bool selected) {
    open(address, {.opener = this->tab(id), .selects = selected});
  }));
  keep(page.onLinkInNewWindow([this](const std::string& address) { onNewWindow(address); }));
  keep(page.onCloseRequested([this, id] {
    // Not at once: the page is still busy with this very signal.
    session_.surroundings().main.post([weak = weak_from_this(), id] {
      if (const auto self = weak.lock()) self->close(id, true);
    });
  }));
  if (!isPrivate()) {
    keep(page.icon().subscribe([this, &page](const PageIcon& icon) {
      if (icon) session_.favicons()->store(page.address().value(), icon);
    }));
  }
  pageMade_.emit(tab);
}

std::shared_ptr<Page> BrowserModel::letGo(BrowserTab& tab) {
  std::shared_ptr<Page> page = tab.release();
  pageLeaving_.emit(tab, page);
  return page;
}

/// A tab without a page shows the icon that its site had.
void BrowserModel::showIcon(const TabPointer& tab) {
  if (tab->isStart()) return;
  session_.favicons()->load(tab->url(), [weak = std::weak_ptr(tab), url = tab->url()](PageIcon icon) {
    const auto tab = weak.lock();
    if (!tab || !icon || tab->icon() || tab->url() != url) return;
    tab->icon_ = std::move(icon);
    tab->changed_.emit();
  });
}

BrowserModel::TabPointer BrowserModel::open(const std::string& address, NewTab how) {
  auto made = makeTab();
  const auto opener = how.opener && tab(how.opener->id) ? how.opener : nullptr;
  if (opener) made->openerID = opener->id;
  made->agentOwner = how.agentOwner ? how.agentOwner : opener ? opener->agentOwner : std::nullopt;
  std::optional<Uuid> groupID = how.groupID;
  if (const auto* group = opener && !groupID ? groupOf(opener->id) : nullptr) groupID = group->id;
  insert(made, insertionIndex(opener.get()), groupID);
  if (how.selects || !selected_) show(made, made->agentOwner ? SelectedBy::agent : SelectedBy::user);
  if (!address.empty()) made->open(address, engine_);
  return made;
}

// ---------------------------------------------------------------------------------------------------------
// The order

/// Brings the tabs into the one order that every window keeps.
void BrowserModel::arrange() {
  std::unordered_map<Uuid, std::size_t> rank;
  std::size_t next = 1;
  for (const auto& group : groups_) {
    for (const auto& id : group.tabIDs) rank[id] = next++;
  }
  const auto place = [&](const TabPointer& tab) -> std::size_t {
    if (tab->pinned()) return 0;
    if (const auto grouped = rank.find(tab->id); grouped != rank.end()) return grouped->second;
    return tab->agentOwner ? next + 1 : next;
  };
  std::ranges::stable_sort(tabs_, {}, place);
}

/// Adds a tab before the one at `index`; in a group before its member at `indexInGroup`, or where `index`
/// lies among its members.
void BrowserModel::insert(const TabPointer& tab, std::size_t index, const std::optional<Uuid>& groupID,
                          std::optional<std::size_t> indexInGroup) {
  index = std::min(index, tabs_.size());
  if (auto* group = groupID && !tab->pinned() ? findGroup(*groupID) : nullptr) {
    auto& members = group->tabIDs;
    const auto before = std::ranges::count_if(
        members, [&](const Uuid& member) { return indexOf(member).value_or(index) < index; });
    const auto place = std::min(indexInGroup.value_or(static_cast<std::size_t>(before)), members.size());
    members.insert(members.begin() + static_cast<std::ptrdiff_t>(place), tab->id);
  }
  tabs_.insert(tabs_.begin() + static_cast<std::ptrdiff_t>(index), tab);
  arrange();
  follow(tab);
  tabsChanged();
}

void BrowserModel::leaveGroup(const Uuid& tabID) {
  for (auto& group : groups_) std::erase(group.tabIDs, tabID);
  std::erase_if(groups_, [](const ManualTabGroup& group) { return group.tabIDs.empty(); });
}

/// Takes a tab off the list; what is selected is the caller's affair.
void BrowserModel::remove(const TabPointer& tab) {
  leaveGroup(tab->id);
  std::erase(tabs_, tab);
  tab->savedStateChanged_ = nullptr;
  tab->pageMade_ = nullptr;
  tab->modelSubscriptions_.clear();
  if (lastPersonalSelection_ == tab->id) lastPersonalSelection_.reset();
}

void BrowserModel::setPinned(const Uuid& id, bool pinned) {
  const auto found = tab(id);
  if (!found || found->pinned_ == pinned || found->agentOwner) return;
  leaveGroup(id);
  found->pinned_ = pinned;
  // Newly pinned the last of the pinned, newly unpinned the first of the loose.
  std::erase(tabs_, found);
  const auto place = std::ranges::find_if(tabs_, [](const TabPointer& tab) { return !tab->pinned(); });
  tabs_.insert(place, found);
  arrange();
  tabsChanged();
}

void BrowserModel::move(const Uuid& id, std::size_t index) {
  const auto from = indexOf(id);
  if (!from) return;
  const auto moved = tabs_[*from];
  const auto* own = groupOf(id);
  const auto ownID = own ? std::optional(own->id) : std::nullopt;
  if (index > *from) --index;
  tabs_.erase(tabs_.begin() + static_cast<std::ptrdiff_t>(*from));
  index = std::min(index, tabs_.size());
  const auto groupAt = [&](std::size_t place) -> std::optional<Uuid> {
    const auto* group = place < tabs_.size() ? groupOf(tabs_[place]->id) : nullptr;
    return group ? std::optional(group->id) : std::nullopt;
  };
  const auto before = index > 0 ? groupAt(index - 1) : std::nullopt;
  const auto after = groupAt(index);
  std::optional<Uuid> joined;
  if (before && before == after) joined = before;
  if (ownID && (before == ownID || after == ownID)) joined = ownID;
  if (moved->pinned() || moved->agentOwner) joined.reset();

  // The group that the tab joins must not end for want of its only member.
  std::size_t place = 0;
  if (joined) {
    for (std::size_t i = 0; i < index; ++i) place += groupAt(i) == joined;
    auto& members = findGroup(*joined)->tabIDs;
    std::erase(members, id);
    members.insert(members.begin() + static_cast<std::ptrdiff_t>(place), id);
    for (auto& group : groups_) {
      if (group.id != *joined) std::erase(group.tabIDs, id);
    }
    std::erase_if(groups_, [](const ManualTabGroup& group) { return group.tabIDs.empty(); });
  } else {
    leaveGroup(id);
  }
  tabs_.insert(tabs_.begin() + static_cast<std::ptrdiff_t>(index), moved);
  arrange();
  tabsChanged();
}

BrowserModel::TabPointer BrowserModel::detach(const Uuid& id) {
  const auto found = tab(id);
  if (!found) return nullptr;
  const auto next = found == selected_ ? nextSelection(*found, tabs_, false) : selected_;
  remove(found);
  tabsChanged();
  if (found == selected_) show(next, SelectedBy::user);
  return found;
}

void BrowserModel::adopt(TabPointer tab, std::size_t index) {
  tab->openerID.reset();
  insert(tab, index);
  show(tab, SelectedBy::user);
}

// ---------------------------------------------------------------------------------------------------------
// Selecting

void BrowserModel::show(const TabPointer& tab, SelectedBy by) {
  const auto now = session_.surroundings().clock.now();
  if (tab && by == SelectedBy::user && !tab->agentOwner) lastPersonalSelection_ = tab->id;
  if (tab == selected_) return;
  if (selected_) selected_->hiddenSince = now;
  selected_ = tab;
  if (selected_) {
    selected_->hiddenSince.reset();
    selected_->lastActivatedAt = now;
    selected_->wake(engine_);
  }
  selectionChanged_.emit();
  scheduleSave();
}

void BrowserModel::select(const Uuid& id, SelectedBy by) {
  const auto found = tab(id);
  if (!found) return;
  const auto* group = groupOf(id);
  show(found, by);
  // A selected tab can be seen.
  if (group && group->collapsed) setGroupCollapsed(group->id, false);
}

void BrowserModel::selectRelative(int steps) {
  if (!selected_ || tabs_.empty()) return;
  const auto count = static_cast<std::ptrdiff_t>(tabs_.size());
  const auto at = static_cast<std::ptrdiff_t>(indexOf(selected_->id).value_or(0));
  const auto place = ((at + steps) % count + count) % count;
  select(tabs_[static_cast<std::size_t>(place)]->id);
}

void BrowserModel::scheduleSave() {
  if (!closed_ && !isPrivate()) session_.scheduleSave();
}

void BrowserModel::tabsChanged() {
  tabsChanged_.emit();
  scheduleSave();
}

// ---------------------------------------------------------------------------------------------------------
// The window

void BrowserModel::setTabLayout(TabLayout layout) {
  if (layout == tabLayout_.value()) return;
  tabLayout_.set(layout);
  scheduleSave();
}

void BrowserModel::setWallVisible(bool visible) {
  if (visible == wallVisible_.value()) return;
  wallVisible_.set(visible);
  scheduleSave();
}

void BrowserModel::setWallWidth(double width) {
  if (wallWidth_ == width) return;
  wallWidth_ = width;
  scheduleSave();
}

void BrowserModel::setLastFrame(SavedFrame frame) {
  if (lastFrame_ == frame) return;
  lastFrame_ = frame;
  scheduleSave();
}

SavedWindow BrowserModel::windowSnapshot() const {
  SavedWindow saved{.id = id};
  saved.tabs.reserve(tabs_.size());
  std::unordered_set<Uuid> kept;
  for (const auto& tab : tabs_) {
    if (tab->agentOwner || tab->isViewSource()) continue;
    saved.tabs.push_back(tab->saved());
    kept.insert(tab->id);
  }
  if (selected_ && kept.contains(selected_->id)) {
    saved.selected = selected_->id;
  } else if (lastPersonalSelection_ && kept.contains(*lastPersonalSelection_)) {
    saved.selected = lastPersonalSelection_;
  } else if (!saved.tabs.empty()) {
    saved.selected = saved.tabs.front().id;
  }
  std::vector<ManualTabGroup> groups;
  for (auto group : groups_) {
    std::erase_if(group.tabIDs, [&](const Uuid& id) { return !kept.contains(id); });
    if (!group.tabIDs.empty()) groups.push_back(std::move(group));
  }
  if (!groups.empty()) saved.groups = std::move(groups);
  saved.frame = lastFrame_;
  saved.wallWidth = wallWidth_;
  if (!wallVisible_.value()) saved.wallVisible = false;
  saved.tabLayout = std::string(rawValue(tabLayout_.value()));
  return saved;
}

void BrowserModel::restore(const SavedWindow& saved) {
  std::unordered_set<Uuid> free;
  for (const auto& record : saved.tabs) {
    const auto made = std::make_shared<BrowserTab>(record.id, session_.surroundings().clock);
    made->restore(record);
    tabs_.push_back(made);
    if (!made->pinned()) free.insert(made->id);
    follow(made);
    showIcon(made);
  }
  for (auto group : saved.groups.value_or(std::vector<ManualTabGroup>())) {
    // A tab is in one group, the first that names it.
    std::erase_if(group.tabIDs, [&](const Uuid& id) { return free.erase(id) == 0; });
    if (!group.tabIDs.empty()) groups_.push_back(std::move(group));
  }
  arrange();
  tabLayout_.set(fromRawValue<TabLayout>(saved.tabLayout.value_or("")).value_or(TabLayout::vertical));
  wallVisible_.set(saved.wallVisible.value_or(true));
  wallWidth_ = saved.wallWidth;
  lastFrame_ = saved.frame;
  if (tabs_.empty()) {
    open({}, {});
    return;
  }
  tabsChanged();
  const auto last = saved.selected ? tab(*saved.selected) : nullptr;
  show(last ? last : tabs_.front(), SelectedBy::user);
}

void BrowserModel::insertRestored(const std::vector<SavedTab>& saved) {
  for (const auto& record : saved) {
    const auto made = makeTab(record);
    insert(made, tabs_.size());
    showIcon(made);
  }
}

void BrowserModel::closeWindow() {
  closed_ = true;
  groups_.clear();
  selected_.reset();
  for (const auto& tab : std::exchange(tabs_, {})) {
    tab->savedStateChanged_ = nullptr;
    tab->pageMade_ = nullptr;
    tab->modelSubscriptions_.clear();
    if (!tab->page()) continue;
    tab->page()->stop();
    letGo(*tab);
  }
  closedTabs_.clear();
  publishClosed();
}

}  // namespace vale
