#pragma once

#include "agents/ProjectFileState.h"
#include "common/Uuid.h"

#include <cstddef>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vale {

/// One file as it was before a turn and at its end; none where there was no file.
struct RecordedChange {
  std::string path;
  std::optional<FileState> before;
  std::optional<FileState> after;
};
BOOST_DESCRIBE_STRUCT(RecordedChange, (), (path, before, after))

/// A checkpoint: made before a turn, sealed after it. An undo is one too, with before and after exchanged, so
/// that it can be undone in turn.
struct CheckpointRecord {
  static constexpr std::int64_t currentVersion = 1;

  std::int64_t version = currentVersion;
  Uuid id;
  std::string project;  ///< an absolute path; any bytes
  Date takenAt;
  std::optional<Date> sealedAt;
  std::optional<ProjectRepository> repository;
  std::vector<std::string> notes;
  std::vector<RecordedChange> changes;  ///< by path; empty until it is sealed
  std::vector<std::string> folders;     ///< that the turn made, for files that it added
  std::optional<Uuid> undoneBy;         ///< the checkpoint of the latest undo that stands
  std::optional<Uuid> undoOf;           ///< the checkpoint that this one is an undo of
};
BOOST_DESCRIBE_STRUCT(CheckpointRecord, (),
                      (version, id, project, takenAt, sealedAt, repository, notes, changes, folders, undoneBy,
                       undoOf))

/// The records in the store's folder: `UUID.json` for each checkpoint; `UUID.files.json`, the files of one
/// that is not sealed yet; `Projects/…json`, the files of a project when Vale saw it last. In the files, a
/// byte of a path that is not UTF-8, and "%", stand as "%" and two hexadecimal digits. Blocks on the disk.
class CheckpointRecords {
 public:
  /// A larger record is not read.
  static constexpr std::size_t largestRecord = 256 << 20;

  explicit CheckpointRecords(std::filesystem::path folder) : folder_(std::move(folder)) {}

  /// None when there is none, or none that can be read.
  std::optional<CheckpointRecord> read(const Uuid& id) const;
  std::optional<CheckpointFiles> readFiles(const Uuid& id) const;
  std::optional<CheckpointFiles> lastSeen(std::string_view project) const;

  /// Each throws FileError.
  void write(CheckpointRecord record) const;
  void writeFiles(const Uuid& id, CheckpointFiles files) const;
  void writeLastSeen(std::string_view project, CheckpointFiles files) const;

  void remove(const Uuid& id) const;
  void removeFiles(const Uuid& id) const;

  /// All checkpoints that have a record, one that cannot be read too.
  std::vector<Uuid> list() const;
  bool isWrittenBefore(const Uuid& id, Date date) const;

  /// Forgets the files of projects that were not seen since.
  void forgetProjects(Date notSeenSince) const;

 private:
  std::filesystem::path fileOf(const Uuid& id, std::string_view suffix) const;
  std::filesystem::path fileOf(std::string_view project) const;

  std::filesystem::path folder_;
};

}  // namespace vale
