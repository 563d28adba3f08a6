#include "app/gtk/IsolatedWorld.h"
#include "app/gtk/WebKitPage.h"

#include <string_view>
#include <utility>

/// What a page's navigations lead to: itself, another page, another tab, or nothing.
namespace vale::gtk {

namespace {

const char* addressOf(WebKitNavigationAction* action) {
  return webkit_uri_request_get_uri(webkit_navigation_action_get_request(action));
}

PageTransition transitionOf(WebKitNavigationAction* action) {
  switch (webkit_navigation_action_get_navigation_type(action)) {
  case WEBKIT_NAVIGATION_TYPE_FORM_SUBMITTED:
  case WEBKIT_NAVIGATION_TYPE_FORM_RESUBMITTED:
    return PageTransition::form;
  case WEBKIT_NAVIGATION_TYPE_BACK_FORWARD:
    return PageTransition::backForward;
  case WEBKIT_NAVIGATION_TYPE_RELOAD:
    return PageTransition::reload;
  case WEBKIT_NAVIGATION_TYPE_LINK_CLICKED:
  case WEBKIT_NAVIGATION_TYPE_OTHER:
    break;
  }
  return PageTransition::link;
}

enum class LinkPlace { here, newTab, selectedTab, newWindow };

/// A click asks for the link beside the page with the middle button or with Ctrl held down, and for a window
/// of its own with Shift alone. Only the user's own clicks count.
LinkPlace placeOf(WebKitNavigationAction* action) {
  if (webkit_navigation_action_get_navigation_type(action) != WEBKIT_NAVIGATION_TYPE_LINK_CLICKED ||
      !webkit_navigation_action_is_user_gesture(action)) {
    return LinkPlace::here;
  }
  const auto keys = webkit_navigation_action_get_modifiers(action);
  const bool shift = keys & GDK_SHIFT_MASK;
  if (webkit_navigation_action_get_mouse_button(action) == GDK_BUTTON_MIDDLE || (keys & GDK_CONTROL_MASK)) {
    return shift ? LinkPlace::selectedTab : LinkPlace::newTab;
  }
  return shift ? LinkPlace::newWindow : LinkPlace::here;
}

/// The server says that what it sends is a file to save.
bool isAttachment(WebKitURIResponse* response) {
  auto* headers = webkit_uri_response_get_http_headers(response);
  if (!headers) return false;
  char* kind = nullptr;
  GHashTable* parameters = nullptr;
  if (!soup_message_headers_get_content_disposition(headers, &kind, &parameters)) return false;
  const bool attached = kind && g_ascii_strcasecmp(kind, "attachment") == 0;
  g_free(kind);
  g_hash_table_destroy(parameters);
  return attached;
}

}  // namespace

bool WebKitPage::decide(WebKitPolicyDecision* decision, WebKitPolicyDecisionType type) {
  switch (type) {
  case WEBKIT_POLICY_DECISION_TYPE_RESPONSE:
    return decideResponse(WEBKIT_RESPONSE_POLICY_DECISION(decision));
  case WEBKIT_POLICY_DECISION_TYPE_NAVIGATION_ACTION:
  case WEBKIT_POLICY_DECISION_TYPE_NEW_WINDOW_ACTION:
    return decideNavigation(WEBKIT_NAVIGATION_POLICY_DECISION(decision));
  }
  return false;
}

bool WebKitPage::decideNavigation(WebKitNavigationPolicyDecision* decision) {
  auto* action = webkit_navigation_policy_decision_get_navigation_action(decision);
  const std::string address = addressOf(action);
  if (restoring_ && std::string_view(webkit_uri_request_get_http_method(
                        webkit_navigation_action_get_request(action))) != "GET") {
    // What the user sent once must not be sent again only because its answer is to be shown again.
    webkit_policy_decision_ignore(WEBKIT_POLICY_DECISION(decision));
    open(address, PageTransition::restored);
    return true;
  }
  const auto& exceptions = CertificateExceptions::of(webkit_web_view_get_network_session(view_.get()));
  if (const auto* takenBack = exceptions.takenBack(address)) {
    webkit_policy_decision_ignore(WEBKIT_POLICY_DECISION(decision));
    auto refused = *takenBack;
    refused.address = address;
    certificateRefused(std::move(refused));
    loadEnded_.emit();
    return true;
  }
  const auto place = placeOf(action);
  if (place == LinkPlace::here) {
    decided_ = transitionOf(action);
    return false;
  }
  webkit_policy_decision_ignore(WEBKIT_POLICY_DECISION(decision));
  if (place == LinkPlace::newWindow) {
    linkInNewWindow_.emit(address);
  } else {
    linkInNewTab_.emit(address, place == LinkPlace::selectedTab);
  }
  return true;
}

bool WebKitPage::decideResponse(WebKitResponsePolicyDecision* decision) {
  auto* answer = webkit_response_policy_decision_get_response(decision);
  const bool shown = webkit_response_policy_decision_is_mime_type_supported(decision);
  if (shown && !isAttachment(answer)) return false;
  // In place of a file, the sentence of a server that has none is worth nothing.
  if (equipment_->savesFiles && webkit_uri_response_get_status_code(answer) < 400) {
    webkit_policy_decision_download(WEBKIT_POLICY_DECISION(decision));
    return true;
  }
  if (shown || !webkit_response_policy_decision_is_main_frame_main_resource(decision)) return false;
  const auto text = [](const char* value) { return std::string(value ? value : ""); };
  fail(PageFailureReason::unsupportedContent, text(webkit_uri_response_get_uri(answer)),
       text(webkit_uri_response_get_mime_type(answer)));
  webkit_policy_decision_ignore(WEBKIT_POLICY_DECISION(decision));
  return true;
}

WebKitWebView* WebKitPage::openPage(WebKitNavigationAction* action) {
  if (!webkit_navigation_action_is_user_gesture(action) && !onUnaskedPage(addressOf(action))) return nullptr;
  // Context, session and automation come with the relation; the messages of frames must not be shared.
  const auto content = GObjectPointer<WebKitUserContentManager>::adopt(webkit_user_content_manager_new());
  auto* view = WEBKIT_WEB_VIEW(g_object_new(WEBKIT_TYPE_WEB_VIEW, "related-view", view_.get(), "settings",
                                            webkit_web_view_get_settings(view_.get()), "user-content-manager",
                                            content.get(), nullptr));
  std::unique_ptr<WebKitPage> page(new WebKitPage(view, equipment_, group_));
  page->prepareOpened();
  NewPageRequest request{.page = std::move(page)};
  newPage_.emit(request);
  return request.page ? nullptr : view;
}

void WebKitPage::prepareOpened() {
  // The engine leaves the empty first document without the frames' script, but the opener may write a page
  // into it. It is also the one to ask for the opener: the next one's scripts could hide it. Pages without
  // the tie (rel=noopener, and most links for new windows) get a process of their own from the engine.
  runInPage(view_.get(), frameScript() + "\nreturn window.opener === null;", gone_.get(),
            [this](JSCValue* result) {
              if (result && jsc_value_is_boolean(result) && jsc_value_to_boolean(result)) group_ = newGroup();
            });
}

}  // namespace vale::gtk
