#include "app/gtk/WebEngine.h"

#include "app/gtk/Signal.h"
#include "app/gtk/WebKitPage.h"
#include "common/PrivateFiles.h"

#include <system_error>
#include <unistd.h>
#include <utility>

namespace vale::gtk {

namespace {

GObjectPointer<WebKitNetworkSession> newSession(const std::optional<std::filesystem::path>& folder) {
  if (!folder) {
    auto session = GObjectPointer<WebKitNetworkSession>::adopt(webkit_network_session_new_ephemeral());
    webkit_network_session_set_itp_enabled(session.get(), TRUE);
    return session;
  }
  const auto data = *folder / "data";
  PrivateFiles::makeFolder(data);
  auto session = GObjectPointer<WebKitNetworkSession>::adopt(
      webkit_network_session_new(data.c_str(), (*folder / "cache").c_str()));
  webkit_network_session_set_itp_enabled(session.get(), TRUE);
  webkit_cookie_manager_set_persistent_storage(webkit_network_session_get_cookie_manager(session.get()),
                                               (data / "cookies.sqlite").c_str(),
                                               WEBKIT_COOKIE_PERSISTENT_STORAGE_SQLITE);
  return session;
}

/// A sandbox that root starts leaves its empty mark of a sandbox behind in the real file system, and the next
/// engine takes the mark for a Flatpak, in which it has no sandbox of its own to make.
void removeSandboxMark() {
  constexpr const char* mark = "/.flatpak-info";
  std::error_code ignored;
  if (::geteuid() == 0 && std::filesystem::file_size(mark, ignored) == 0)
    std::filesystem::remove(mark, ignored);
}

void allowIcons(WebKitNetworkSession* session) {
  webkit_website_data_manager_set_favicons_enabled(webkit_network_session_get_website_data_manager(session),
                                                   TRUE);
}

}  // namespace

WebEngine::WebEngine(const std::optional<std::filesystem::path>& folder, Control control)
    : control_(control), context_(GObjectPointer<WebKitWebContext>::adopt(webkit_web_context_new())),
      settings_(GObjectPointer<WebKitSettings>::adopt(webkit_settings_new())) {
  removeSandboxMark();
  if (control_ == Control::automation) {
    webkit_web_context_set_automation_allowed(context_.get(), TRUE);
    session_ = GObjectPointer<WebKitNetworkSession>::share(
        webkit_web_context_get_network_session_for_automation(context_.get()));
  } else {
    session_ = newSession(folder);
  }
  allowIcons(session_.get());
  // The engine asks then, and what nobody asked for is held back where the user can see it.
  webkit_settings_set_javascript_can_open_windows_automatically(settings_.get(), TRUE);
  watchDownloads();
  webkit_settings_set_enable_developer_extras(settings_.get(), TRUE);
  webkit_settings_set_enable_back_forward_navigation_gestures(settings_.get(), TRUE);
}

WebEngine::WebEngine(const WebEngine& ordinary, GObjectPointer<WebKitNetworkSession> session)
    : control_(ordinary.control_), taker_(ordinary.taker_), context_(ordinary.context_),
      session_(std::move(session)), settings_(ordinary.settings_),
      equipment_(std::make_shared<PageEquipment>(PageEquipment{.mode = BrowsingMode::isPrivate,
                                                               .savesFiles = ordinary.equipment_->savesFiles,
                                                               .make = ordinary.equipment_->make})) {
  allowIcons(session_.get());
  watchDownloads();
}

std::unique_ptr<Page> WebEngine::newPage() { return std::make_unique<WebKitPage>(newView(), equipment_); }

void WebEngine::equip(std::function<PageParts(WebKitPage&, BrowsingMode)> make) {
  auto equipment = *equipment_;
  equipment.make = std::move(make);
  equipment_ = std::make_shared<PageEquipment>(std::move(equipment));
}

void WebEngine::handDownloadsTo(DownloadTaker taker) {
  auto equipment = *equipment_;
  equipment.savesFiles = bool(taker);
  equipment_ = std::make_shared<PageEquipment>(std::move(equipment));
  *taker_ = std::move(taker);
}

/// For as long as the session lives: left alone, the engine would write a file by itself.
void WebEngine::watchDownloads() {
  const auto mode = equipment_->mode;
  auto begun = connect(session_.get(), "download-started", [taker = taker_, mode](WebKitDownload* download) {
    if (*taker) {
      (*taker)(download, mode);
    } else {
      webkit_download_cancel(download);
    }
  });
  g_object_set_data_full(G_OBJECT(session_.get()), "vale-downloads", new Connection(std::move(begun)),
                         [](gpointer held) { delete static_cast<Connection*>(held); });
}

std::unique_ptr<PageEngine> WebEngine::newPrivateEngine() const {
  return std::unique_ptr<PageEngine>(new WebEngine(*this, newSession(std::nullopt)));
}

WebKitWebView* WebEngine::newView() const {
  // Not shared: each page hears the messages of its own frames only.
  const auto content = GObjectPointer<WebKitUserContentManager>::adopt(webkit_user_content_manager_new());
  return WEBKIT_WEB_VIEW(g_object_new(WEBKIT_TYPE_WEB_VIEW, "web-context", context_.get(), "network-session",
                                      session_.get(), "settings", settings_.get(), "user-content-manager",
                                      content.get(), "is-controlled-by-automation",
                                      control_ == Control::automation, nullptr));
}

}  // namespace vale::gtk
