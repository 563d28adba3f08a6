#pragma once

#include "common/Clock.h"
#include "common/Queues.h"

namespace vale {

/// What a model on the main thread works with. What it refers to must outlive the model.
struct Surroundings {
  MainQueue main;
  WorkerPool& workers;
  Clock& clock;
};

}  // namespace vale
