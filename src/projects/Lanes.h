#pragma once

#include "common/Queues.h"

#include <cstddef>
#include <functional>

namespace vale {

/// Runs `work(0)` to `work(count - 1)` on the worker pool, in about this order and as many at once as there
/// are cores, and ends after the last. What one of them throws is thrown then, and no further ones are begun.
/// `work` is called on several threads.
Task<> inLanes(std::size_t count, std::function<Task<>(std::size_t)> work, WorkerPool& workers);

}  // namespace vale
