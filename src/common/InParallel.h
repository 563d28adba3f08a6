#pragma once

#include "common/Queues.h"

#include <cstddef>
#include <functional>

namespace vale {

/// Calls `work` once with each number below `count`, about in order, on the calling thread and, when there
/// are `workers`, on as many of theirs as there are cores left. Returns when all calls have; throws what the
/// first failed one threw, the rest then being left out.
void inParallel(std::size_t count, WorkerPool* workers, const std::function<void(std::size_t)>& work);

}  // namespace vale
