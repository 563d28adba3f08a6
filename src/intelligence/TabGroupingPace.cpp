#include "intelligence/TabGroupingPace.h"

#include <algorithm>

namespace vale {
namespace {

/// What is left of a span that began then. A clock that was set back does not make it longer.
Seconds remaining(const std::optional<Date>& begin, Seconds span, Date now) {
  if (!begin || *begin > now) return Seconds(0);
  return std::max(Seconds(0), span - std::chrono::duration_cast<Seconds>(now - *begin));
}

}  // namespace

void TabGroupingPace::succeeded() {
  backoff_ = firstBackoff;
  failing_ = false;
  pausedUntil_.reset();
}

void TabGroupingPace::failed(Date now) {
  pausedUntil_ = now + backoff_;
  failing_ = backoff_ < longestBackoff;
  backoff_ = std::min(2 * backoff_, longestBackoff);
}

void TabGroupingPace::cancelled(Date now) { pausedUntil_ = now + firstBackoff; }

Seconds TabGroupingPace::pause(Date now) const {
  if (!pausedUntil_) return Seconds(0);
  const auto left = std::chrono::duration_cast<Seconds>(*pausedUntil_ - now);
  // Longer than any pause: the clock was set back.
  return left > longestBackoff ? Seconds(0) : std::max(Seconds(0), left);
}

Seconds TabGroupingPace::waitForStartPage(Date now) const {
  return std::max({pause(now), remaining(lastChange_, settling, now), remaining(lastEnd_, rest, now)});
}

std::optional<Seconds> TabGroupingPace::waitForIdle(Date now, Seconds sinceInput) const {
  const bool sameIdleTime = lastIdlePass_ && now - sinceInput <= *lastIdlePass_;
  if (sameIdleTime && !failing_) return std::nullopt;
  // Never so short that a clock's rounding makes a busy loop.
  constexpr Seconds shortest{1};
  const Seconds input =
      sinceInput < idleInterval ? std::max(shortest, idleInterval - sinceInput) : Seconds(0);
  return std::max(waitForStartPage(now), input);
}

}  // namespace vale
