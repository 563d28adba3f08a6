#pragma once

#include "agents/CLIInstallations.h"
#include "agents/CheckpointLimits.h"
#include "agents/CheckpointObjects.h"
#include "agents/CheckpointRecords.h"
#include "agents/ProjectChanges.h"
#include "common/Error.h"
#include "common/SupportFolderLock.h"

#include <cstdint>
#include <expected>
#include <filesystem>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace vale {

/// The files of projects as they were before turns that may write, so that a turn can be undone. Kept in a
/// folder of Vale's own; the user's repositories are only read, and nothing that they name is run.
///
/// Kept are regular files and symbolic links (as links), with their permissions: in a git repository those
/// that git tracks or would offer to add, of which files equal to the last commit's are not copied; elsewhere
/// all. Not kept are files that git ignores, `.git`, submodules and nested repositories, pipes, sockets,
/// devices, what cannot be read, and files beyond the limits: each is said in a note.
///
/// All of it blocks on the disk and on short commands (git, diff): for a worker queue. Safe between programs.
/// A program killed at any moment leaves every file of the user as it was or as it should become, at worst
/// with a temporary file (".vale-undo-….tmp") beside one; a checkpoint that was not finished counts as none.
class CheckpointStore {
 public:
  /// In the support folder.
  static constexpr std::string_view folderName = "Checkpoints";

  /// `environment` is where git and diff are found (PATH) and whose git settings say what is ignored (HOME,
  /// XDG_CONFIG_HOME); nothing else of it is handed on.
  CheckpointStore(std::filesystem::path folder, EnvironmentVariables environment,
                  CheckpointLimits limits = {});

  /// Keeps the project's files, before the turn. `turn` names the checkpoint from then on; an earlier one of
  /// this name is replaced. The error says why the turn cannot be undone: too much to keep, a folder that is
  /// gone, a full disk. The turn may run all the same.
  std::expected<void, Error> take(const Uuid& turn, const std::filesystem::path& project);

  /// Records the files as they are at the turn's end, from which on changes are the user's. Once a turn;
  /// called again it does nothing. Throws Error.
  void seal(const Uuid& turn);

  /// What the turn did; of an undo, what it did. Throws Error when there is no sealed checkpoint of that
  /// name.
  ProjectChanges changes(const Uuid& turn);

  /// Puts files back as they were before the turn: those at `paths` (relative to the project, as `changes`
  /// gives them), or all when there are none given. A file that has changed since the turn's end is left
  /// alone, and so is one whose present content could not be kept for the way back. Throws Error when nothing
  /// could be begun.
  UndoResult undo(const Uuid& turn, const std::optional<std::vector<std::filesystem::path>>& paths = {});

  /// True when there is a checkpoint that `undo` can be called with.
  bool canUndo(const Uuid& turn) const;

  /// Forgets checkpoints, such as those of a deleted thread, with the undos of them. Their contents go with
  /// the next `prune`.
  void remove(const std::vector<Uuid>& turns);

  /// Forgets checkpoints older than the limit, then the oldest while all together are larger than it, and
  /// removes the contents that no checkpoint needs. Those of `running` turns stay, and so does what another
  /// program took within the last day and has not sealed. Throws Error.
  void prune(Date now, const std::set<Uuid>& running);

 private:
  SupportFolderLock lock() const;
  /// Throws Error when there is none.
  CheckpointRecord sealedRecord(const Uuid& turn) const;
  void compare(const RecordedChange& recorded, FileChange& change, std::int64_t room) const;
  CheckpointRecord wayBack(const CheckpointRecord& record) const;
  void recordUndo(CheckpointRecord record, const CheckpointRecord& back,
                  const std::set<std::string>& restored);
  std::set<std::string> contentsOf(const CheckpointRecord& record) const;

  std::filesystem::path folder_;
  EnvironmentVariables environment_;
  CheckpointLimits limits_;
  CheckpointRecords records_;
  CheckpointObjects objects_;
};

}  // namespace vale
