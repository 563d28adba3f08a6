#pragma once

#include "common/Date.h"
#include "common/RawValues.h"
#include "common/Uuid.h"

#include <boost/describe.hpp>

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace vale {

/// How one file differs before and after a turn. A renamed file is one deleted and one added.
enum class FileChangeKind {
  added,
  modified,
  deleted,
  modeChanged,  ///< only its permissions, such as made executable
  typeChanged,  ///< a file where a symbolic link was, or the other way round
};
template <>
inline constexpr auto rawValues<FileChangeKind> =
    std::to_array<RawValue<FileChangeKind>>({{FileChangeKind::added, "added"},
                                             {FileChangeKind::modified, "modified"},
                                             {FileChangeKind::deleted, "deleted"},
                                             {FileChangeKind::modeChanged, "modeChanged"},
                                             {FileChangeKind::typeChanged, "typeChanged"}});

/// One file that a turn changed.
struct FileChange {
  std::filesystem::path path;  ///< relative to the project; any bytes
  FileChangeKind kind = FileChangeKind::modified;
  bool binary = false;
  /// A unified diff in UTF-8 from "--- " on; none for a binary file, where only permissions changed, and
  /// where there was too much to compare.
  std::optional<std::string> diff;
  bool diffCut = false;                   ///< the diff's end is left out
  std::optional<std::int64_t> additions;  ///< lines; none where they are not known
  std::optional<std::int64_t> deletions;
  std::optional<std::string> obstacle;  ///< why undo cannot put the file back, a sentence

  bool operator==(const FileChange&) const = default;
};
BOOST_DESCRIBE_STRUCT(FileChange, (), (path, kind, binary, diff, diffCut, additions, deletions, obstacle))

/// What a turn did to its project's files, as they were at its end.
struct ProjectChanges {
  std::vector<FileChange> files;   ///< by path
  std::vector<std::string> notes;  ///< sentences: what was not kept, commits that stay
  /// What takes the latest undo of this turn back: a checkpoint to call `undo` with. None when nothing was
  /// undone.
  std::optional<Uuid> undoneBy;

  bool operator==(const ProjectChanges&) const = default;
};
BOOST_DESCRIBE_STRUCT(ProjectChanges, (), (files, notes, undoneBy))

/// A file that undo left as it is.
struct UndoRefusal {
  std::filesystem::path path;
  std::string reason;  ///< a sentence that names the file

  bool operator==(const UndoRefusal&) const = default;
};
BOOST_DESCRIBE_STRUCT(UndoRefusal, (), (path, reason))

struct UndoResult {
  std::vector<std::filesystem::path> restored;  ///< put back, or already as they were before the turn
  std::vector<UndoRefusal> refused;
  /// The checkpoint that undoes this undo; none when nothing was put back.
  std::optional<Uuid> redo;

  bool operator==(const UndoResult&) const = default;
};
BOOST_DESCRIBE_STRUCT(UndoResult, (), (restored, refused, redo))

}  // namespace vale
