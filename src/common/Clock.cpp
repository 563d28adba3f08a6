#include "common/Clock.h"

#include <boost/asio/steady_timer.hpp>

#include <algorithm>

namespace vale {

Timer& Timer::operator=(Timer&& other) noexcept {
  if (this != &other) {
    cancel();
    state_ = std::move(other.state_);
  }
  return *this;
}

void Timer::cancel() {
  const auto state = std::move(state_);
  state_.reset();
  if (!state) return;
  state->work = nullptr;
  if (const auto stop = std::move(state->stop)) stop();
}

Date SystemClock::now() const {
  // To the precision of files, so that a record equals what is read back of it.
  return dateFromSecondsSince2001(secondsSince2001(std::chrono::system_clock::now()));
}

Timer SystemClock::schedule(Seconds delay, std::function<void()> work) {
  // The steady clock counts 292 years; a longer wait, or one that is not a number, must not wrap around.
  constexpr Seconds longest = std::chrono::years(100);
  if (!(delay < longest)) delay = longest;
  auto state = std::make_shared<Timer::State>();
  auto timer = std::make_shared<asio::steady_timer>(
      workers_.context(),
      std::chrono::duration_cast<std::chrono::steady_clock::duration>(std::max(delay, Seconds(0))));
  state->work = std::move(work);
  timer->async_wait([main = main_, state, timer](const boost::system::error_code& error) mutable {
    if (error) return;
    // `timer` stays alive until the main thread is done with it: `stop` below holds it only weakly.
    main.post([state = std::move(state), timer = std::move(timer)] {
      state->stop = nullptr;
      if (const auto due = std::exchange(state->work, nullptr)) due();
    });
  });
  // steady_timer is not safe across threads, but the context's queue is: the cancellation is posted to it.
  state->stop = [&workers = workers_, weak = std::weak_ptr(timer)] {
    if (auto waiting = weak.lock()) asio::post(workers.context(), [waiting] { waiting->cancel(); });
  };
  return Timer(std::move(state));
}

}  // namespace vale
