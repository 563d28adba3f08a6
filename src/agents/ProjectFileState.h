#pragma once

#include "common/Date.h"
#include "common/Json.h"
#include "common/RawValues.h"

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace vale {

enum class FileKind {
  file,
  link,   ///< a symbolic link; its content is where it points to
  other,  ///< a pipe, a socket, a device: never kept
};
template <>
inline constexpr auto rawValues<FileKind> = std::to_array<RawValue<FileKind>>({{FileKind::file, "file"},
                                                                               {FileKind::link, "link"},
                                                                               {FileKind::other, "other"}});

/// A file as Vale saw it.
struct FileState {
  FileKind kind = FileKind::file;
  std::int64_t mode = 0;  ///< permission bits
  std::int64_t size = 0;  ///< bytes
  /// Where its content is kept: "sha256:…" in Vale's own store, "git:…" in the project's repository. None
  /// when it is not kept.
  std::optional<std::string> content;
  std::int64_t device = 0;
  std::int64_t inode = 0;
  std::int64_t modified = 0;  ///< nanoseconds since 1970
  std::int64_t changed = 0;   ///< the same, of the inode

  /// The same file, not written since, as far as the system tells.
  bool isUntouched(const FileState& later) const;
  /// The same for the user: kind, permissions and content, which both must know.
  bool isSame(const FileState& other) const;

  bool operator==(const FileState&) const = default;
};
BOOST_DESCRIBE_STRUCT(FileState, (), (kind, mode, size, content, device, inode, modified, changed))

/// The repository that a project's files were compared with.
struct ProjectRepository {
  std::string objects;              ///< its folder of objects; any bytes
  std::string objectFormat;         ///< "sha1" or "sha256"
  std::optional<std::string> head;  ///< the commit
  std::string prefix;               ///< of the project inside it: empty, or a path that ends in "/"

  bool operator==(const ProjectRepository&) const = default;
};
BOOST_DESCRIBE_STRUCT(ProjectRepository, (), (objects, objectFormat, head, prefix))

/// All files of a project by their paths relative to it.
struct CheckpointFiles {
  std::optional<ProjectRepository> repository;
  std::int64_t seenAt = 0;  ///< when the look at them began, nanoseconds since 1970
  std::map<std::string, FileState> files;
  std::map<std::string, std::int64_t> folders;  ///< that the files are in, with their inodes
  std::vector<std::string> notes;               ///< what was left out, sentences
};
BOOST_DESCRIBE_STRUCT(CheckpointFiles, (), (repository, seenAt, files, folders, notes))

}  // namespace vale
