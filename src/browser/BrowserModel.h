#pragma once

#include "browser/BrowserSession.h"
#include "browser/BrowserTab.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace vale {

/// One entry of a window's list of closed tabs. Its places are those that the tab had when it closed.
struct ClosedTab {
  SavedTab saved;
  std::size_t orderedIndex = 0;  ///< in the window's list
  std::optional<Uuid> groupID;
  std::size_t indexInGroup = 0;
  std::size_t looseIndex = 0;  ///< among the tabs outside of groups
  Uuid entryID;                ///< the same tab may close twice
  Date closedAt;
  std::string state;  ///< the page's back-forward list in the engine's form; in memory only
};

/// What menus show of a closed tab.
struct ClosedTabSummary {
  Uuid id;  ///< the entry's
  std::string title;
  std::string url;
  Date closedAt;

  bool operator==(const ClosedTabSummary&) const = default;
};

/// Whether a window leaves traces.
enum class BrowsingMode { ordinary, isPrivate };

/// Who selects a tab: only what the user selects is remembered as the user's place.
enum class SelectedBy { user, agent };

/// The model of one window: its tabs in order, which is selected, its groups, its layout, and what was closed
/// lately. The order is always: pinned tabs, the groups one after the other, loose tabs, tabs that agents
/// own. Every change asks the session for a save. Main thread only.
class BrowserModel : public std::enable_shared_from_this<BrowserModel> {
 public:
  using TabPointer = std::shared_ptr<BrowserTab>;

  static constexpr std::size_t closedTabLimit = 50;

  /// `session` and `engine` must outlive the model.
  BrowserModel(Uuid id, BrowserSession& session, PageEngine& engine, BrowsingMode mode);
  ~BrowserModel();
  BrowserModel(const BrowserModel&) = delete;
  BrowserModel& operator=(const BrowserModel&) = delete;

  /// A private window's model. It keeps what it learns in memory: permissions over those of the session, no
  /// closed tabs, nothing saved. It keeps `engine`, whose data store is not persistent.
  static std::shared_ptr<BrowserModel> makePrivate(BrowserSession& session,
                                                   std::shared_ptr<PageEngine> engine, TabLayout tabLayout,
                                                   bool wallVisible);

  /// Ends a private window's pages and, once they are gone, its data. Harmless for an ordinary one.
  void endPrivateSession();

  const Uuid id;
  const BrowsingMode mode;
  bool isPrivate() const { return mode == BrowsingMode::isPrivate; }

  // -- Tabs

  const std::vector<TabPointer>& tabs() const { return tabs_; }
  TabPointer tab(const Uuid& id) const;
  /// The tab's place, or none when it is not in this window.
  std::optional<std::size_t> indexOf(const Uuid& id) const;
  TabPointer selected() const { return selected_; }

  struct NewTab {
    TabPointer opener;
    bool selects = true;
    std::optional<Uuid> groupID;
    std::optional<Uuid> agentOwner;
  };
  /// Opens a tab after its opener and that one's earlier children, in the opener's group; without an opener
  /// at the end of the loose ones. An empty address makes an empty tab.
  TabPointer open(const std::string& address, NewTab how);

  /// Where a tab opened from `opener` goes in `tabs`: after it and the run of its children.
  std::size_t insertionIndex(const BrowserTab* opener) const;

  void select(const Uuid& id, SelectedBy by = SelectedBy::user);
  /// The tab `steps` further, around the ends.
  void selectRelative(int steps);
  /// The tab the user selected last; none once it is closed.
  const std::optional<Uuid>& lastPersonalSelection() const { return lastPersonalSelection_; }

  /// Closes a tab and remembers it. The last tab of a window takes its window along (`onLastTabClosing`).
  void close(const Uuid& id, bool preferOpener = false);
  /// The tab to select when `removed` goes from `tabs`; null when nothing is left.
  TabPointer nextSelection(const BrowserTab& removed, const std::vector<TabPointer>& from,
                           bool preferOpener) const;

  /// The most recent first.
  const Published<std::vector<ClosedTabSummary>>& recentlyClosed() const { return recentlyClosed_; }
  const std::vector<ClosedTab>& closedTabs() const { return closedTabs_; }
  /// Puts a closed tab back at its place and in its group, as far as they are still there, and selects it.
  /// Null when the entry is gone.
  TabPointer reopen(const Uuid& entryID);
  /// Drops the entries of tabs closed since, or all. Gives how many.
  std::size_t forgetClosedTabs(std::optional<Date> since = {});

  void setPinned(const Uuid& id, bool pinned);
  /// Moves a tab so that it stands before the one now at `index` (at the end for `tabs().size()`), as near as
  /// the order allows. It leaves its group, and joins the one that it lands inside of.
  void move(const Uuid& id, std::size_t index);
  /// Takes a tab out of this window, page and all; null when it is not here. Nothing is remembered of it.
  TabPointer detach(const Uuid& id);
  /// Takes in a tab of another window of the same mode, before the one at `index`, and selects it.
  void adopt(TabPointer tab, std::size_t index);

  /// Puts one tab to sleep: its page goes; address, title, icon and its history stay. False for a tab that
  /// has no page or is selected.
  Task<bool> hibernate(Uuid id);

  // -- Groups

  const std::vector<ManualTabGroup>& groups() const { return groups_; }
  const ManualTabGroup* group(const Uuid& id) const;
  const ManualTabGroup* groupOf(const Uuid& tabID) const;

