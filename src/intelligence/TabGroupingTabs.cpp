#include "intelligence/TabGroupingTabs.h"

#include <algorithm>
#include <utility>

namespace vale {
namespace {

GroupableTab describe(const BrowserTab& tab, const BrowserTab* selected) {
  return {.id = tab.id,
          .url = tab.url(),
          .title = tab.title(),
          .openerID = tab.openerID,
          .createdAt = tab.createdAt,
          .urlChangedAt = tab.urlChangedAt.value_or(tab.createdAt),
          .pinned = tab.pinned(),
          .agentOwner = tab.agentOwner ? std::optional(tab.agentOwner->text()) : std::nullopt,
          .isSelected = &tab == selected,
          .isLoading = tab.isLoading()};
}

bool sameForGrouping(const GroupableTab& one, const GroupableTab& other) {
  return one.id == other.id && one.url == other.url && one.openerID == other.openerID &&
         one.agentOwner == other.agentOwner;
}

}  // namespace

TabGroupingTabs::TabGroupingTabs(MainQueue main, std::function<void()> changed)
    : main_(std::move(main)), changed_(std::move(changed)), self_(std::make_shared<TabGroupingTabs*>(this)) {}

TabGroupingTabs::~TabGroupingTabs() = default;

std::vector<std::shared_ptr<BrowserModel>> TabGroupingTabs::browsers() const {
  std::vector<std::shared_ptr<BrowserModel>> found;
  for (const auto& window : windows_) {
    if (auto model = window.model.lock()) found.push_back(std::move(model));
  }
  return found;
}

void TabGroupingTabs::attach(const std::shared_ptr<BrowserModel>& browser) {
  const auto known = browsers();
  if (!browser || browser->isPrivate() || std::ranges::find(known, browser) != known.end()) return;
  windows_.push_back({.model = browser,
                      .tabs = browser->onTabsChange([this] { noteList(); }),
                      .selection = browser->onSelectionChange([this] { noteList(); })});
  noteList();
}

void TabGroupingTabs::detach(const BrowserModel& browser) {
  std::erase_if(windows_, [&](const Window& window) { return window.model.lock().get() == &browser; });
  noteList();
}

void TabGroupingTabs::set(std::vector<GroupableTab> tabs) {
  windows_.clear();
  followed_.clear();
  changedTabs_.clear();
  listChanged_ = false;
  replace(groupingTabs(std::move(tabs)));
}

void TabGroupingTabs::noteList() {
  listChanged_ = true;
  schedule();
}

void TabGroupingTabs::schedule() {
  if (std::exchange(scheduled_, true)) return;
  main_.post([weak = std::weak_ptr(self_)] {
    if (const auto self = weak.lock()) {
      (*self)->scheduled_ = false;
      (*self)->update();
    }
  });
}

void TabGroupingTabs::update() {
  // A window that closes says nothing of its list.
  std::size_t count = 0;
  for (const auto& model : browsers()) count += model->tabs().size();
  if (!followed_.empty() && count != tabs_.size()) listChanged_ = true;
  if (std::exchange(listChanged_, false)) {
    changedTabs_.clear();
    rebuild();
  } else if (!changedTabs_.empty()) {
    refresh();
  }
}

void TabGroupingTabs::rebuild() {
  std::erase_if(windows_, [](const Window& window) { return window.model.expired(); });
  std::unordered_map<Uuid, GroupingTab*> before;
  for (auto& tab : tabs_) before.emplace(tab.id, &tab);
  std::vector<GroupingTab> tabs;
  std::unordered_map<Uuid, Followed> followed;
  for (const auto& model : browsers()) {
    for (const auto& tab : model->tabs()) {
      if (followed.contains(tab->id)) continue;
      auto described = describe(*tab, model->selected().get());
      if (const auto known = before.find(tab->id); known != before.end()) {
        tabs.push_back(*known->second);
        tabs.back().update(std::move(described));
      } else {
        tabs.emplace_back(std::move(described));
      }
      const auto known = followed_.find(tab->id);
      if (known != followed_.end() && known->second.tab.lock() == tab) {
        followed.insert(followed_.extract(known));
        continue;
      }
      followed.emplace(tab->id, Followed{tab, tab->onChange([this, id = tab->id] {
                                           changedTabs_.insert(id);
                                           schedule();
                                         })});
    }
  }
  followed_ = std::move(followed);
  replace(std::move(tabs));
}

void TabGroupingTabs::refresh() {
  const auto changed = std::exchange(changedTabs_, {});
  bool matters = false;
  for (auto& tab : tabs_) {
    const auto found = changed.contains(tab.id) ? followed_.find(tab.id) : followed_.end();
    const auto source = found == followed_.end() ? nullptr : found->second.tab.lock();
    if (!source) continue;
    auto now = describe(*source, tab.isSelected ? source.get() : nullptr);
    matters |= !sameForGrouping(tab, now);
    tab.update(std::move(now));
  }
  if (matters) changed_();
}

void TabGroupingTabs::replace(std::vector<GroupingTab> tabs) {
  const bool matters = !std::ranges::equal(tabs, tabs_, sameForGrouping);
  tabs_ = std::move(tabs);
  if (matters) changed_();
}

}  // namespace vale
