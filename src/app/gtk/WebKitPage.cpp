#include "app/gtk/WebKitPage.h"

#include "app/gtk/IsolatedWorld.h"
#include "app/gtk/LoadErrors.h"
#include "browser/AddressDisplay.h"
#include "common/Log.h"
#include "common/Text.h"

#include <string_view>
#include <utility>

namespace vale::gtk {

namespace {

std::string text(const char* value) { return value ? value : ""; }

constexpr std::string_view blankPage = "about:blank";

/// Two frames: the first shows what has been laid out, and the second begins only when the first has been
/// handed over.
constexpr const char* twoFrames =
    "await new Promise(done => requestAnimationFrame(() => requestAnimationFrame(done)));";

}  // namespace

WebKitPage::WebKitPage(WebKitWebView* view, SharedPageEquipment equipment)
    : WebKitPage(view, std::move(equipment), newGroup()) {}

WebKitPage::WebKitPage(WebKitWebView* view, SharedPageEquipment equipment, ProcessGroup group)
    : view_(GObjectPointer<WebKitWebView>::share(view)),
      bars_(GObjectPointer<GtkBox>::share(GTK_BOX(gtk_box_new(GTK_ORIENTATION_VERTICAL, 0)))),
      cover_(GObjectPointer<GtkBox>::share(GTK_BOX(gtk_box_new(GTK_ORIENTATION_VERTICAL, 0)))),
      equipment_(std::move(equipment)), gone_(GObjectPointer<GCancellable>::adopt(g_cancellable_new())),
      group_(std::move(group)), questions_(view),
      icons_(view, [this](PageIcon icon) { icon_.set(std::move(icon)); }) {
  // Empty it would still take the clicks.
  gtk_widget_set_visible(GTK_WIDGET(cover_.get()), FALSE);
  followState();
  followLoads();
  parts_ = equipment_->make(*this, equipment_->mode);
}

WebKitPage::~WebKitPage() {
  parts_.clear();
  g_cancellable_cancel(gone_.get());
  connections_.clear();
  for (const auto& reader : readers_) reader.set({});
  // The engine keeps the processes of closed views for half an hour. A page that sleeps is to free its
  // memory, and a private one is to leave nothing in it. A driver takes the end of any process for a crash of
  // the whole browser.
  const bool forgets = webkit_network_session_is_ephemeral(webkit_web_view_get_network_session(view_.get()));
  const bool steered = webkit_web_view_is_controlled_by_automation(view_.get());
  if ((stateTaken_ || forgets) && !steered && group_.use_count() == 1) {
    webkit_web_view_terminate_web_process(view_.get());
  }
}

WebKitPage::ProcessGroup WebKitPage::newGroup() {
  static std::uint64_t last = 0;
  return std::make_shared<const std::uint64_t>(++last);
}

void WebKitPage::followState() {
  const auto onProperty = [this](const char* signal, auto update) {
    connections_.push_back(connect(view_.get(), signal, [update](GParamSpec*) { update(); }));
  };
  onProperty("notify::uri", [this] { updateAddress(); });
  onProperty("notify::title", [this] { title_.set(text(webkit_web_view_get_title(view_.get()))); });
  onProperty("notify::is-loading", [this] { isLoading_.set(webkit_web_view_is_loading(view_.get())); });
  onProperty("notify::estimated-load-progress",
             [this] { progress_.set(webkit_web_view_get_estimated_load_progress(view_.get())); });
  onProperty("notify::is-playing-audio",
             [this] { isPlayingAudio_.set(webkit_web_view_is_playing_audio(view_.get())); });
  onProperty("notify::is-muted", [this] { isMuted_.set(webkit_web_view_get_is_muted(view_.get())); });
  for (const char* state : {"notify::camera-capture-state", "notify::microphone-capture-state",
                            "notify::display-capture-state"}) {
    onProperty(state, [this] { updateCapture(); });
  }
}

void WebKitPage::followLoads() {
  const auto on = [this](gpointer object, const char* signal, auto handler) {
    connections_.push_back(connect(object, signal, std::move(handler)));
  };
  on(webkit_web_view_get_back_forward_list(view_.get()), "changed",
     [this](WebKitBackForwardListItem*, gpointer) { updateHistory(); });
  on(view_.get(), "load-changed", [this](WebKitLoadEvent event) { loadChanged(event); });
  on(view_.get(), "load-failed", [this](WebKitLoadEvent, const char* address, GError* error) -> gboolean {
    return loadFailed(address, *error);
  });
  on(view_.get(), "load-failed-with-tls-errors",
     [this](const char* address, GTlsCertificate* certificate, GTlsCertificateFlags flags) -> gboolean {
       certificateRefused({text(address), GObjectPointer<GTlsCertificate>::share(certificate), flags});
       return TRUE;
     });
  on(view_.get(), "insecure-content-detected", [this](WebKitInsecureContentEvent) {
    if (security_.value() == PageSecurity::secure) security_.set(PageSecurity::insecure);
  });
  on(view_.get(), "web-process-terminated",
     [this](WebKitWebProcessTerminationReason reason) { processEnded(reason); });
  on(view_.get(), "close", [this] { closeRequested_.emit(); });
  on(view_.get(), "decide-policy",
     [this](WebKitPolicyDecision* decision, WebKitPolicyDecisionType type) -> gboolean {
       return decide(decision, type);
     });
  on(view_.get(), "create", [this](WebKitNavigationAction* action) -> GtkWidget* {
    auto* view = openPage(action);
    return view ? GTK_WIDGET(view) : nullptr;
  });
}

void WebKitPage::load(const std::string& address) { open(address, PageTransition::opened); }

void WebKitPage::open(const std::string& address, PageTransition transition) {
  if (!isValidUtf8(address) || !g_uri_peek_scheme(address.c_str())) {
    fail(PageFailureReason::invalidAddress, validUtf8(address));
    loadEnded_.emit();
    return;
  }
  clearFailure();
  restoring_ = false;
  told_ = transition;
  webkit_web_view_load_uri(view_.get(), address.c_str());
  updateAddress();
}

void WebKitPage::reload() {
  if (const auto failure = failure_.value()) {
    // The engine would open the page that it showed last, not the one that failed.
    open(failure->address, PageTransition::reload);
  } else {
    webkit_web_view_reload(view_.get());
  }
}

void WebKitPage::stop() { webkit_web_view_stop_loading(view_.get()); }

void WebKitPage::goBack() {
  if (failure_.value() && hasContent_.value()) {
    // The page before the failure is still there, under it.
    clearFailure();
    updateAddress();
    updateHistory();
  } else {
    webkit_web_view_go_back(view_.get());
  }
}

void WebKitPage::goForward() { webkit_web_view_go_forward(view_.get()); }

void WebKitPage::takeFocus() {
  auto* cover = GTK_WIDGET(cover_.get());
  if (!gtk_widget_get_first_child(cover)) {
    gtk_widget_grab_focus(GTK_WIDGET(view_.get()));
  } else if (!gtk_widget_get_focus_child(cover)) {
    gtk_widget_child_focus(cover, GTK_DIR_TAB_FORWARD);
  }
}

void WebKitPage::setMuted(bool muted) { webkit_web_view_set_is_muted(view_.get(), muted); }

void WebKitPage::whenDrawn(std::function<void()> done) {
  runInPage(view_.get(), twoFrames, gone_.get(), [done = std::move(done)](JSCValue*) { done(); });
}

void WebKitPage::loadChanged(WebKitLoadEvent event) {
  switch (event) {
  case WEBKIT_LOAD_STARTED:
    loadStarted();
    break;
  case WEBKIT_LOAD_REDIRECTED:
    break;
  case WEBKIT_LOAD_COMMITTED:
    restoring_ = false;
    questions_.forgetFrames();
    // In place of an address with a port that it blocks the engine opens a blank page, and reports no error.
    if (!loading_.empty() && loading_ != blankPage &&
        text(webkit_web_view_get_uri(view_.get())) == blankPage) {
      hasContent_.set(false);
      fail(PageFailureReason::blockedPort, loading_);
      break;
    }
    hasContent_.set(true);
    updateSecurity();
    updateAddress();
    document_.set(document_.value() + 1);
    break;
  case WEBKIT_LOAD_FINISHED:
    loadEnded_.emit();
    break;
  }
  updateAddress();
  updateHistory();
}

void WebKitPage::loadStarted() {
  clearFailure();
  stateTaken_ = false;
  loading_ = text(webkit_web_view_get_uri(view_.get()));
  // The decision on a load comes right before its start.
  transition_ = told_.value_or(decided_);
  told_.reset();
}

bool WebKitPage::loadFailed(const char* address, const GError& error) {
  log::debug("A load ended with the error {} {}.", g_quark_to_string(error.domain), error.code);
  if (const auto reason = failureReason(error, text(address))) fail(*reason, text(address), error.message);
  // Even a load that was merely stopped must not bring up the engine's own error page.
  return true;
}

void WebKitPage::certificateRefused(RefusedCertificate refused) {
  const auto reason = failureReason(refused.problems);
  auto address = refused.address;
  refusedCertificate_ = std::move(refused);
  fail(reason, std::move(address));
}

void WebKitPage::processEnded(WebKitWebProcessTerminationReason reason) {
  if (reason == WEBKIT_WEB_PROCESS_TERMINATED_BY_API) return;
  const bool memory = reason == WEBKIT_WEB_PROCESS_EXCEEDED_MEMORY_LIMIT;
  const auto address = address_.value();
  questions_.forgetFrames();
  hasContent_.set(false);
  fail(memory ? PageFailureReason::outOfMemory : PageFailureReason::crashed, address);
  isLoading_.set(false);
  loadEnded_.emit();
}

void WebKitPage::fail(PageFailureReason reason, std::string address, std::string_view detail) {
  told_.reset();
  if (refusedCertificate_ && refusedCertificate_->address != address) refusedCertificate_.reset();
  failure_.set(describePageFailure(reason, address, detail));
  address_.set(std::move(address));
  security_.set(PageSecurity::local);
  updateHistory();
}

void WebKitPage::clearFailure() {
  if (!failure_.value()) return;
  refusedCertificate_.reset();
  failure_.set(std::nullopt);
  updateSecurity();
}

void WebKitPage::updateAddress() {
  if (failure_.value()) return;
  address_.set(text(webkit_web_view_get_uri(view_.get())));
}

void WebKitPage::updateHistory() {
  const bool overPage = failure_.value() && hasContent_.value();
  canGoBack_.set(overPage || webkit_web_view_can_go_back(view_.get()));
  canGoForward_.set(webkit_web_view_can_go_forward(view_.get()));
}

void WebKitPage::updateSecurity() {
  GTlsCertificate* certificate = nullptr;
  GTlsCertificateFlags problems{};
  const char* address = webkit_web_view_get_uri(view_.get());
  const char* scheme = address ? g_uri_peek_scheme(address) : nullptr;
  if (webkit_web_view_get_tls_info(view_.get(), &certificate, &problems)) {
    const bool excepted =
        CertificateExceptions::of(webkit_web_view_get_network_session(view_.get())).holdsFor(text(address));
    security_.set(problems == 0 && !excepted ? PageSecurity::secure : PageSecurity::insecure);
  } else if (const auto name = text(scheme); (name == "http" || name == "https") && !isLoopback(address)) {
    security_.set(PageSecurity::insecure);
  } else {
    security_.set(PageSecurity::local);
  }
}

void WebKitPage::updateCapture() {
  const bool none =
      webkit_web_view_get_camera_capture_state(view_.get()) == WEBKIT_MEDIA_CAPTURE_STATE_NONE &&
      webkit_web_view_get_microphone_capture_state(view_.get()) == WEBKIT_MEDIA_CAPTURE_STATE_NONE &&
      webkit_web_view_get_display_capture_state(view_.get()) == WEBKIT_MEDIA_CAPTURE_STATE_NONE;
  capture_.set(none ? PageCapture::none : PageCapture::active);
}

}  // namespace vale::gtk
