#pragma once

#include "browser/BookmarkFile.h"
#include "browser/Downloads.h"
#include "browser/Favicons.h"
#include "browser/SavedSession.h"
#include "browser/SessionFile.h"
#include "browser/SessionGenerations.h"
#include "browser/SitePermissions.h"
#include "common/DeferredFile.h"
#include "common/Preferences.h"
#include "common/Published.h"
#include "common/Surroundings.h"

#include <expected>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace vale {

/// What the browser keeps between launches: windows, groups, bookmarks, and the stores beside the session
/// file. Lives on the main thread, encodes and writes on a queue of its own. A crash loses at most the
/// changes of the last debounce; a file that could not be read is never written.
class BrowserSession {
 public:
  /// How long a change waits for the next one before the file is written.
  static constexpr Seconds writeDelay = DeferredFile::writeDelay;

  using Surroundings = vale::Surroundings;

  /// What differs from the usual places: the support folder's "session.json", "Favicons" and
  /// "permissions.json", and the user's own download folder.
  struct Places {
    std::optional<SessionFile> file;
    std::filesystem::path supportFolder;
    std::optional<std::filesystem::path> downloadsDirectory;
    std::optional<std::filesystem::path> faviconDirectory;
    std::shared_ptr<SitePermissions> permissions;
  };

  /// Reads everything once, on this thread: before there is a window that could wait. A file that
  /// cannot be read is no reason to throw: `readError` and the stores tell of it.
  static std::unique_ptr<BrowserSession> load(Places places, Preferences& preferences,
                                              Surroundings surroundings);

  /// What a session begins with.
  struct Contents {
    SessionFile file;
    std::vector<Bookmark> bookmarks;
    std::vector<std::string> bookmarkFolders;
    std::vector<FoldedTabGroup> folded;
    std::vector<SavedWindow> savedWindows;
    std::optional<SavedWindow> savedClosedWindow;
    std::optional<std::string> readError;
    std::shared_ptr<SitePermissions> permissions;
    std::shared_ptr<Favicons> favicons;
    std::shared_ptr<Downloads> downloads;
    bool saves = true;
    std::optional<BookmarkFile> bookmarkFile;
    bool bookmarksInSession = false;
    std::optional<std::string> bookmarkError;
  };
  BrowserSession(Contents contents, Surroundings surroundings);
  ~BrowserSession();
  BrowserSession(const BrowserSession&) = delete;
  BrowserSession& operator=(const BrowserSession&) = delete;

  const Published<std::vector<Bookmark>>& bookmarks() const { return bookmarks_; }
  const Published<std::vector<std::string>>& bookmarkFolders() const { return bookmarkFolders_; }
  void setBookmarks(std::vector<Bookmark> bookmarks, std::vector<std::string> folders);
  /// Why the bookmark file could not be read or written, a sentence for the user.
  const Published<std::optional<std::string>>& bookmarkProblem() const { return bookmarkProblem_; }

  /// Groups put away, the latest first.
  const Published<std::vector<FoldedTabGroup>>& folded() const { return folded_; }
  void addFolded(FoldedTabGroup group);
  /// Takes a group out of the list; none when it is not there.
  std::optional<FoldedTabGroup> takeFolded(const Uuid& id);

  const std::shared_ptr<SitePermissions>& permissions() const { return permissions_; }
  const std::shared_ptr<Favicons>& favicons() const { return favicons_; }
  const std::shared_ptr<Downloads>& downloads() const { return downloads_; }

  /// As read at the start.
  const std::vector<SavedWindow>& savedWindows() const { return savedWindows_; }
  const std::optional<SavedWindow>& savedClosedWindow() const { return savedClosedWindow_; }

  /// Why the session could not be read, a sentence for the user.
  const std::optional<std::string>& readError() const { return readError_; }

  /// False: the session file is never written in this run.
  bool saves() const { return saves_; }

  /// What to write, asked for on the main thread.
  std::function<std::vector<SavedWindow>()> windows = [] { return std::vector<SavedWindow>(); };
  std::function<std::optional<SavedWindow>()> closedWindow = [] { return std::optional<SavedWindow>(); };

  /// Told why the last write failed; none once a write succeeds.
  std::function<void(std::optional<std::string>)> reportStorageError = [](std::optional<std::string>) {};

  /// Asks for a write soon: after every change of what is saved.
  void scheduleSave();

  /// Writes now and waits for it, after any write under way: for termination.
  void save();

  /// The record to write.
  Session snapshot() const;

  /// The sessions of earlier starts, looked up off the main thread and given to `done` on it; not called once
  /// the session is gone.
  void listGenerations(std::function<void(std::vector<SessionGeneration>)> done) const;
  void readGeneration(std::string name, std::function<void(std::expected<Session, Error>)> done) const;

  const Surroundings& surroundings() const { return surroundings_; }

 private:
  SessionGenerations generations() const;
  void keepGeneration(std::string bytes);
  void reportErrors() const;

  Surroundings surroundings_;
  SessionFile file_;
  Published<std::vector<Bookmark>> bookmarks_;
  Published<std::vector<std::string>> bookmarkFolders_;
  Published<std::vector<FoldedTabGroup>> folded_;
  std::shared_ptr<SitePermissions> permissions_;
  std::shared_ptr<Favicons> favicons_;
  std::shared_ptr<Downloads> downloads_;
  std::vector<SavedWindow> savedWindows_;
  std::optional<SavedWindow> savedClosedWindow_;
  std::optional<std::string> readError_;
  bool saves_;
  bool bookmarksInSession_;
  std::optional<std::string> sessionError_;
  std::optional<std::string> bookmarkError_;
  Published<std::optional<std::string>> bookmarkProblem_;
  SerialQueue persistenceQueue_;
  DeferredFile sessionWriter_;
  std::unique_ptr<DeferredFile> bookmarkWriter_;  ///< null when bookmarks cannot go to their own file
  std::shared_ptr<BrowserSession*> self_;
};

}  // namespace vale
