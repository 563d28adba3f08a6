#pragma once

#include "agents/CheckpointStore.h"
#include "common/Queues.h"

#include <memory>

namespace vale {

/// The checkpoints for asynchronous callers: every operation runs on a serial queue of its own, in the order
/// of the calls, and resumes the caller on its own executor. What an operation does and throws is said at
/// CheckpointStore. An operation under way ends even when the object is destroyed.
class ProjectCheckpoints {
 public:
  /// `workers` must outlive the object and the operations under way.
  ProjectCheckpoints(std::filesystem::path folder, EnvironmentVariables environment, WorkerPool& workers,
                     CheckpointLimits limits = {});

  /// None when the checkpoint was taken, else the sentence why the turn cannot be undone.
  Task<std::optional<std::string>> take(Uuid turn, std::filesystem::path project);
  /// None when it went well, else why the turn cannot be undone.
  Task<std::optional<std::string>> seal(Uuid turn);
  Task<ProjectChanges> changes(Uuid turn);
  Task<UndoResult> undo(Uuid turn, std::optional<std::vector<std::filesystem::path>> paths = {});
  Task<bool> canUndo(Uuid turn);
  /// Not awaited: what goes wrong is only logged.
  void remove(std::vector<Uuid> turns);
  void prune(Date now, std::set<Uuid> running);

 private:
  SerialQueue queue_;
  std::shared_ptr<CheckpointStore> store_;
};

}  // namespace vale
