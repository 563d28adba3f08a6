#pragma once

#include "common/Date.h"

#include <cstdint>

namespace vale {

/// Up to where a project's files are kept for undo.
struct CheckpointLimits {
  std::int64_t listedFiles = 200'000;        ///< files of the project; more, and there is no checkpoint
  std::int64_t copiedFiles = 20'000;         ///< of which copies are needed; likewise
  std::int64_t copiedBytes = 200'000'000;    ///< likewise
  std::int64_t largestFile = 50'000'000;     ///< bytes; a larger one is not kept, the others are
  Seconds takingTime{60};                    ///< for one look at a project
  Seconds commandTime{30};                   ///< for one command of git
  std::int64_t storedBytes = 2'000'000'000;  ///< of all checkpoints together
  Seconds storedTime{30.0 * 24 * 60 * 60};   ///< how long a checkpoint is kept
  std::int64_t comparedBytes = 1'000'000;    ///< of a larger file there is no diff
  std::int64_t diffBytes = 200'000;          ///< of one file's diff; the rest is cut
  std::int64_t allDiffsBytes = 4'000'000;    ///< of one turn's diffs together; further files have none
  std::int64_t comparedFiles = 500;          ///< of one turn; further files have no diff
};

}  // namespace vale
