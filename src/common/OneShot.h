#pragma once

#include "common/Queues.h"

#include <boost/asio/async_result.hpp>
#include <boost/asio/use_awaitable.hpp>

#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <utility>

namespace vale {

/// One value on its way from a callback to the one coroutine that awaits it. Copies share the value; the
/// first `set` wins, from any thread, before or after the wait begins.
template <typename T> class OneShot {
 public:
  void set(T value) const {
    std::unique_lock guard(state_->lock);
    if (state_->value) return;
    state_->value.emplace(std::move(value));
    if (!state_->waiter) return;
    const auto waiter = std::exchange(state_->waiter, nullptr);
    guard.unlock();
    waiter();
  }

  /// Resumes on the coroutine's own executor. Call once.
  Task<T> wait() const {
    // A copy in this frame: the object itself may be gone when the value comes.
    const auto state = state_;
    co_await isSet(state);
    std::lock_guard guard(state->lock);
    co_return std::move(*state->value);
  }

 private:
  struct State {
    std::mutex lock;
    std::optional<T> value;
    std::function<void()> waiter;
  };

  /// Not a coroutine itself: GCC 12 destroys twice what a lambda inside a co_await expression has captured.
  static Task<void> isSet(const std::shared_ptr<State>& state) {
    return asio::async_initiate<const asio::use_awaitable_t<>&, void()>(
        [state](auto handler) {
          std::unique_lock guard(state->lock);
          if (!state->value) {
            state->waiter = [shared = std::make_shared<decltype(handler)>(std::move(handler))] {
              asio::post(asio::get_associated_executor(*shared), std::move(*shared));
            };
            return;
          }
          guard.unlock();
          const auto executor = asio::get_associated_executor(handler);
          asio::post(executor, std::move(handler));
        },
        asio::use_awaitable);
  }

  std::shared_ptr<State> state_ = std::make_shared<State>();
};

}  // namespace vale
