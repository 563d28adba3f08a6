#pragma once

#include "app/gtk/CertificateExceptions.h"
#include "app/gtk/FrameQuestions.h"
#include "app/gtk/GObjectPointer.h"
#include "app/gtk/PageEquipment.h"
#include "app/gtk/PageIconSource.h"
#include "app/gtk/Signal.h"
#include "browser/Page.h"
#include "common/OneShot.h"

#include <webkit/webkit.h>

#include <cstdint>
#include <functional>
#include <list>
#include <memory>
#include <optional>
#include <string>

namespace vale::gtk {

/// A page in a WebKit web view. It lives on the main thread; the page itself runs in a process of its own,
/// whose end shows as a failure and takes nothing else with it. A page that goes after its session state was
/// taken, or of a forgetful session, ends its process, unless other pages share it.
class WebKitPage : public Page {
 public:
  WebKitPage(WebKitWebView* view, SharedPageEquipment equipment);
  ~WebKitPage() override;

  void load(const std::string& address) override;
  void reload() override;
  void stop() override;
  void goBack() override;
  void goForward() override;
  Task<std::string> sessionState() override;
  void restore(const std::string& state, const std::string& address) override;
  Task<bool> hasTypedText() override;
  Task<bool> isPlayingMedia() override;
  Task<PageText> readText() override;
  void setMuted(bool muted) override;
  std::uint64_t processGroup() const override { return *group_; }

  WebKitWebView* view() const { return view_.get(); }

  /// A column above the page, wherever it is shown: what is asked or told about it.
  GtkBox* bars() const { return bars_.get(); }

  /// Over the page, wherever it is shown: dialogs that stop this page alone. Not there while it is empty.
  GtkBox* cover() const { return cover_.get(); }

  /// The keyboard to the page, or to what covers it.
  void takeFocus();

  /// The certificate for which `failure` stands; none for other failures.
  const std::optional<RefusedCertificate>& refusedCertificate() const { return refusedCertificate_; }

  /// Asked when the page wants a window and nothing the user did stands behind it; true lets it have one.
  std::function<bool(const std::string& address)> onUnaskedPage = [](const std::string&) { return false; };

  /// Calls `done` once the page's process has drawn what the page holds now. A busy page delays it for as
  /// long; when this object goes first, `done` is dropped.
  void whenDrawn(std::function<void()> done);

 private:
  /// A number that the pages of one process share.
  using ProcessGroup = std::shared_ptr<const std::uint64_t>;

  WebKitPage(WebKitWebView* view, SharedPageEquipment equipment, ProcessGroup group);
  static ProcessGroup newGroup();

  void open(const std::string& address, PageTransition transition);
  void followState();
  void followLoads();
  void loadChanged(WebKitLoadEvent event);
  bool loadFailed(const char* address, const GError& error);
  void certificateRefused(RefusedCertificate refused);
  void processEnded(WebKitWebProcessTerminationReason reason);

  bool decide(WebKitPolicyDecision* decision, WebKitPolicyDecisionType type);
  bool decideNavigation(WebKitNavigationPolicyDecision* decision);
  bool decideResponse(WebKitResponsePolicyDecision* decision);
  WebKitWebView* openPage(WebKitNavigationAction* action);
  void prepareOpened();

  bool takeUp(const std::string& state, const std::string& address);
  Task<bool> ask(FrameQuestion question);
  OneShot<PageText> askForText();
  void loadStarted();

  void fail(PageFailureReason reason, std::string address, std::string_view detail = {});
  void clearFailure();
  void updateAddress();
  void updateHistory();
  void updateSecurity();
  void updateCapture();

  GObjectPointer<WebKitWebView> view_;
  GObjectPointer<GtkBox> bars_;
  GObjectPointer<GtkBox> cover_;
  SharedPageEquipment equipment_;
  GObjectPointer<GCancellable> gone_;
  ProcessGroup group_;
  std::string loading_;  ///< the address that the present load began with
  std::optional<RefusedCertificate> refusedCertificate_;
  std::optional<PageTransition> told_;             ///< how the load that the browser asked for last counts
  PageTransition decided_ = PageTransition::link;  ///< of the navigation that was allowed last
  std::list<OneShot<PageText>> readers_;
  bool restoring_ = false;
  bool stateTaken_ = false;
  FrameQuestions questions_;
  PageIconSource icons_;
  Connections connections_;
  PageParts parts_;
};

}  // namespace vale::gtk