  /// Groups tabs of this window; pinned ones are unpinned. None when no tab of the list is here.
  std::optional<Uuid> createGroup(const std::vector<Uuid>& tabIDs, std::string name = {},
                                  std::optional<TabGroupColor> color = {});
  void renameGroup(const Uuid& id, std::string name);
  void recolorGroup(const Uuid& id, TabGroupColor color);
  /// Collapsing the group of the selected tab selects the nearest tab outside of it, if there is one.
  void setGroupCollapsed(const Uuid& id, bool collapsed);
  /// Puts tabs into a group, before its member at `index` (at the end by default).
  void addToGroup(const std::vector<Uuid>& tabIDs, const Uuid& id, std::optional<std::size_t> index = {});
  void removeFromGroup(const Uuid& tabID);
  /// Moves a group to another place among the groups.
  void moveGroup(const Uuid& id, std::size_t index);
  /// The group goes, its tabs stay.
  void ungroup(const Uuid& id);
  void closeGroup(const Uuid& id);
  /// Puts a group away: its tabs close and wait in the session's list. An empty `name` keeps the group's.
  void foldGroup(const Uuid& id, std::string name = {}, std::string summary = {});
  /// Brings a folded group back as a group of this window; none when it is gone.
  std::optional<Uuid> restoreFolded(const Uuid& id);
  void discardFolded(const Uuid& id);

  // -- The window

  const Published<TabLayout>& tabLayout() const { return tabLayout_; }
  void setTabLayout(TabLayout layout);
  const Published<bool>& wallVisible() const { return wallVisible_; }
  void setWallVisible(bool visible);
  /// Logical pixels; none until the user has set one.
  const std::optional<double>& wallWidth() const { return wallWidth_; }
  void setWallWidth(double width);
  const std::optional<SavedFrame>& lastFrame() const { return lastFrame_; }
  void setLastFrame(SavedFrame frame);

  /// Why nothing is being saved, a sentence for the user.
  Published<std::optional<std::string>> storageError;

  /// The window in its saved form: without tabs that agents own, and without page sources.
  SavedWindow windowSnapshot() const;
  /// Fills an empty model, whose identities must be unique. Only the selected tab gets a page.
  void restore(const SavedWindow& saved);
  /// Adds tabs (with fresh identities where theirs are in use here), loose.
  void insertRestored(const std::vector<SavedTab>& tabs);
  /// Ends every page; the model is empty afterwards.
  void closeWindow();

  const std::shared_ptr<SitePermissions>& permissions() const { return permissions_; }
  BrowserSession& session() const { return session_; }
  PageEngine& engine() const { return engine_; }
  const std::shared_ptr<PageEngine>& privateEngine() const { return ownEngine_; }

  /// Fires after tabs, their order or the groups have changed.
  Subscription onTabsChange(std::function<void()> observer) {
    return Subscription(tabsChanged_.connect(std::move(observer)));
  }
  Subscription onSelectionChange(std::function<void()> observer) {
    return Subscription(selectionChanged_.connect(std::move(observer)));
  }

  /// Fires when a page is in a tab of this window: a new one, or with a tab that was moved here. Nothing has
  /// been opened in a new one yet, unless another page opened it.
  Subscription onPageMade(std::function<void(BrowserTab&)> observer) {
    return Subscription(pageMade_.connect(std::move(observer)));
  }
  /// Fires when a tab gives up its page, because it closes or sleeps. The page lives on for as long as an
  /// observer keeps it.
  Subscription onPageLeaving(std::function<void(BrowserTab&, const std::shared_ptr<Page>&)> observer) {
    return Subscription(pageLeaving_.connect(std::move(observer)));
  }

  /// Asked when the last tab is to close; the window's owner closes the window. Without one the tab just
  /// goes.
  std::function<void()> onLastTabClosing;

  /// Asked for a window of this one's kind; the windows' owner opens it.
  std::function<void(const std::string& address)> onNewWindow = [](const std::string&) {};

 private:
  enum class Remembered { yes, no };

  TabPointer makeTab(const SavedTab& saved);
  TabPointer makeTab();
  void follow(const TabPointer& tab);
  void followPage(BrowserTab& tab);
  void showIcon(const TabPointer& tab);
  void insert(const TabPointer& tab, std::size_t index, const std::optional<Uuid>& groupID = {},
              std::optional<std::size_t> indexInGroup = {});
  void remove(const TabPointer& tab);
  void leaveGroup(const Uuid& tabID);
  void arrange();
  std::size_t firstLoose() const;
  void show(const TabPointer& tab, SelectedBy by);
  void closeTabs(const std::vector<Uuid>& ids, Remembered remembered);
  void rememberClosed(BrowserTab& tab);
  std::shared_ptr<Page> letGo(BrowserTab& tab);
  static Task<void> keepState(std::weak_ptr<BrowserModel> model, Uuid entryID, std::shared_ptr<Page> page);
  void publishClosed();
  void tabsChanged();
  void scheduleSave();
  ManualTabGroup* findGroup(const Uuid& id);
  TabGroupColor freeColor() const;

  BrowserSession& session_;
  std::shared_ptr<PageEngine> ownEngine_;
  PageEngine& engine_;
  std::shared_ptr<SitePermissions> permissions_;
  bool closed_ = false;
  std::vector<TabPointer> tabs_;
  std::vector<ManualTabGroup> groups_;
  TabPointer selected_;
  std::optional<Uuid> lastPersonalSelection_;
  std::vector<ClosedTab> closedTabs_;
  Published<std::vector<ClosedTabSummary>> recentlyClosed_;
  Published<TabLayout> tabLayout_{TabLayout::vertical};
  Published<bool> wallVisible_{true};
  std::optional<double> wallWidth_;
  std::optional<SavedFrame> lastFrame_;
  sigc::signal<void()> tabsChanged_;
  sigc::signal<void()> selectionChanged_;
  sigc::signal<void(BrowserTab&)> pageMade_;
  sigc::signal<void(BrowserTab&, const std::shared_ptr<Page>&)> pageLeaving_;
};

}  // namespace vale
