#pragma once

#include "app/BookmarkTransfer.h"
#include "app/BrowsingDataCleaner.h"
#include "app/gtk/BrowserIntelligence.h"
#include "app/gtk/ClosingGuard.h"
#include "app/gtk/ContentBlocking.h"
#include "app/gtk/EngineDownloads.h"
#include "app/gtk/EngineSettings.h"
#include "app/gtk/PageAuthentication.h"
#include "app/gtk/PageEquipment.h"
#include "app/gtk/PageNotifications.h"
#include "app/gtk/PageSources.h"
#include "app/gtk/SecretClipboard.h"
#include "app/gtk/Signal.h"
#include "app/gtk/WebEngine.h"
#include "browser/Bookmarks.h"
#include "browser/BrowserWindows.h"
#include "browser/SavedPasswords.h"
#include "browser/SearchEngines.h"
#include "browser/ZoomLevels.h"
#include "common/Preferences.h"
#include "common/Surroundings.h"
#include "history/HistoryStore.h"

#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <string>

namespace vale::gtk {

class BuiltInPages;
class LoginPart;

/// What the browser has one of and its windows and pages share. Made once everything in its base runs. At the
/// end the windows' parts go first, while all of this still runs; then `shutdown` has run, and the pages and
/// their parts go when the history and the intelligence are no longer there. Main thread only.
struct BrowserServices {
  /// What a running browser begins with. The pointers are null while a single picture is taken.
  struct Base {
    Surroundings surroundings;
    std::filesystem::path supportFolder;
    Preferences& preferences;
    BrowserSession& session;
    BrowserWindows& windows;
    WebEngine& engine;
    SearchEngines& searchEngines;
    HistoryStore* history;
    BrowserIntelligence* intelligence;
    BuiltInPages* builtIn;
    /// Selects a tab of any window and brings that window to the front.
    std::function<void(const Uuid& tab)> showTab;
  };

  explicit BrowserServices(Base base);
  ~BrowserServices();
  BrowserServices(const BrowserServices&) = delete;
  BrowserServices& operator=(const BrowserServices&) = delete;

  /// The window that a page is in; null while it is in none.
  std::shared_ptr<BrowserModel> modelOf(const Page& page) const;

  /// Opens an address in a new, selected tab of the window in front that browses in this mode, or in a new
  /// window where there is none.
  void openInNewTab(const std::string& address, BrowsingMode mode = BrowsingMode::ordinary) const;

  /// How large pages are in windows of this mode. The private windows share one, until the last of them goes.
  std::shared_ptr<ZoomLevels> zoomFor(BrowsingMode mode);

  /// Writes what waits to be written, for termination; ends what is under way.
  void shutdown();

  const Base base;
  PageSources sources;

  /// The logins of servers that ask by themselves (HTTP authentication), by host and port and realm. None is
  /// found where there is no password service, and while a driver steers the browser. What was entered the
  /// page in front offers to save once its load has ended well, but not in a private window.
  CredentialStore credentials;

  NotificationClicks notificationClicks;

  /// Null while a single picture is taken.
  std::unique_ptr<EngineDownloads> downloads;
  /// Null where nobody could answer it.
  std::unique_ptr<ClosingGuard> closing;
  const std::unique_ptr<EngineSettings> engineSettings;
  const std::unique_ptr<ContentBlocking> blocking;
  Bookmarks bookmarks;
  BookmarkTransfer bookmarkTransfer;

  std::unique_ptr<PasswordStore> passwordStore;
  std::unique_ptr<SavedPasswords> passwords;
  std::map<const Page*, std::weak_ptr<LoginPart*>> loginParts;
  bool passwordProblemTold = false;  ///< in this run
  SecretClipboard secretClipboard;
  const std::shared_ptr<ZoomLevels> zoom;  ///< of ordinary windows
  std::unique_ptr<EngineData> engineData;
  std::unique_ptr<BrowsingDataCleaner> cleaner;

 private:
  void serveBookmarks();
  PageParts partsOf(WebKitPage& page, BrowsingMode mode);
  void startDownloads();
  void keepServerLogins();
  void findServerLogin(std::string server, std::string realm,
                       std::function<void(std::optional<Login>)> found) const;
  void noteServerLogin(Login login) const;
  void closeTabOf(const Page& page) const;

  std::weak_ptr<ZoomLevels> privateZoom_;
  Connection notificationPermissions_;
  Subscription bookmarkChanges_;
};

}  // namespace vale::gtk
