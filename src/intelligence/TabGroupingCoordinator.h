#pragma once

#include "browser/BrowserModel.h"
#include "common/DeferredFile.h"
#include "common/Preferences.h"
#include "intelligence/GroupableTab.h"
#include "intelligence/IntelligenceClient.h"
#include "intelligence/ModelInputFilter.h"
#include "intelligence/TabGroupSections.h"
#include "intelligence/TabGroupingPace.h"
#include "intelligence/TabGroupingRequest.h"
#include "intelligence/TabGroupingState.h"

#include <cstddef>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace vale {

/// What is under way.
struct TabGroupingActivity {
  enum class Kind { idle, assigning, regrouping };

  Kind kind = Kind::idle;
  std::vector<Uuid> tabs = {};

  bool operator==(const TabGroupingActivity&) const = default;
};

/// Why the last pass changed nothing.
struct TabGroupingFailure {
  std::string message;
  std::optional<std::string> response = {};  ///< what came instead of JSON
  bool wasRegroup = false;

  bool operator==(const TabGroupingFailure&) const = default;
};

/// Keeps the tabs of the attached windows sorted into groups by what the user is doing: by itself while that
/// is switched on, and whenever the user asks. Private windows are not seen. The grouping is in a file of its
/// own, written after every change; a crash loses at most the last moment's. Main thread only.
class TabGroupingCoordinator {
 public:
  enum class RefreshReason {
    startPage,  ///< it is shown, or tabs have changed while it is
    idle,       ///< the user has made no input for a while
  };

  static constexpr std::string_view automaticKey = "ValeAutoGroupTabs";
  static constexpr std::size_t fewestTabs = TabGroupingRequest::fewestTabs;
  static constexpr std::size_t mostTabs = TabGroupingRequest::mostTabs;
  static constexpr Seconds idleInterval = TabGroupingPace::idleInterval;
  static constexpr Seconds firstBackoff = TabGroupingPace::firstBackoff;
  static constexpr Seconds longestBackoff = TabGroupingPace::longestBackoff;

  struct Parts {
    IntelligenceClient& client;
    ModelInputFilter& inputFilter;
    std::filesystem::path file;  ///< "Intelligence/tab-groups.json" in the support folder
    Preferences& preferences;
    Surroundings surroundings;
    std::function<Seconds()> inputIdleTime;  ///< since the user's last input
  };

  /// Reads the file at once. The parts must outlive the object.
  explicit TabGroupingCoordinator(Parts parts);
  ~TabGroupingCoordinator();
  TabGroupingCoordinator(const TabGroupingCoordinator&) = delete;
  TabGroupingCoordinator& operator=(const TabGroupingCoordinator&) = delete;

  // The tabs.

  /// Follows a window's tabs until it is detached or gone. A private one is ignored.
  void attach(const std::shared_ptr<BrowserModel>& browser);
  void detach(const BrowserModel& browser);
  /// The tabs of all windows as they are now, in place of what was known: for callers without windows.
  void update(std::vector<GroupableTab> tabs);
  std::vector<GroupableTab> tabs() const;

  // Passes.

  /// An automatic pass, if one is due: see `RefreshReason`.
  void refresh(RefreshReason reason);
  /// The start page came on screen, or left it.
  void setStartPageVisible(bool visible);
  /// The user asks for a full regroup, automatic or not.
  void regroup();
  /// Ends the pass under way; nothing changes.
  void cancel();
  /// Back to the groups before the last full regroup.
  void undoRegroup();
  void setAutomatic(bool automatic);

  // The user's edits. Tabs and groups that are not there are ignored.

  /// "Add to New Group". None when no tab of the list can be grouped.
  std::optional<Uuid> addToNewGroup(const std::vector<Uuid>& tabIDs, std::string name = {});
  /// Puts a tab into a group, before its member at `index` (at the end by default); no pass moves it again.
  void moveTab(const Uuid& tabID, const Uuid& groupID, std::optional<std::size_t> index = {});
  /// "Remove from Group".
  void removeFromGroup(const Uuid& tabID);
  /// An empty name gives the group back to the agent's naming.
  void renameGroup(const Uuid& groupID, std::string name);
  void setCollapsed(const Uuid& groupID, bool collapsed);
  /// Closes the group's tabs in one window, or in all.
  void closeTabs(const Uuid& groupID, const BrowserModel* window = nullptr);
  /// Forgets all groups and empties the file: the browsing-data cleaner's part.
  void clearSavedGroups();

  /// Writes what is not in the file yet, and waits for it; no pass comes after it.
  void shutdown();

  // What there is to show.

  const Published<std::vector<TabGroup>>& groups() const;
  const Published<std::vector<TabGroupSection>>& sections() const;
  const Published<std::optional<Date>>& groupedAt() const;
  const Published<bool>& canUndoRegroup() const;
  const Published<bool>& automatic() const;
  const Published<std::optional<TabGroupingFailure>>& failure() const;
  const Published<TabGroupingActivity>& activity() const;
  /// Why the grouping is not being kept, a sentence for the user.
  const Published<std::optional<std::string>>& storageError() const;

  /// What a full regroup would send now; none when there is nothing to group.
  std::optional<std::string> regroupPrompt() const;

 private:
  struct Self;
  std::shared_ptr<Self> self_;
};

}  // namespace vale
