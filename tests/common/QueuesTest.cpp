#include "common/Clock.h"
#include "support/TestQueues.h"

#include <gmock/gmock.h>

#include <limits>
#include <span>

namespace vale {
namespace {

using testing::ElementsAre;

TEST(Clock, timersFireOnTheMainThreadInOrderOfTime) {
  test::TestQueues queues;
  SystemClock clock(queues.main, queues.workers);
  std::vector<int> fired;
  const auto note = [&](int name) {
    return [&, name] { fired.push_back(queues.main.isCurrent() ? name : -1); };
  };
  const Timer third = clock.schedule(Seconds(0.5), note(3));
  const Timer second = clock.schedule(Seconds(0.2), note(2));
  const Timer first = clock.schedule(Seconds(-5), note(1));
  const Timer forever = clock.schedule(Seconds(std::numeric_limits<double>::infinity()), note(0));
  EXPECT_TRUE(fired.empty());
  queues.runUntil([&] { return !third.pending(); });
  EXPECT_THAT(fired, ElementsAre(1, 2, 3));
  EXPECT_TRUE(forever.pending());
}

TEST(Clock, aCancelledTimerNeverFiresEvenWhenItIsAlreadyDue) {
  test::TestQueues queues;
  SystemClock clock(queues.main, queues.workers);
  int fired = 0;
  std::vector<Timer> timers;
  for (int i = 0; i < 200; ++i)
    timers.push_back(clock.schedule(Seconds(0.0001 * (i % 10)), [&] { ++fired; }));
  // The main loop stands still, so each of them is waiting, due, or already posted.
  for (auto& timer : std::span(timers).subspan(0, 100)) timer.cancel();
  timers.resize(100);  // destroying or replacing one cancels it too
  timers.front() = clock.schedule(Seconds(0), [&] { ++fired; });
  timers.front() = Timer();
  const Timer last = clock.schedule(Seconds(0.02), [] {});
  queues.runUntil([&] { return !last.pending(); });
  EXPECT_EQ(fired, 0);
}

TEST(Clock, aTimerMayOutliveThePoolAndMayDestroyItselfWhenItFires) {
  std::optional<Timer> left;
  {
    test::TestQueues queues;
    SystemClock clock(queues.main, queues.workers);
    left = clock.schedule(Seconds(3600), [] {});
    bool fired = false;
    std::optional<Timer> own;
    own = clock.schedule(Seconds(0), [&] {
      own.reset();
      fired = true;
    });
    queues.runUntil([&] { return fired; });
  }
  left->cancel();
  EXPECT_FALSE(left->pending());
}

}  // namespace
}  // namespace vale
