#pragma once

#include "common/Date.h"
#include "common/Queues.h"

#include <functional>
#include <memory>

namespace vale {

/// A piece of work that waits for its time. Destroying or cancelling it on the main thread means that it will
/// not run.
class Timer {
 public:
  struct State {
    std::function<void()> work;
    std::function<void()> stop;
  };

  Timer() = default;
  explicit Timer(std::shared_ptr<State> state) : state_(std::move(state)) {}
  ~Timer() { cancel(); }
  Timer(Timer&&) noexcept = default;
  Timer& operator=(Timer&& other) noexcept;

  /// Harmless when the work has run or was cancelled.
  void cancel();

  /// True while the work waits.
  bool pending() const { return state_ && state_->work; }

 private:
  std::shared_ptr<State> state_;
};

/// The only source of the time and of timers for models, so that tests turn the hands themselves. Main thread
/// only.
class Clock {
 public:
  virtual ~Clock() = default;

  virtual Date now() const = 0;

  /// Runs `work` once on the main thread, `delay` from now; never before this call returns.
  [[nodiscard]] virtual Timer schedule(Seconds delay, std::function<void()> work) = 0;
};

/// The real time. Timers wait in the worker pool and fire on the main queue, so that a main loop of any kind
/// will do.
class SystemClock : public Clock {
 public:
  SystemClock(MainQueue main, WorkerPool& workers) : main_(std::move(main)), workers_(workers) {}

  Date now() const override;
  Timer schedule(Seconds delay, std::function<void()> work) override;

 private:
  MainQueue main_;
  WorkerPool& workers_;
};

}  // namespace vale
