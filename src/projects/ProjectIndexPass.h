#pragma once

#include "common/Queues.h"
#include "projects/ProjectIndex.h"

#include <memory>
#include <optional>

namespace vale {

/// One refresh of the project index, see ProjectIndex: finds the projects, reads what has changed since
/// `cache` (read from its file when it is empty) and writes what is no longer right. `cache` then holds what
/// is known now. Runs on the worker pool; two on one `cache` must follow each other. Throws Error.
Task<ProjectIndexRefresh> runProjectIndexPass(ProjectPlaces places,
                                              std::shared_ptr<std::optional<ProjectIndexCache>> cache,
                                              WorkerPool& workers);

}  // namespace vale
