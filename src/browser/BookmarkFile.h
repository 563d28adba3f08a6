#pragma once

#include "browser/SavedSession.h"

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace vale {

/// The whole bookmark file.
struct BookmarkCollection {
  std::vector<Bookmark> bookmarks;
  std::optional<std::vector<std::string>> folders;  ///< the paths of folders, names joined by " › "

  bool operator==(const BookmarkCollection&) const = default;
};
BOOST_DESCRIBE_STRUCT(BookmarkCollection, (), (bookmarks, folders))

/// The file of the bookmarks. Blocks on the disk; safe on every thread.
struct BookmarkFile {
  std::filesystem::path url;

  /// True when there is something at the place, readable or not.
  bool exists() const;

  /// Throws Error when it cannot be read or is no collection.
  BookmarkCollection read() const;

  /// Throws FileError and leaves the old file.
  void write(const BookmarkCollection& collection) const;

  /// The file's bytes for a collection.
  static std::string bytes(const BookmarkCollection& collection);
};

}  // namespace vale
