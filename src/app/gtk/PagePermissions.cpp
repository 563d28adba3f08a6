#include "app/gtk/PagePermissions.h"

#include "app/gtk/BrowserServices.h"
#include "app/gtk/SiteName.h"
#include "common/WebAddress.h"

#include <string_view>
#include <utility>

namespace vale::gtk {

namespace {

std::string text(const char* value) { return value ? value : ""; }

/// None for what is not asked of the user.
std::vector<PermissionKind> kindsOf(WebKitPermissionRequest* request) {
  using enum PermissionKind;
  std::vector<PermissionKind> kinds;
  if (WEBKIT_IS_USER_MEDIA_PERMISSION_REQUEST(request)) {
    auto* media = WEBKIT_USER_MEDIA_PERMISSION_REQUEST(request);
    if (webkit_user_media_permission_is_for_display_device(media)) return {display};
    if (webkit_user_media_permission_is_for_video_device(media)) kinds.push_back(camera);
    if (webkit_user_media_permission_is_for_audio_device(media)) kinds.push_back(microphone);
    return kinds;
  }
  if (WEBKIT_IS_GEOLOCATION_PERMISSION_REQUEST(request)) return {location};
  if (WEBKIT_IS_NOTIFICATION_PERMISSION_REQUEST(request)) return {notifications};
  if (WEBKIT_IS_CLIPBOARD_PERMISSION_REQUEST(request)) return {clipboard};
  if (WEBKIT_IS_POINTER_LOCK_PERMISSION_REQUEST(request)) return {pointerLock};
  if (WEBKIT_IS_DEVICE_INFO_PERMISSION_REQUEST(request)) return {deviceList};
  if (WEBKIT_IS_MEDIA_KEY_SYSTEM_PERMISSION_REQUEST(request)) return {protectedMedia};
  if (WEBKIT_IS_WEBSITE_DATA_ACCESS_PERMISSION_REQUEST(request)) return {storageAccess};
  return kinds;
}

std::optional<PermissionKind> kindNamed(std::string_view name) {
  using enum PermissionKind;
  for (const auto& [known, kind] : {std::pair<std::string_view, PermissionKind>{"geolocation", location},
                                    {"notifications", notifications},
                                    {"camera", camera},
                                    {"microphone", microphone},
                                    {"storage-access", storageAccess}}) {
    if (name == known) return kind;
  }
  return std::nullopt;
}

GList* originsWith(const SitePermissions& permissions, PermissionDecision decision) {
  GList* list = nullptr;
  for (const auto& one : permissions.permissions().value()) {
    if (one.kind != PermissionKind::notifications || one.decision != decision) continue;
    list = g_list_prepend(list, webkit_security_origin_new_for_uri(one.origin.c_str()));
  }
  return list;
}

}  // namespace

PagePermissions::PagePermissions(WebKitPage& page, BrowserServices& services)
    : page_(page), questions_([&page, &services]() -> std::shared_ptr<SitePermissions> {
        const auto model = services.modelOf(page);
        return model ? model->permissions() : nullptr;
      }) {
  const auto on = [this](const char* signal, auto handler) {
    connections_.push_back(connect(page_.view(), signal, std::move(handler)));
  };
  on("permission-request",
     [this](WebKitPermissionRequest* request) -> gboolean { return requested(request); });
  on("query-permission-state",
     [this](WebKitPermissionStateQuery* query) -> gboolean { return queried(query); });
  on("web-process-terminated", [this](WebKitWebProcessTerminationReason) { questions_.withdraw(); });
  subscriptions_.push_back(page_.document().subscribe([this](auto) { questions_.withdraw(); }));
  subscriptions_.push_back(questions_.question().subscribe([this](const auto& wish) { show(wish); }));
}

bool PagePermissions::requested(WebKitPermissionRequest* request) {
  PermissionWish wish{
      .address = text(webkit_web_view_get_uri(page_.view())), .kinds = kindsOf(request), .third = {}};
  if (wish.kinds.empty()) return false;
  if (WEBKIT_IS_WEBSITE_DATA_ACCESS_PERMISSION_REQUEST(request)) {
    wish.third =
        siteName("https://" + text(webkit_website_data_access_permission_request_get_requesting_domain(
                                  WEBKIT_WEBSITE_DATA_ACCESS_PERMISSION_REQUEST(request))));
  }
  questions_.ask(std::move(wish),
                 [held = GObjectPointer<WebKitPermissionRequest>::share(request)](bool allowed) {
                   (allowed ? webkit_permission_request_allow : webkit_permission_request_deny)(held.get());
                 });
  return true;
}

bool PagePermissions::queried(WebKitPermissionStateQuery* query) {
  const auto kind = kindNamed(text(webkit_permission_state_query_get_name(query)));
  if (!kind) return false;
  const std::unique_ptr<char, decltype(&g_free)> origin(
      webkit_security_origin_to_string(webkit_permission_state_query_get_security_origin(query)), g_free);
  const auto decision = questions_.decision(text(origin.get()), *kind);
  webkit_permission_state_query_finish(
      query, decision == PermissionDecision::allow  ? WEBKIT_PERMISSION_STATE_GRANTED
             : decision == PermissionDecision::deny ? WEBKIT_PERMISSION_STATE_DENIED
                                                    : WEBKIT_PERMISSION_STATE_PROMPT);
  return true;
}

void PagePermissions::show(const std::optional<PermissionWish>& wish) {
  bar_.reset();
  remember_ = nullptr;
  if (!wish) return;
  const auto answer = [this](bool allowed) {
    const bool always = remember_ && gtk_check_button_get_active(GTK_CHECK_BUTTON(remember_));
    questions_.decide(allowed, always ? Remembered::always : Remembered::thisLoad);
  };
  bar_ = std::make_unique<QuestionBar>(
      page_.bars(), questionOf(*wish, siteName(wish->address)),
      std::vector<QuestionBar::Answer>{{.label = "_Block", .chosen = [answer] { answer(false); }},
                                       {.label = "_Allow", .chosen = [answer] { answer(true); }}});
  // What concerns another site, or a page that has no site, is asked each time.
  if (!wish->third.empty() || !isWebAddress(wish->address)) return;
  remember_ = gtk_check_button_new_with_mnemonic("_Remember for this site");
  gtk_check_button_set_active(GTK_CHECK_BUTTON(remember_), TRUE);
  bar_->addControl(remember_);
}

Connection offerNotificationPermissions(WebKitWebContext* context,
                                        std::shared_ptr<SitePermissions> permissions) {
  return connect(context, "initialize-notification-permissions", [context, permissions] {
    GList* allowed = originsWith(*permissions, PermissionDecision::allow);
    GList* denied = originsWith(*permissions, PermissionDecision::deny);
    webkit_web_context_initialize_notification_permissions(context, allowed, denied);
    for (auto* list : {allowed, denied}) {
      g_list_free_full(list, [](gpointer origin) {
        webkit_security_origin_unref(static_cast<WebKitSecurityOrigin*>(origin));
      });
    }
  });
}

}  // namespace vale::gtk
