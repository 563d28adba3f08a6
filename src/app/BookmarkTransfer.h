#pragma once

#include "browser/Bookmarks.h"
#include "common/Surroundings.h"

#include <filesystem>
#include <functional>
#include <memory>
#include <string>

namespace vale {

/// What came of an import or an export, as the user is told.
struct BookmarkTransferResult {
  std::string sentence;
  bool failed = false;
};

/// Brings bookmarks in from the files that browsers write, and out into one. Main thread; files are read and
/// written on a queue of its own. Nothing is kept beside the bookmarks themselves.
class BookmarkTransfer {
 public:
  using Done = std::function<void(BookmarkTransferResult)>;

  /// `bookmarks` must outlive the object.
  BookmarkTransfer(Bookmarks& bookmarks, Surroundings surroundings);
  BookmarkTransfer(const BookmarkTransfer&) = delete;
  BookmarkTransfer& operator=(const BookmarkTransfer&) = delete;

  /// `done` is called later, and not once the object is gone.
  void importFrom(const std::filesystem::path& file, Done done);
  void exportTo(const std::filesystem::path& file, Done done);

 private:
  BookmarkTransferResult take(const std::vector<ImportedBookmark>& found, const std::filesystem::path& file);

  Bookmarks& bookmarks_;
  Surroundings surroundings_;
  SerialQueue queue_;
  std::shared_ptr<BookmarkTransfer*> self_;
};

}  // namespace vale
