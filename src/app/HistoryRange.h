#pragma once

#include "history/HistoryStore.h"

#include <cstdint>
#include <vector>

namespace vale {

/// What went, and the lines to bring it back with.
struct RemovedHistory {
  HistoryRemoval removal;
  std::vector<HistoryVisit> lines;
};

/// Removes the visits from `since` up to `now`.
Task<RemovedHistory> removeHistorySince(HistoryStore& store, Date since, Date now, LocalCalendar calendar);

/// How many there are.
Task<std::int64_t> countHistorySince(HistoryStore& store, Date since, Date now, LocalCalendar calendar);

}  // namespace vale
