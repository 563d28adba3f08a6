#include "browser/BrowserSession.h"

#include "common/Log.h"

#include <algorithm>
#include <utility>

namespace vale {
namespace {

void logBookmarkError(const std::string& message) { log::warning("Vale bookmarks: {}", message); }

/// Reads the bookmarks, or moves those of an older session file into a file of their own.
void loadBookmarks(BrowserSession::Contents& contents, BookmarkFile file, std::vector<Bookmark> inSession) {
  if (!file.exists()) {
    contents.bookmarks = std::move(inSession);
    contents.bookmarkFile = file;
    if (contents.bookmarks.empty()) return;
    try {
      file.write({.bookmarks = contents.bookmarks});
    } catch (const Error& error) {
      logBookmarkError(error.message);
      contents.bookmarksInSession = true;
    }
    return;
  }
  try {
    auto collection = file.read();
    contents.bookmarks = std::move(collection.bookmarks);
    contents.bookmarkFolders = std::move(collection.folders).value_or(std::vector<std::string>());
    contents.bookmarkFile = std::move(file);
  } catch (const Error& error) {
    logBookmarkError(error.message);
    contents.bookmarks = std::move(inSession);
    contents.bookmarksInSession = true;
    contents.bookmarkError = "Could not read the bookmarks. The original file is preserved. " + error.message;
  }
}

}  // namespace

std::unique_ptr<BrowserSession> BrowserSession::load(Places places, Preferences& preferences,
                                                     Surroundings surroundings) {
  Contents contents{.file = places.file.value_or(SessionFile{places.supportFolder / "session.json"})};
  std::optional<std::string> bytes;
  Session session;
  try {
    bytes = contents.file.bytes();
    if (bytes) session = SessionFile::decode(*bytes);
    if (bytes) contents.savedWindows = session.restoredWindows();
  } catch (const Error& error) {
    session = {};
    bytes.reset();
    contents.readError = "Could not restore the session. The original file is preserved. " + error.message;
    contents.saves = false;
  }
  loadBookmarks(contents, {contents.file.url.parent_path() / "Library" / "bookmarks.json"},
                std::move(session.bookmarks));
  contents.folded = std::move(session.folded).value_or(std::vector<FoldedTabGroup>());
  contents.savedClosedWindow = std::move(session.closedWindow);
  contents.permissions =
      places.permissions
          ? places.permissions
          : std::make_shared<SitePermissions>(places.supportFolder / "permissions.json", surroundings);
  contents.favicons = std::make_shared<Favicons>(
      places.faviconDirectory.value_or(places.supportFolder / "Favicons"), surroundings);
  contents.downloads = std::make_shared<Downloads>(places.downloadsDirectory, preferences,
                                                   places.supportFolder / "downloads.json", surroundings);
  auto loaded = std::make_unique<BrowserSession>(std::move(contents), std::move(surroundings));
  if (bytes) loaded->keepGeneration(std::move(*bytes));
  return loaded;
}

BrowserSession::BrowserSession(Contents contents, Surroundings surroundings)
    : surroundings_(std::move(surroundings)), file_(std::move(contents.file)),
      bookmarks_(std::move(contents.bookmarks)), bookmarkFolders_(std::move(contents.bookmarkFolders)),
      folded_(std::move(contents.folded)), permissions_(std::move(contents.permissions)),
      favicons_(std::move(contents.favicons)), downloads_(std::move(contents.downloads)),
      savedWindows_(std::move(contents.savedWindows)),
      savedClosedWindow_(std::move(contents.savedClosedWindow)), readError_(std::move(contents.readError)),
      saves_(contents.saves), bookmarksInSession_(contents.bookmarksInSession),
      bookmarkProblem_(std::move(contents.bookmarkError)),
      persistenceQueue_(surroundings_.workers, "Vale.session.persistence"),
      sessionWriter_(
          file_.url, persistenceQueue_, surroundings_,
          [this] { return [session = snapshot()] { return SessionFile::encode(session); }; },
          [this](std::optional<std::string> error) {
            sessionError_ = std::move(error);
            reportErrors();
          }),
      self_(std::make_shared<BrowserSession*>(this)) {
  if (!contents.bookmarkFile) return;
  bookmarkWriter_ = std::make_unique<DeferredFile>(
      contents.bookmarkFile->url, persistenceQueue_, surroundings_,
      [this] {
        BookmarkCollection collection{bookmarks_.value(), {}};
        if (!bookmarkFolders_.value().empty()) collection.folders = bookmarkFolders_.value();
        return [collection = std::move(collection)] { return BookmarkFile::bytes(collection); };
      },
      [this](std::optional<std::string> error) {
        if (error) logBookmarkError(*error);
        // They are safe in their own file now; until then the session file has them.
        if (!error && std::exchange(bookmarksInSession_, false)) scheduleSave();
        bookmarkProblem_.set(error);
        bookmarkError_ = std::move(error);
        reportErrors();
      });
}

BrowserSession::~BrowserSession() = default;

void BrowserSession::setBookmarks(std::vector<Bookmark> bookmarks, std::vector<std::string> folders) {
  bookmarks_.set(std::move(bookmarks));
  bookmarkFolders_.set(std::move(folders));
  if (bookmarkWriter_) bookmarkWriter_->schedule();
  scheduleSave();
}

void BrowserSession::addFolded(FoldedTabGroup group) {
  auto folded = folded_.value();
  folded.insert(folded.begin(), std::move(group));
  folded_.set(std::move(folded));
  scheduleSave();
}

std::optional<FoldedTabGroup> BrowserSession::takeFolded(const Uuid& id) {
  auto folded = folded_.value();
  const auto found = std::ranges::find(folded, id, &FoldedTabGroup::id);
  if (found == folded.end()) return std::nullopt;
  auto group = std::move(*found);
  folded.erase(found);
  folded_.set(std::move(folded));
  scheduleSave();
  return group;
}

void BrowserSession::scheduleSave() {
  if (saves_) sessionWriter_.schedule();
}

void BrowserSession::save() {
  if (bookmarkWriter_) bookmarkWriter_->save();
  if (saves_) {
    sessionWriter_.schedule();
    sessionWriter_.save();
  }
  if (permissions_) permissions_->save();
  if (downloads_) downloads_->save();
}

Session BrowserSession::snapshot() const {
  Session session;
  if (bookmarksInSession_) session.bookmarks = bookmarks_.value();
  if (!folded_.value().empty()) session.folded = folded_.value();
  session.windows = windows();
  session.closedWindow = closedWindow();
  return session;
}

void BrowserSession::reportErrors() const {
  reportStorageError(sessionError_ ? sessionError_ : bookmarkError_);
}

void BrowserSession::keepGeneration(std::string bytes) {
  // On the queue before any write, so that it is done when this run's first session is written.
  persistenceQueue_.post([bytes = std::move(bytes), now = surroundings_.clock.now(), kept = generations()] {
    try {
      kept.keep(bytes, now);
    } catch (const Error& error) {
      log::warning("Vale sessions: {}", error.message);
    }
  });
}

SessionGenerations BrowserSession::generations() const {
  return SessionGenerations(file_.url.parent_path() / SessionGenerations::folderName);
}

void BrowserSession::listGenerations(std::function<void(std::vector<SessionGeneration>)> done) const {
  persistenceQueue_.post(
      [kept = generations(), main = surroundings_.main, weak = std::weak_ptr(self_), done = std::move(done)] {
        main.post([weak, done, found = kept.list()] {
          if (weak.lock()) done(found);
        });
      });
}

void BrowserSession::readGeneration(std::string name,
                                    std::function<void(std::expected<Session, Error>)> done) const {
  persistenceQueue_.post([name = std::move(name), kept = generations(), main = surroundings_.main,
                          weak = std::weak_ptr(self_), done = std::move(done)] {
    main.post([weak, done, found = kept.read(name)] {
      if (weak.lock()) done(found);
    });
  });
}

}  // namespace vale
