#include "support/ManualClock.h"

#include <algorithm>
#include <utility>

namespace vale::test {

ManualClock::ManualClock()
    : start_(std::chrono::sys_days(std::chrono::year(2026) / 1 / 1) + std::chrono::hours(12)) {}

Timer ManualClock::schedule(Seconds delay, std::function<void()> work) {
  auto state = std::make_shared<Timer::State>();
  state->work = std::move(work);
  entries_.push_back({passed_ + std::max(delay, Seconds(0)), state});
  return Timer(std::move(state));
}

void ManualClock::advance(Seconds span) {
  const Seconds end = passed_ + span;
  while (true) {
    std::erase_if(entries_, [](const Entry& entry) { return !entry.state->work; });
    const auto next = std::ranges::min_element(entries_, {}, &Entry::due);
    if (next == entries_.end() || next->due > end) break;
    passed_ = std::max(passed_, next->due);
    const auto state = next->state;
    std::exchange(state->work, nullptr)();
  }
  passed_ = end;
}

std::size_t ManualClock::pending() const {
  return std::size_t(
      std::ranges::count_if(entries_, [](const Entry& entry) { return bool(entry.state->work); }));
}

}  // namespace vale::test
