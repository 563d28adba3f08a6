#pragma once

#include "common/Queues.h"
#include "projects/GitFolder.h"
#include "projects/ProjectRecord.h"

#include <filesystem>
#include <vector>

/// A repository's latest commits, through the `git` command. A repository may be somebody's trap: git is told
/// to run nothing that it configures (hooks, monitors, signature checkers, helpers that fetch what is
/// missing), to take no configuration but its own, and to change nothing.
namespace vale::GitLog {

/// The newest first. None when there are none, git is not installed, the repository is broken, or git does
/// not answer in time.
Task<std::vector<ProjectCommit>> latest(GitFolder repository, std::vector<std::filesystem::path> programs,
                                        WorkerPool& workers);

}  // namespace vale::GitLog
