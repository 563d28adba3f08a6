#include "app/gtk/BrowserServices.h"

#include "app/BookmarkAnswers.h"
#include "app/gtk/BrowserWindow.h"
#include "app/gtk/BuiltInPages.h"
#include "app/gtk/CrashRecovery.h"
#include "app/gtk/LoginPart.h"
#include "app/gtk/NetworkRecovery.h"
#include "app/gtk/PageContextMenu.h"
#include "app/gtk/PageDownloads.h"
#include "app/gtk/PagePermissions.h"
#include "app/gtk/PagePopups.h"
#include "app/gtk/PageZoom.h"
#include "app/gtk/ScriptDialogs.h"
#include "app/gtk/SecretServiceStore.h"
#include "app/gtk/WebKitEngineData.h"
#include "app/gtk/WebKitPage.h"
#include "app/gtk/WhenDone.h"
#include "app/pages/Pages.h"

#include <algorithm>
#include <ranges>
#include <utility>

namespace vale::gtk {

namespace {

Task<std::string> answered(std::shared_ptr<BookmarkAnswers> answers, std::string question) {
  co_return answers->answer(question);
}

}  // namespace

BrowserServices::BrowserServices(Base with)
    : base(std::move(with)), sources(base.engine.context()),
      engineSettings(std::make_unique<EngineSettings>(base.preferences, base.engine, base.surroundings)),
      blocking(std::make_unique<ContentBlocking>(base.supportFolder / "Blocking", base.preferences,
                                                 base.surroundings)),
      bookmarks(base.session), bookmarkTransfer(bookmarks, base.surroundings),
      passwordStore(std::make_unique<SecretServiceStore>()),
      passwords(std::make_unique<SavedPasswords>(*passwordStore, base.preferences)),
      secretClipboard(base.surroundings.clock),
      zoom(std::make_shared<ZoomLevels>(base.supportFolder / "zoom.json", base.surroundings)),
      engineData(std::make_unique<WebKitEngineData>(base.engine.session())),
      cleaner(std::make_unique<BrowsingDataCleaner>(
          BrowsingDataCleaner::Stores{.history = base.history,
                                      .session = base.session,
                                      .windows = base.windows,
                                      .passwords = *passwordStore,
                                      .zoom = *zoom,
                                      .engine = *engineData,
                                      .sessionsFolder = base.supportFolder / SessionGenerations::folderName},
          base.surroundings)) {
  notificationPermissions_ = offerNotificationPermissions(base.engine.context(), base.session.permissions());
  base.engine.equip([this](WebKitPage& page, BrowsingMode mode) { return partsOf(page, mode); });
  keepServerLogins();
  if (base.history) startDownloads();
  if (base.builtIn) serveBookmarks();
}

void BrowserServices::startDownloads() {
  const auto windowOf = [this](WebKitWebView* view) -> GtkWindow* {
    auto* root = view ? gtk_widget_get_root(GTK_WIDGET(view)) : nullptr;
    if (root && GTK_IS_WINDOW(root)) return GTK_WINDOW(root);
    const auto* front = base.windows.front();
    return front && front->window ? static_cast<BrowserWindow&>(*front->window).window() : nullptr;
  };
  downloads = std::make_unique<EngineDownloads>(*base.session.downloads(), base.preferences,
                                                base.surroundings, windowOf);
  downloads->onNothingToShow = [this](WebKitPage& page) { closeTabOf(page); };
  base.engine.handDownloadsTo(
      [this](WebKitDownload* download, BrowsingMode mode) { downloads->take(download, mode); });
  if (webkit_web_context_is_automation_allowed(base.engine.context())) return;
  closing = std::make_unique<ClosingGuard>(*downloads, base.windows);
}

BrowserServices::~BrowserServices() { base.engine.handDownloadsTo({}); }

void BrowserServices::serveBookmarks() {
  const auto answers = std::make_shared<BookmarkAnswers>(bookmarks);
  const auto act = [this](const char* action) {
    return [this, action] {
      const auto* front = base.windows.front();
      if (!front || !front->window) return;
      auto* window = static_cast<BrowserWindow&>(*front->window).window();
      gtk_widget_activate_action(GTK_WIDGET(window), action, nullptr);
    };
  };
  answers->open = [this](const std::vector<std::string>& addresses) {
    const auto* front = base.windows.front();
    for (const auto& address : addresses) {
      if (front)
        front->model->open(address, {.opener = {}, .selects = false, .groupID = {}, .agentOwner = {}});
    }
  };
  answers->importFile = act("win.import-bookmarks");
  answers->exportFile = act("win.export-bookmarks");
  base.builtIn->add(
      {.address = bookmarksAddress,
       .html = pages::bookmarksHtml,
       .style = pages::bookmarksStyle,
       .script = pages::bookmarksScript,
       .name = "bookmarks",
       .answer = [answers](std::string question) { return answered(answers, std::move(question)); }});
  bookmarkChanges_ = bookmarks.onChange([this] { base.builtIn->refresh(bookmarksAddress); });
}

PageParts BrowserServices::partsOf(WebKitPage& page, BrowsingMode mode) {
  PageParts parts;
  parts.push_back(std::make_unique<PageZoom>(page, zoomFor(mode)));
  parts.push_back(std::make_unique<PageContextMenu>(page, *this, mode));
  parts.push_back(std::make_unique<CrashRecovery>(page, base.surroundings.clock));
  if (!webkit_web_view_is_controlled_by_automation(page.view())) {
    parts.push_back(std::make_unique<NetworkRecovery>(page, base.surroundings.clock));
  }
  parts.push_back(std::make_unique<PagePermissions>(page, *this));
  parts.push_back(std::make_unique<PageAuthentication>(page, *this));
  parts.push_back(std::make_unique<PageNotifications>(page, *this));
  parts.push_back(std::make_unique<ScriptDialogs>(page));
  parts.push_back(std::make_unique<PagePopups>(page, *this));
  if (downloads) parts.push_back(std::make_unique<PageDownloads>(page, mode, *downloads));
  parts.push_back(blocking->serve(page, mode));
  // A driver must not come by the user's passwords.
  if (!webkit_web_view_is_controlled_by_automation(page.view())) {
    parts.push_back(std::make_unique<LoginPart>(page, mode, *this));
  }
  return parts;
}

void BrowserServices::keepServerLogins() {
  credentials.find = [this](const AuthenticationPlace& place, std::function<void(StoredCredential)> found) {
    if (place.isProxy) return;
    findServerLogin(place.host, place.realm, [found = std::move(found)](std::optional<Login> login) {
      if (login) found({.user = std::move(login->user), .password = login->password.text()});
    });
  };
  credentials.entered = [this](const AuthenticationPlace& place, const StoredCredential& entered) {
    if (place.isProxy || place.isPrivate) return;
    noteServerLogin({.origin = place.host,
                     .user = entered.user,
                     .realm = place.realm,
                     .password = Secret(entered.password)});
  };
}

void BrowserServices::findServerLogin(std::string server, std::string realm,
                                      std::function<void(std::optional<Login>)> found) const {
  if (webkit_web_context_is_automation_allowed(base.engine.context())) return found(std::nullopt);
  whenDone<std::optional<Login>>(
      base.surroundings.main, passwords->forServer(std::move(server), std::move(realm)),
      [found = std::move(found)](std::expected<std::optional<Login>, Error> login) {
        // Without a store the user types it.
        found(login ? std::move(*login) : std::nullopt);
      });
}

void BrowserServices::noteServerLogin(Login login) const {
  const auto* front = base.windows.front();
  const auto tab = front && !front->model->isPrivate() ? front->model->selected() : nullptr;
  const auto found = tab ? loginParts.find(tab->page()) : loginParts.end();
  const auto part = found == loginParts.end() ? nullptr : found->second.lock();
  if (part) (*part)->noteServerLogin(std::move(login));
}

std::shared_ptr<BrowserModel> BrowserServices::modelOf(const Page& page) const {
  for (const auto& entry : base.windows.entries()) {
    const auto shows = [&](const auto& tab) { return tab->page() == &page; };
    if (std::ranges::any_of(entry.model->tabs(), shows)) return entry.model;
  }
  return nullptr;
}

void BrowserServices::openInNewTab(const std::string& address, BrowsingMode mode) const {
  const auto* front = base.windows.front();
  if (!front || front->model->mode != mode) {
    front = nullptr;
    for (const auto& entry : base.windows.entries()) {
      if (entry.model->mode == mode) front = &entry;
    }
  }
  auto& model = front ? *front->model : base.windows.openNew(mode);
  model.open(address, {});
  if (const auto* entry = base.windows.entry(model.id); entry && entry->window) entry->window->bringToFront();
}

std::shared_ptr<ZoomLevels> BrowserServices::zoomFor(BrowsingMode mode) {
  if (mode == BrowsingMode::ordinary) return zoom;
  auto levels = privateZoom_.lock();
  if (!levels) privateZoom_ = levels = ZoomLevels::withParent(*zoom);
  return levels;
}

void BrowserServices::closeTabOf(const Page& page) const {
  const auto model = modelOf(page);
  if (!model || model->tabs().size() < 2) return;
  const auto tab = std::ranges::find_if(model->tabs(), [&](const auto& one) { return one->page() == &page; });
  // Later: the engine is busy with this very page.
  base.surroundings.main.post([weak = std::weak_ptr(model), id = (*tab)->id] {
    if (const auto held = weak.lock()) held->close(id);
  });
}

void BrowserServices::shutdown() {
  if (downloads) downloads->end();
  zoom->save();
  blocking->shutdown();
  secretClipboard.clear();
}

}  // namespace vale::gtk
