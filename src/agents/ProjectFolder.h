#pragma once

#include "agents/ProjectFileState.h"
#include "common/FileDescriptor.h"

#include <cstddef>
#include <expected>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace vale {

/// A file as the system has it at one moment.
struct FoundFile {
  FileState state;
  bool isFolder = false;
  std::int64_t owner = 0;
  std::int64_t group = 0;
  std::optional<std::int64_t> born;  ///< nanoseconds since 1970; none where the file system does not tell
};

/// The files below an open folder, by relative paths of any bytes. No symbolic link on the way is followed,
/// so that nothing outside of the folder is ever read or written. Errors are errno values; a path that leaves
/// the folder, or goes into `.git`, is EINVAL. For one thread.
class ProjectFolder {
 public:
  /// Throws FileError.
  explicit ProjectFolder(const std::filesystem::path& path);

  /// True for a relative path without "", ".", ".." and ".git" in it.
  static bool isInside(std::string_view path);

  /// The folder that a path's last name is in, open until the next call. ENOENT, ENOTDIR or ELOOP when it is
  /// not there.
  std::expected<int, int> parent(std::string_view path);
  /// The same, with missing folders made.
  std::expected<int, int> makeParent(std::string_view path);

  std::expected<FoundFile, int> find(std::string_view path);

  /// The content of a regular file of at most `limit` bytes, or where a link points to, and the file as it
  /// was while it was read. EBUSY when it kept changing, EFBIG when it is larger.
  struct Content {
    FoundFile file;
    std::string bytes;
  };
  std::expected<Content, int> read(std::string_view path, std::size_t limit);

  /// Removes a folder if it is empty.
  void removeEmpty(std::string_view folder);

  /// Calls `file` with the path of everything that is no folder, and `skipped` with folders that are not gone
  /// into; `file` returns false to stop. The folder itself is not taken for a nested repository.
  enum class Skipped { repository, unreadable };
  void walk(const std::function<bool(std::string path)>& file,
            const std::function<void(std::string path, Skipped why)>& skipped) const;

  static std::string_view nameOf(std::string_view path);
  /// The path without its last name; empty for a name alone.
  static std::string_view folderOf(std::string_view path);
  static std::expected<FoundFile, int> findIn(int folder, const std::string& name);

 private:
  enum class Missing { fail, make };
  std::expected<int, int> open(std::string_view folder, Missing missing);

  FileDescriptor root_;
  std::string openPath_;
  FileDescriptor open_;
};

}  // namespace vale
