#pragma once

#include "browser/BookmarkPath.h"
#include "browser/BrowserSession.h"

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

namespace vale {

/// One folder of bookmarks, as lists show it.
struct BookmarkFolder {
  std::string path;
  std::size_t bookmarks = 0;  ///< directly in it

  bool operator==(const BookmarkFolder&) const = default;
};

/// A bookmark of another browser's file.
struct ImportedBookmark {
  std::string title;
  std::string url;
  std::string folder;  ///< below the bar where it was on it, else in that browser as a whole
  bool onBar = false;

  bool operator==(const ImportedBookmark&) const = default;
};

/// What became of an import.
struct BookmarkImportCount {
  std::size_t added = 0;
  std::size_t known = 0;     ///< their address was there already
  std::size_t unusable = 0;  ///< no address that can be opened, or no room

  bool operator==(const BookmarkImportCount&) const = default;
};

/// Whether what is in a folder goes with it.
enum class FolderContents { removed, movedUp };

/// The bookmarks of the session, and everything that is done to them. Folders come before the bookmarks
/// beside them. What cannot be done throws Error and changes nothing. The last removal can be undone until
/// the next one. Main thread only; the session writes them.
class Bookmarks {
 public:
  static constexpr std::size_t longestTitle = 500;          ///< characters
  static constexpr std::size_t longestAddress = 64 * 1024;  ///< bytes
  static constexpr std::size_t most = 100'000;
  static constexpr std::string_view barName = "Bookmarks Bar";
  static constexpr std::string_view importFolder = "Imported";

  /// `session` must outlive the object.
  explicit Bookmarks(BrowserSession& session);
  Bookmarks(const Bookmarks&) = delete;
  Bookmarks& operator=(const Bookmarks&) = delete;

  // -- Looking. Pointers are valid until the next change.

  const std::vector<Bookmark>& all() const { return session_.bookmarks().value(); }
  const Bookmark* find(const Uuid& id) const;
  /// The first one of an address that is the same page.
  const Bookmark* findAddress(std::string_view address) const;
  /// Every folder, each one followed by those in it.
  const std::vector<BookmarkFolder>& folders() const { return index().folders; }
  bool hasFolder(std::string_view path) const;
  std::vector<std::string> foldersIn(std::string_view parent) const;
  std::vector<const Bookmark*> in(const std::string& folder) const;
  std::size_t countWithin(std::string_view folder) const;
  /// Those with all the words of `text` in title, address or folder, in any case; at most `limit`.
  std::vector<const Bookmark*> search(std::string_view text, std::size_t limit) const;
  static std::string folderOf(const Bookmark& bookmark);
  /// False for what is no address of a page, such as a script: a file may hold anything.
  static bool canOpen(std::string_view address);
  const std::optional<std::string>& problem() const { return session_.bookmarkProblem().value(); }

  // -- Changing

  /// At the end of its folder, which is made where it is missing.
  Uuid add(std::string_view title, std::string_view address, std::string_view folder = {});
  /// Several at once, into a folder that is made for them; its path comes back.
  std::string addAll(const std::vector<std::pair<std::string, std::string>>& titlesAndAddresses,
                     std::string_view parent, std::string_view name);
  void edit(Uuid id, std::string_view title, std::string_view address, std::string_view folder);
  /// Into a folder, before another bookmark or at its end.
  void move(Uuid id, std::string_view folder, const std::optional<Uuid>& before = {});
  void remove(const std::vector<Uuid>& ids);

  std::string makeFolder(std::string_view parent, std::string_view name);
  std::string renameFolder(const std::string& path, std::string_view name);
  /// Into another folder, before one that is there or at its end.
  std::string moveFolder(const std::string& path, std::string_view parent,
                         const std::optional<std::string>& before = {});
  void removeFolder(const std::string& path, FolderContents contents);

  bool canUndo() const { return removal_.has_value(); }
  /// Brings the last removal back to where it was; false when there is none.
  bool undo();

  /// Puts what stood on the other browser's bar on the bar when that is empty; everything else goes below
  /// "Imported". Addresses that are bookmarked already are passed over.
  BookmarkImportCount add(const std::vector<ImportedBookmark>& imported);

  /// Fires after a change.
  Subscription onChange(std::function<void()> observer) {
    return Subscription(changed_.connect(std::move(observer)));
  }

 private:
  struct Index {
    std::vector<BookmarkFolder> folders;
    std::unordered_map<std::string, std::vector<std::size_t>> byFolder;
    std::unordered_map<std::string_view, std::size_t> byAddress;  ///< by what is in `keys_`
    std::unordered_map<Uuid, std::size_t> byId;
  };
  /// The whole list while it is changed; its folders are complete.
  struct Draft {
    std::vector<Bookmark> bookmarks;
    std::vector<std::string> folders;
  };
  struct Removal {
    std::vector<std::pair<std::size_t, Bookmark>> bookmarks;
    std::vector<std::pair<std::size_t, std::string>> folders;
    std::vector<std::pair<Uuid, std::string>> moved;  ///< with the folder that each one was in
    std::vector<std::string> made;
  };

  const Index& index() const;
  Draft draft() const;
  void commit(Draft draft);
  void rename(Draft& draft, const std::string& from, const std::string& to) const;
  void takeOut(Draft& draft, Removal& removal, auto isRemoved, auto isFolderRemoved);

  BrowserSession& session_;
  mutable std::optional<Index> index_;
  mutable std::unordered_map<std::string, std::string> keys_;  ///< of addresses: slow to make
  std::optional<Removal> removal_;
  bool committing_ = false;
  sigc::signal<void()> changed_;
  Subscription bookmarkChanges_, folderChanges_;
};

}  // namespace vale
