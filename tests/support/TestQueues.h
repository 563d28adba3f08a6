#pragma once

#include "common/Queues.h"

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/io_context.hpp>
#include <gtest/gtest.h>

#include <chrono>
#include <exception>
#include <functional>
#include <optional>

namespace vale::test {

/// A worker pool and a main loop that the test itself turns.
class TestQueues {
 public:
  ~TestQueues() { workers.stop(); }

  WorkerPool workers;
  asio::io_context context;
  MainQueue main{context.get_executor()};

  /// Turns the main loop until `condition` holds; the test fails when it does not within `limit`.
  void runUntil(const std::function<bool()>& condition, Seconds limit = Seconds(120)) {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    auto guard = asio::make_work_guard(context);
    context.restart();
    while (!condition()) {
      ASSERT_LT(std::chrono::steady_clock::now(), deadline) << "the awaited condition never came";
      context.run_one_for(std::chrono::milliseconds(20));
    }
  }

  /// Runs a coroutine on the main loop to its end; what it throws is thrown here.
  template <typename T> T run(Task<T> task) {
    std::optional<T> result;
    std::exception_ptr thrown;
    bool done = false;
    asio::co_spawn(context, std::move(task), [&](std::exception_ptr error, T value) {
      thrown = error;
      if (!error) result = std::move(value);
      done = true;
    });
    runUntil([&] { return done; });
    if (thrown) std::rethrow_exception(thrown);
    return std::move(result).value();
  }
};

}  // namespace vale::test
