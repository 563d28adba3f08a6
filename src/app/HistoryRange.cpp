#include "app/HistoryRange.h"

#include <algorithm>
#include <chrono>
#include <iterator>
#include <utility>

namespace vale {

Task<RemovedHistory> removeHistorySince(HistoryStore& store, Date since, Date now, LocalCalendar calendar) {
  RemovedHistory removed;
  const auto today = calendar.day(now);
  for (auto day = calendar.day(since); day <= today; day += std::chrono::days(1)) {
    auto some = co_await store.visits(day, calendar);
    std::ranges::move(some, std::back_inserter(removed.lines));
  }
  removed.removal = co_await store.removeVisitsSince(since, calendar);
  std::erase_if(removed.lines,
                [&](const HistoryVisit& visit) { return !removed.removal.ids.contains(visit.id); });
  co_return removed;
}

Task<std::int64_t> countHistorySince(HistoryStore& store, Date since, Date now, LocalCalendar calendar) {
  std::int64_t count = 0;
  const auto first = calendar.day(since);
  const auto days = co_await store.storedDays(calendar);
  for (const auto& day : days) {
    if (day.day > first && day.day <= calendar.day(now)) count += day.visitCount;
  }
  const auto visits = co_await store.visits(first, calendar);
  count += std::ranges::count_if(visits, [&](const HistoryVisit& visit) { return visit.visitedAt >= since; });
  co_return count;
}

}  // namespace vale
