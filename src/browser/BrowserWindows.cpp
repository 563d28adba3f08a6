#include "browser/BrowserWindows.h"

#include <algorithm>
#include <unordered_map>
#include <unordered_set>
#include <utility>

namespace vale {

namespace {

/// Gives fresh identities to what is already in `used`, so that one tab is never in two places, and adds all
/// of them to it. References within the window follow.
SavedWindow withUniqueIdentities(SavedWindow saved, std::unordered_set<Uuid>& used) {
  const auto unique = [&](const Uuid& id) {
    const auto result = used.contains(id) ? Uuid::random() : id;
    used.insert(result);
    return result;
  };
  saved.id = unique(saved.id);
  std::unordered_map<Uuid, Uuid> renamed;
  for (auto& tab : saved.tabs) {
    const auto old = std::exchange(tab.id, unique(tab.id));
    renamed.try_emplace(old, tab.id);
  }
  const auto follow = [&](Uuid& id) {
    if (const auto found = renamed.find(id); found != renamed.end()) id = found->second;
  };
  for (auto& tab : saved.tabs) {
    if (tab.openerID) follow(*tab.openerID);
  }
  if (saved.selected) follow(*saved.selected);
  if (!saved.groups) return saved;
  for (auto& group : *saved.groups) {
    group.id = unique(group.id);
    for (auto& id : group.tabIDs) follow(id);
  }
  return saved;
}

bool hasContent(const SavedWindow& saved) {
  return std::ranges::any_of(saved.tabs, [](const SavedTab& tab) {
    return tab.url.empty() ? !tab.title.empty() : !isStart(tab.url);
  });
}

}  // namespace

BrowserWindows::BrowserWindows(BrowserSession& session, PageEngine& engine, PrivateEngine makePrivateEngine)
    : session_(session), engine_(engine), makePrivateEngine_(std::move(makePrivateEngine)) {
  session_.windows = [this] { return snapshot(); };
  session_.closedWindow = [this] { return closedWindowToKeep(); };
  session_.reportStorageError = [this](const std::optional<std::string>& message) {
    for (const auto& entry : entries_) entry.model->storageError.set(message);
  };
}

BrowserWindows::~BrowserWindows() {
  session_.windows = [] { return std::vector<SavedWindow>(); };
  session_.closedWindow = [] { return std::optional<SavedWindow>(); };
  session_.reportStorageError = [](const std::optional<std::string>&) {};
  for (auto& entry : entries_) {
    entry.model->onLastTabClosing = nullptr;
    entry.model->onNewWindow = [](const std::string&) {};
    entry.window.reset();
    entry.model->closeWindow();
  }
}

const BrowserWindows::Entry* BrowserWindows::entry(const Uuid& modelID) const {
  const auto found = std::ranges::find(entries_, modelID, [](const Entry& entry) { return entry.model->id; });
  return found == entries_.end() ? nullptr : &*found;
}

const BrowserWindows::Entry* BrowserWindows::entryOfTab(const Uuid& tabID) const {
  const auto found = std::ranges::find_if(
      entries_, [&](const Entry& entry) { return entry.model->indexOf(tabID).has_value(); });
  return found == entries_.end() ? nullptr : &*found;
}

void BrowserWindows::forgetWindows() {
  for (auto& entry : entries_) entry.window.reset();
}

const BrowserWindows::Entry* BrowserWindows::front() const {
  return frontOrder_.empty() ? nullptr : entry(frontOrder_.back());
}

// ---------------------------------------------------------------------------------------------------------
// Opening

BrowserWindows::Entry& BrowserWindows::add(std::shared_ptr<BrowserModel> model) {
  model->onLastTabClosing = [this, id = model->id] { close(id); };
  model->onNewWindow = [this, mode = model->mode](const std::string& address) { openNew(mode, address); };
  if (const auto* other = front()) model->storageError.set(other->model->storageError.value());
  frontOrder_.push_back(model->id);
  return entries_.emplace_back(Entry{.model = std::move(model)});
}

void BrowserWindows::show(std::size_t index, const ShellWindow* cascadeFrom) {
  const auto& entry = entries_[index];
  if (entry.window) entry.window->place(entry.model->lastFrame(), cascadeFrom);
}

/// Reports a single new window, the last entry, and places it.
BrowserModel& BrowserWindows::present() {
  const auto model = entries_.back().model;
  const auto* former = entries_.size() > 1 ? entries_[entries_.size() - 2].window.get() : nullptr;
  if (presents) {
    onOpen({&entries_.back()});
    show(entries_.size() - 1, former);
  }
  if (!model->isPrivate()) session_.scheduleSave();
  return *model;
}

void BrowserWindows::restore() {
  if (const auto& closed = session_.savedClosedWindow(); closed && hasContent(*closed)) {
    closedWindows_.set({{.saved = *closed, .closedAt = session_.surroundings().clock.now()}});
  }
  if (session_.savedWindows().empty()) {
    openNew();
    return;
  }
  std::unordered_set<Uuid> used;
  for (const auto& saved : session_.savedWindows()) {
    const auto unique = withUniqueIdentities(saved, used);
    add(std::make_shared<BrowserModel>(unique.id, session_, engine_, BrowsingMode::ordinary))
        .model->restore(unique);
  }
  // The first window is placed last, and so ends on top.
  std::ranges::reverse(frontOrder_);
  if (!presents) return;
  std::vector<Entry*> opened;
  for (auto& entry : entries_) opened.push_back(&entry);
  onOpen(opened);
  for (std::size_t i = entries_.size(); i-- > 0;) {
    show(i, i + 1 < entries_.size() ? entries_[i + 1].window.get() : nullptr);
  }
}

BrowserModel& BrowserWindows::openNew(BrowsingMode mode, const std::string& address) {
  const auto* former = front();
  const auto layout = former ? former->model->tabLayout().value() : TabLayout::vertical;
  const bool wallVisible = former ? former->model->wallVisible().value() : true;
  std::shared_ptr<BrowserModel> model;
  if (mode == BrowsingMode::isPrivate) {
    model = BrowserModel::makePrivate(session_, makePrivateEngine_(), layout, wallVisible);
  } else {
    model = std::make_shared<BrowserModel>(Uuid::random(), session_, engine_, mode);
    model->setTabLayout(layout);
    model->setWallVisible(wallVisible);
    if (former && former->model->wallWidth()) model->setWallWidth(*former->model->wallWidth());
  }
  if (former && former->model->lastFrame()) model->setLastFrame(*former->model->lastFrame());
  add(model);
  model->open(address, {});
  return present();
}

BrowserModel& BrowserWindows::open(const SavedWindow& saved, bool activate) {
  std::unordered_set<Uuid> used;
  for (const auto& entry : entries_) {
    used.insert(entry.model->id);
    for (const auto& tab : entry.model->tabs()) used.insert(tab->id);
    for (const auto& group : entry.model->groups()) used.insert(group.id);
  }
  const auto unique = withUniqueIdentities(saved, used);
  add(std::make_shared<BrowserModel>(unique.id, session_, engine_, BrowsingMode::ordinary))
      .model->restore(unique);
  auto& model = present();
  if (const auto* opened = entry(model.id); activate && opened && opened->window) {
    opened->window->bringToFront();
  }
  return model;
}

BrowserModel* BrowserWindows::detachToNewWindow(const Uuid& tabID) {
  const auto* source = entryOfTab(tabID);
  if (!source || source->model->tabs().size() < 2) return nullptr;
  const auto from = source->model;
  const auto tab = from->detach(tabID);
  std::shared_ptr<BrowserModel> model;
  if (from->isPrivate()) {
    // The tab's page goes on in the data store that it began in.
    model = BrowserModel::makePrivate(session_, from->privateEngine(), from->tabLayout().value(),
                                      from->wallVisible().value());
  } else {
    model = std::make_shared<BrowserModel>(Uuid::random(), session_, engine_, BrowsingMode::ordinary);
    model->setTabLayout(from->tabLayout().value());
    model->setWallVisible(from->wallVisible().value());
  }
  if (from->lastFrame()) model->setLastFrame(*from->lastFrame());
  add(model);
  model->adopt(tab, 0);
  return &present();
}

bool BrowserWindows::moveTab(const Uuid& tabID, BrowserModel& target, std::size_t index) {
  const auto* source = entryOfTab(tabID);
  if (!source) return false;
  const auto from = source->model;
  if (from.get() == &target) {
    target.move(tabID, index);
    return true;
  }
  // A page cannot change its data store: between ordinary and private windows nothing moves.
  if (&from->engine() != &target.engine()) return false;
  target.adopt(from->detach(tabID), index);
  if (from->tabs().empty()) close(from->id);
  return true;
}

// ---------------------------------------------------------------------------------------------------------
// Closing

void BrowserWindows::close(const Uuid& modelID) {
  const auto found = std::ranges::find(entries_, modelID, [](const Entry& entry) { return entry.model->id; });
  if (found == entries_.end()) return;
  if (!terminating && !found->model->tabs().empty() && !mayClose(*found)) return;
  Entry closed = std::move(*found);
  entries_.erase(found);
  std::erase(frontOrder_, modelID);
  if (!closed.model->isPrivate()) {
    ClosedWindow record{.saved = closed.model->windowSnapshot(),
                        .closedAt = session_.surroundings().clock.now()};
    if (hasContent(record.saved)) {
      auto list = closedWindows_.value();
      list.push_back(std::move(record));
      if (list.size() > closedWindowLimit) list.erase(list.begin());
      closedWindows_.set(std::move(list));
    }
  }
  const auto* next = front();
  onClose(closed, next);
  closed.model->onLastTabClosing = nullptr;
  closed.model->onNewWindow = [](const std::string&) {};
  if (closed.model->isPrivate()) {
    closed.model->endPrivateSession();
  } else {
    closed.model->closeWindow();
  }
  if (next) onFront(*next);
  if (!terminating) session_.scheduleSave();
  // Not at once: the window, or a page of it, may be busy with the very event that closes it.
  session_.surroundings().main.post([closed = std::make_shared<Entry>(std::move(closed))] {});
}

void BrowserWindows::reopenLastClosed() {
  auto list = closedWindows_.value();
  if (list.empty()) return;
  const auto last = std::move(list.back());
  list.pop_back();
  closedWindows_.set(std::move(list));
  open(last.saved, true);
}

std::optional<Date> BrowserWindows::lastClosedAt() const {
  const auto& list = closedWindows_.value();
  return list.empty() ? std::nullopt : std::optional(list.back().closedAt);
}

std::optional<SavedWindow> BrowserWindows::closedWindowToKeep() const {
  const auto& list = closedWindows_.value();
  const bool open =
      std::ranges::any_of(entries_, [](const Entry& entry) { return !entry.model->isPrivate(); });
  return open || list.empty() ? std::nullopt : std::optional(list.back().saved);
}

std::size_t BrowserWindows::forgetClosedWindows(std::optional<Date> since) {
  auto list = closedWindows_.value();
  const auto count = std::erase_if(list, [&](const auto& one) { return !since || one.closedAt >= *since; });
  closedWindows_.set(std::move(list));
  session_.scheduleSave();
  return count;
}

void BrowserWindows::noteFront(const Uuid& modelID) {
  const auto* found = entry(modelID);
  if (!found || frontOrder_.back() == modelID) return;
  std::erase(frontOrder_, modelID);
  frontOrder_.push_back(modelID);
  onFront(*found);
  if (!found->model->isPrivate()) session_.scheduleSave();
}

std::vector<SavedWindow> BrowserWindows::snapshot() const {
  std::vector<SavedWindow> saved;
  for (const auto& entry : entries_) {
    if (!entry.model->isPrivate()) saved.push_back(entry.model->windowSnapshot());
  }
  return saved;
}

}  // namespace vale
