#pragma once

#include "browser/BrowserModel.h"
#include "intelligence/GroupingTab.h"

#include <functional>
#include <memory>
#include <unordered_map>
#include <unordered_set>
#include <vector>

namespace vale {

/// The tabs of the attached ordinary windows as values. Changes are taken in once a turn of the main loop,
/// however many there are, and cost what has changed. Main thread only.
class TabGroupingTabs {
 public:
  /// `changed` is called when another tab, address, opener or agent is there: not for titles, loading and
  /// selection.
  TabGroupingTabs(MainQueue main, std::function<void()> changed);
  ~TabGroupingTabs();
  TabGroupingTabs(const TabGroupingTabs&) = delete;
  TabGroupingTabs& operator=(const TabGroupingTabs&) = delete;

  /// Follows a window until it is detached or gone; a private one is ignored.
  void attach(const std::shared_ptr<BrowserModel>& browser);
  void detach(const BrowserModel& browser);
  /// Follows no window any more, and has these tabs.
  void set(std::vector<GroupableTab> tabs);

  /// Takes in what has changed, now.
  void update();

  /// As of the last update: window after window, in the order of each.
  const std::vector<GroupingTab>& tabs() const { return tabs_; }
  /// The windows that are still there.
  std::vector<std::shared_ptr<BrowserModel>> browsers() const;

 private:
  struct Window {
    std::weak_ptr<BrowserModel> model;
    Subscription tabs;
    Subscription selection;
  };
  struct Followed {
    std::weak_ptr<BrowserTab> tab;
    Subscription changes;
  };

  void noteList();
  void schedule();
  void replace(std::vector<GroupingTab> tabs);
  void rebuild();
  void refresh();

  MainQueue main_;
  std::function<void()> changed_;
  std::vector<Window> windows_;
  std::unordered_map<Uuid, Followed> followed_;
  std::vector<GroupingTab> tabs_;
  bool listChanged_ = false;
  std::unordered_set<Uuid> changedTabs_;
  bool scheduled_ = false;
  std::shared_ptr<TabGroupingTabs*> self_;
};

}  // namespace vale
