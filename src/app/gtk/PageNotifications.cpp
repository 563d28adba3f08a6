#include "app/gtk/PageNotifications.h"

#include "app/gtk/BrowserServices.h"
#include "app/gtk/SiteName.h"
#include "browser/AddressDisplay.h"
#include "common/Text.h"

#include <algorithm>
#include <gio/gio.h>
#include <memory>
#include <utility>

namespace vale::gtk {

namespace {

constexpr const char* action = "page-notification";
constexpr std::size_t longestTitle = 120;
constexpr std::size_t longestBody = 500;

/// This many in this time.
constexpr std::size_t mostAtOnce = 5;
constexpr Seconds span{30};

std::string text(const char* value, std::size_t limit) {
  return clampedText(validUtf8(value ? value : ""), limit);
}

}  // namespace

NotificationClicks::NotificationClicks() {
  auto* application = g_application_get_default();
  if (!application) return;
  const auto made = GObjectPointer<GSimpleAction>::adopt(g_simple_action_new(action, G_VARIANT_TYPE_STRING));
  g_action_map_add_action(G_ACTION_MAP(application), G_ACTION(made.get()));
  activated_ = connect(made.get(), "activate", [this](GVariant* name) {
    const auto at = clicks_.find(g_variant_get_string(name, nullptr));
    if (at == clicks_.end()) return;
    const auto clicked = at->second;
    clicked();
  });
}

std::string NotificationClicks::add(std::function<void()> clicked) {
  auto name = "page-" + std::to_string(++last_);
  clicks_.emplace(name, std::move(clicked));
  return name;
}

void NotificationClicks::remove(const std::string& name) { clicks_.erase(name); }

PageNotifications::PageNotifications(WebKitPage& page, BrowserServices& services)
    : page_(page), services_(services),
      requests_(
          connect(page.view(), "show-notification", [this](WebKitNotification* notification) -> gboolean {
            show(notification);
            return TRUE;
          })) {}

PageNotifications::~PageNotifications() {
  requests_.disconnect();
  while (!shown_.empty()) withdraw(std::string(shown_.begin()->first));
}

bool PageNotifications::mayShow() {
  const auto model = services_.modelOf(page_);
  if (!model || model->permissions()->decision(page_.address().value(), PermissionKind::notifications) !=
                    PermissionDecision::allow) {
    return false;
  }
  const auto now = services_.base.surroundings.clock.now();
  while (!times_.empty() && now - times_.front() > span) times_.pop_front();
  if (times_.size() >= mostAtOnce) return false;
  times_.push_back(now);
  return true;
}

void PageNotifications::show(WebKitNotification* notification) {
  auto* application = g_application_get_default();
  if (!application || !mayShow()) return webkit_notification_close(notification);
  const auto name = std::make_shared<std::string>();
  *name = services_.notificationClicks.add([this, name] { clicked(std::string(*name)); });
  const auto title = text(webkit_notification_get_title(notification), longestTitle);
  const auto body = text(webkit_notification_get_body(notification), longestBody);
  const auto site = siteName(page_.address().value());
  const auto shown =
      GObjectPointer<GNotification>::adopt(g_notification_new(title.empty() ? site.c_str() : title.c_str()));
  g_notification_set_body(shown.get(), (body.empty() ? site : body + "\n" + site).c_str());
  g_notification_set_default_action_and_target(shown.get(), (std::string("app.") + action).c_str(), "s",
                                               name->c_str());
  shown_[*name] = {GObjectPointer<WebKitNotification>::share(notification),
                   connect(notification, "closed", [this, name] { withdraw(std::string(*name)); })};
  g_application_send_notification(application, name->c_str(), shown.get());
}

void PageNotifications::clicked(const std::string& name) {
  const auto at = shown_.find(name);
  if (at == shown_.end()) return;
  const auto notification = at->second.notification;
  if (const auto model = services_.modelOf(page_)) {
    const auto tab =
        std::ranges::find_if(model->tabs(), [this](const auto& one) { return one->page() == &page_; });
    if (tab != model->tabs().end()) services_.base.showTab((*tab)->id);
  }
  webkit_notification_clicked(notification.get());
  webkit_notification_close(notification.get());
}

void PageNotifications::withdraw(const std::string& name) {
  const auto node = shown_.extract(name);
  if (node.empty()) return;
  services_.notificationClicks.remove(name);
  if (auto* application = g_application_get_default())
    g_application_withdraw_notification(application, name.c_str());
}

}  // namespace vale::gtk
