#pragma once

#include "common/Clock.h"

#include <cstddef>
#include <functional>
#include <memory>
#include <vector>

namespace vale::test {

/// A clock whose hands the test turns. Starts at 2026-01-01 12:00:00 UTC. Use it on one thread.
class ManualClock : public Clock {
 public:
  ManualClock();

  Date now() const override { return start_ + passed_; }
  Timer schedule(Seconds delay, std::function<void()> work) override;

  /// Lets time pass: runs, on this thread, what falls due in order of time (first scheduled first), including
  /// what that work schedules itself. `now` is each timer's own time while it runs.
  void advance(Seconds span);

  /// Sets the time of day without any time passing, as a user does: no timer runs earlier or later for it.
  void setNow(Date now) { start_ = now - passed_; }

  /// How many timers wait.
  std::size_t pending() const;

 private:
  struct Entry {
    Seconds due;
    std::shared_ptr<Timer::State> state;
  };

  Date start_;
  Seconds passed_{0};
  std::vector<Entry> entries_;
};

}  // namespace vale::test
