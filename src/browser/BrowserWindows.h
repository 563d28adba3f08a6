#pragma once

#include "browser/BrowserModel.h"

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace vale {

struct ClosedWindow {
  SavedWindow saved;
  Date closedAt;

  bool operator==(const ClosedWindow&) const = default;
};

/// The window of the desktop that draws a model.
class ShellWindow {
 public:
  virtual ~ShellWindow() = default;

  /// Puts the window on the screen, at a frame where the desktop lets it; else cascading from another window.
  virtual void place(const std::optional<SavedFrame>& frame, const ShellWindow* cascadeFrom) = 0;

  /// Brings the window to the front with the keyboard.
  virtual void bringToFront() = 0;
};

/// The application's one list of open windows, and of those closed lately. Main thread only.
class BrowserWindows {
 public:
  static constexpr std::size_t closedWindowLimit = 10;

  struct Entry {
    std::shared_ptr<BrowserModel> model;
    std::shared_ptr<ShellWindow> window;  ///< none where no windows are shown
  };

  /// Makes the engine of one private window.
  using PrivateEngine = std::function<std::shared_ptr<PageEngine>()>;

  /// `session` and `engine` must outlive the list. The session's `windows` and `closedWindow` are answered
  /// from here on.
  BrowserWindows(BrowserSession& session, PageEngine& engine, PrivateEngine makePrivateEngine);
  ~BrowserWindows();
  BrowserWindows(const BrowserWindows&) = delete;
  BrowserWindows& operator=(const BrowserWindows&) = delete;

  const std::vector<Entry>& entries() const { return entries_; }
  /// Null when no window has it.
  const Entry* entry(const Uuid& modelID) const;
  const Entry* entryOfTab(const Uuid& tabID) const;
  /// Lets the desktop's windows go and keeps the models, for termination.
  void forgetWindows();

  /// The window that came to the front last.
  const Entry* front() const;

  /// Oldest first, at most `closedWindowLimit`.
  const Published<std::vector<ClosedWindow>>& closedWindows() const { return closedWindows_; }

  /// Told of new windows in order, before they are placed; makes each entry's `window`.
  std::function<void(std::vector<Entry*>)> onOpen = [](const auto&) {};
  /// Asked before a window with tabs closes. False keeps it; who gave it may call `close` again.
  std::function<bool(const Entry&)> mayClose = [](const Entry&) { return true; };
  std::function<void(const Entry&)> onFront = [](const Entry&) {};
  /// Told of a closed window, and of the one that comes to the front next.
  std::function<void(const Entry& closed, const Entry* next)> onClose = [](const Entry&, const Entry*) {};

  /// Windows are shown.
  bool presents = true;
  /// The application is quitting: windows that go now stay in the session.
  bool terminating = false;

  /// At start-up: the session's windows, or one new one.
  void restore();

  /// A new window with one empty tab, or with a tab for the address.
  BrowserModel& openNew(BrowsingMode mode = BrowsingMode::ordinary, const std::string& address = {});
  /// Opens a saved window as it was.
  BrowserModel& open(const SavedWindow& saved, bool activate);
  /// Moves a tab into a new window of its own kind; null when it is nowhere, or alone in its window.
  BrowserModel* detachToNewWindow(const Uuid& tabID);
  /// Moves a tab to another open window of the same mode, before its tab at `index`. False when it may not.
  bool moveTab(const Uuid& tabID, BrowserModel& target, std::size_t index);

  /// Closes one window, and remembers it when it had content and was not private.
  void close(const Uuid& modelID);
  void reopenLastClosed();
  std::optional<Date> lastClosedAt() const;
  /// The window to keep in the session file: only while none is open. Private windows do not count.
  std::optional<SavedWindow> closedWindowToKeep() const;
  /// The browsing-data cleaner's part: all of them, or those closed since. Gives how many.
  std::size_t forgetClosedWindows(std::optional<Date> since = {});

  /// The desktop reports that a window came to the front.
  void noteFront(const Uuid& modelID);

  /// Every ordinary window in order.
  std::vector<SavedWindow> snapshot() const;

 private:
  Entry& add(std::shared_ptr<BrowserModel> model);
  BrowserModel& present();
  void show(std::size_t index, const ShellWindow* cascadeFrom);

  BrowserSession& session_;
  PageEngine& engine_;
  PrivateEngine makePrivateEngine_;
  std::vector<Entry> entries_;
  std::vector<Uuid> frontOrder_;  ///< the latest last
  Published<std::vector<ClosedWindow>> closedWindows_;
};

}  // namespace vale
