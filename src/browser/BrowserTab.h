#pragma once

#include "browser/BuiltInAddresses.h"
#include "browser/Page.h"
#include "browser/SavedSession.h"
#include "common/Clock.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace vale {

/// One tab: its identity and what it shows, over a page that may not be there. A restored tab makes its page
/// when it is first selected, and a sleeping one again; address, title and icon stay without it. Main thread
/// only.
class BrowserTab : public std::enable_shared_from_this<BrowserTab> {
 public:
  /// `clock` must outlive the tab.
  BrowserTab(Uuid id, const Clock& clock) : id(id), createdAt(clock.now()), clock_(clock) {}

  const Uuid id;
  Date createdAt;
  std::optional<Uuid> openerID;
  std::optional<Uuid> agentOwner;  ///< the agent thread that works in this tab
  std::optional<Date> lastActivatedAt;
  std::optional<Date> urlChangedAt;

  /// When the tab was last hidden; none while it is on screen and when it was never shown.
  std::optional<Date> hiddenSince;

  /// What the engine is doing for this tab must not be cut off, whatever the page itself says.
  bool keepsPage = false;

  const std::string& url() const { return url_; }

  /// The page's own title, or what stands in its place for an untitled one; never empty. Text, not markup.
  std::string title() const;
  const PageIcon& icon() const { return icon_; }
  bool pinned() const { return pinned_; }
  /// Nothing of the user's is shown yet.
  bool isStart() const { return vale::isStart(url_); }
  bool isViewSource() const { return url_.starts_with("view-source:"); }

  /// The live page; null for a tab that has not been selected since the start, or sleeps.
  Page* page() const { return page_.get(); }
  bool isLoading() const { return page_ && page_->isLoading().value(); }
  bool isPlayingAudio() const { return page_ && page_->isPlayingAudio().value(); }
  bool isMuted() const { return page_ ? page_->isMuted().value() : muted_; }
  bool isCapturing() const { return page_ && page_->capture().value() != PageCapture::none; }

  /// False for a tab without a page.
  Task<bool> needsToStayAwake();
  Task<bool> hasTypedText();

  void setMuted(bool muted);

  /// Opens an address in the tab, with a page if it has none.
  void open(const std::string& address, PageEngine& engine);

  /// Gives the tab its page back, if it has none: as it was when it fell asleep, or freshly loaded.
  void wake(PageEngine& engine);

  /// Fires after a change of what a list of tabs shows: address, title, icon, loading, sound, sleep.
  Subscription onChange(std::function<void()> observer) {
    return Subscription(changed_.connect(std::move(observer)));
  }

  /// Fires when the tab gets a page, or loses it. The old page still exists while its observers are called.
  Subscription onPageChange(std::function<void()> observer) {
    return Subscription(pageChanged_.connect(std::move(observer)));
  }

  SavedTab saved() const;

 private:
  friend class BrowserModel;

  void restore(const SavedTab& saved);
  void adopt(std::unique_ptr<Page> page);
  /// Gives the page away; the tab shows what it showed.
  std::unique_ptr<Page> release();
  void followPage();
  void addressChanged(const std::string& address);

  const Clock& clock_;
  std::string url_;
  std::string title_;
  PageIcon icon_;
  bool pinned_ = false;
  bool muted_ = false;
  std::unique_ptr<Page> page_;
  std::string sleepingState_;  ///< what brings the page back, in the engine's form
  std::vector<Subscription> subscriptions_;
  std::vector<Subscription> modelSubscriptions_;
  std::function<void()> savedStateChanged_;
  std::function<void()> pageMade_;
  sigc::signal<void()> changed_;
  sigc::signal<void()> pageChanged_;
};

}  // namespace vale
