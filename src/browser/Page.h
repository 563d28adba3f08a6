#pragma once

#include "browser/PageFailure.h"
#include "browser/PageIcon.h"
#include "common/Published.h"
#include "common/Queues.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace vale {

/// How far what a page shows can be trusted to come from its address.
enum class PageSecurity {
  local,     ///< crossed no network: files, this machine's own servers, blank and built-in pages
  secure,    ///< encrypted, from a server that proved its name
  insecure,  ///< neither encrypted nor proved: plain http
};

/// What of the machine a page is using right now. A capture that is muted still counts.
enum class PageCapture { none, active };

/// How a page came to what it shows. A script that moves its page elsewhere counts as a link.
enum class PageTransition {
  link,
  form,
  reload,
  backForward,
  restored,  ///< brought back from a state
  opened,    ///< the browser was told to: by typing, a bookmark, a list of its own
};

/// What can be read on a page, as text.
struct PageText {
  std::string address;    ///< of the document that answered; empty when none did
  std::string text;       ///< the beginning of what is visible in the main frame
  bool sensitive = true;  ///< some frame has fields for passwords or payment, or did not answer
};

class Page;

/// A page that another one asks for, by a link for a new window or by a script. Whoever takes `page` keeps
/// it; a page that nobody takes does not come to be.
struct NewPageRequest {
  std::unique_ptr<Page> page;
  bool selected = true;  ///< to the front, or beside the present one
};

/// One page of the web engine, as the core sees it: what it can be told and what it shows. An engine
/// implements it by carrying out the operations and keeping the published state true. Main thread only.
class Page {
 public:
  virtual ~Page() = default;
  Page() = default;
  Page(const Page&) = delete;
  Page& operator=(const Page&) = delete;

  /// Starts opening a complete address (with its scheme), whatever the page was doing.
  virtual void load(const std::string& address) = 0;

  /// Opens the present address again; after a failure, the address that failed.
  virtual void reload() = 0;

  /// Ends the running load and keeps what has arrived.
  virtual void stop() = 0;

  /// One step through the page's own history; from a failure, back to the page that was shown before it.
  virtual void goBack() = 0;
  virtual void goForward() = 0;

  /// What brings the page back as it is: its back-forward list with the place scrolled to in each entry, in
  /// the engine's own form. Empty when there is nothing to bring back. None of it is page content.
  virtual Task<std::string> sessionState() = 0;

  /// Takes up an earlier page's state and opens its current entry; opens `address` instead when the state is
  /// empty or not this engine's.
  virtual void restore(const std::string& state, const std::string& address) = 0;

  /// True when the user has typed into the page what would be lost, in a frame of any origin; also when the
  /// page cannot tell.
  virtual Task<bool> hasTypedText() = 0;

  /// True when media plays in the page, heard or not; also when the page cannot tell.
  virtual Task<bool> isPlayingMedia() = 0;

  /// How much text is asked for at most: enough for 8,000 characters.
  static constexpr std::size_t mostTextUnits = 32'000;  // of UTF-16

  /// Asks the document that is shown now for its text. No answer when it is replaced, or the page goes,
  /// before it has answered.
  virtual Task<PageText> readText() = 0;

  virtual void setMuted(bool muted) = 0;

  /// Pages with the same number share a process and live or die together (a page and what its scripts
  /// opened).
  virtual std::uint64_t processGroup() const = 0;

  /// The address shown or being opened; empty before the first load.
  const Published<std::string>& address() const { return address_; }

  /// The page's own title, as the page wrote it: text, never markup. Empty when it has none.
  const Published<std::string>& title() const { return title_; }

  const Published<PageIcon>& icon() const { return icon_; }

  const Published<bool>& isLoading() const { return isLoading_; }

  /// How much of the running load is done, 0 to 1.
  const Published<double>& progress() const { return progress_; }

  const Published<bool>& canGoBack() const { return canGoBack_; }
  const Published<bool>& canGoForward() const { return canGoForward_; }
  const Published<PageSecurity>& security() const { return security_; }

  /// True once the engine has something of a page to show.
  const Published<bool>& hasContent() const { return hasContent_; }

  /// Counts the documents that were shown here, one in place of the other. Changes once `address` is that of
  /// the new one; within one document the address may change too.
  const Published<std::uint64_t>& document() const { return document_; }

  /// How the page came to its document, or to the load under way.
  PageTransition transition() const { return transition_; }

  /// Why there is no page to show, or none. Cleared by the next load.
  const Published<std::optional<PageFailure>>& failure() const { return failure_; }

  /// True while sound is played, muted or not.
  const Published<bool>& isPlayingAudio() const { return isPlayingAudio_; }
  const Published<bool>& isMuted() const { return isMuted_; }

  /// The camera, the microphone or the screen.
  const Published<PageCapture>& capture() const { return capture_; }

  /// Fires when the page wants another page; an observer that gives it a place takes it out of the request.
  Subscription onNewPage(std::function<void(NewPageRequest&)> observer) {
    return Subscription(newPage_.connect(std::move(observer)));
  }

  /// Fires when the user asks for a link in a tab of its own (middle click, Ctrl+click): the address, and
  /// whether it is to be selected.
  Subscription onLinkInNewTab(std::function<void(const std::string& address, bool selected)> observer) {
    return Subscription(linkInNewTab_.connect(std::move(observer)));
  }

  /// Fires when the user asks for a link in a window of its own (Shift+click): the address.
  Subscription onLinkInNewWindow(std::function<void(const std::string& address)> observer) {
    return Subscription(linkInNewWindow_.connect(std::move(observer)));
  }

  /// Fires when a load has come to its end, well or not; `failure` then says which.
  Subscription onLoadEnded(std::function<void()> observer) {
    return Subscription(loadEnded_.connect(std::move(observer)));
  }

  /// Fires when the page, or what steers it, wants its window closed.
  Subscription onCloseRequested(std::function<void()> observer) {
    return Subscription(closeRequested_.connect(std::move(observer)));
  }

 protected:
  Published<std::string> address_;
  Published<std::string> title_;
  Published<PageIcon> icon_;
  Published<bool> isPlayingAudio_{false};
  Published<bool> isMuted_{false};
  Published<PageCapture> capture_{PageCapture::none};
  Published<bool> isLoading_{false};
  Published<double> progress_{0.0};
  Published<bool> canGoBack_{false};
  Published<bool> canGoForward_{false};
  Published<PageSecurity> security_{PageSecurity::local};
  Published<bool> hasContent_{false};
  Published<std::uint64_t> document_{0};
  PageTransition transition_ = PageTransition::opened;
  Published<std::optional<PageFailure>> failure_;
  sigc::signal<void(NewPageRequest&)> newPage_;
  sigc::signal<void(const std::string&, bool)> linkInNewTab_;
  sigc::signal<void(const std::string&)> linkInNewWindow_;
  sigc::signal<void()> loadEnded_;
  sigc::signal<void()> closeRequested_;
};

/// Where pages come from: one for all ordinary windows, and one for each private window, whose pages leave
/// nothing behind when it goes.
class PageEngine {
 public:
  virtual ~PageEngine() = default;

  /// A page with nothing in it.
  virtual std::unique_ptr<Page> newPage() = 0;
};

}  // namespace vale
