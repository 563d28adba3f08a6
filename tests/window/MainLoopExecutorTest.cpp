#include "app/gtk/MainLoopExecutor.h"

#include "common/Clock.h"
#include "common/Error.h"
#include "common/Queues.h"

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <functional>
#include <memory>
#include <stdexcept>
#include <thread>
#include <vector>

namespace vale::gtk {
namespace {

/// A main loop of the test's own, run by the test's thread.
struct Fixture : testing::Test {
  std::unique_ptr<GMainContext, decltype(&g_main_context_unref)> context{g_main_context_new(),
                                                                         g_main_context_unref};
  MainLoop loop{context.get()};
  MainQueue main{Executor(MainLoopExecutor(loop))};

  void runUntil(const std::function<bool()>& condition) {
    while (!condition()) g_main_context_iteration(context.get(), TRUE);
  }
};

using MainLoopExecutorTest = Fixture;

TEST_F(MainLoopExecutorTest, keepsTheOrderOfEachThreadsPosts) {
  constexpr int threads = 4;
  constexpr int posts = 20'000;
  std::vector<std::vector<int>> seen(threads);
  int count = 0;
  std::vector<std::jthread> posting;
  for (int t = 0; t < threads; ++t) {
    posting.emplace_back([&, t] {
      for (int i = 0; i < posts; ++i) {
        main.post([&, t, i] {
          seen[t].push_back(i);
          ++count;
        });
      }
    });
  }
  runUntil([&] { return count == threads * posts; });
  for (const auto& order : seen) EXPECT_TRUE(std::ranges::is_sorted(order));
}

Task<int> onWorker(Executor executor, std::thread::id main) {
  co_await asio::post(executor, asio::use_awaitable);
  // The coroutine goes on where it was spawned; only the work posted above ran on the worker.
  EXPECT_EQ(std::this_thread::get_id(), main);
  co_return 42;
}

Task<std::thread::id> threadOfWorker() { co_return std::this_thread::get_id(); }

Task<> hop(Executor worker, MainQueue main, int& result) {
  EXPECT_TRUE(main.isCurrent());
  const auto elsewhere = co_await asio::co_spawn(worker, threadOfWorker(), asio::use_awaitable);
  EXPECT_NE(elsewhere, std::this_thread::get_id());
  EXPECT_TRUE(main.isCurrent());
  result = co_await onWorker(worker, std::this_thread::get_id());
  throw Error("This ends the coroutine.");
}

TEST_F(MainLoopExecutorTest, coroutinesComeBackFromWorkersToTheMainThread) {
  WorkerPool workers;
  int result = 0;
  std::string message;
  asio::co_spawn(main.executor(), hop(workers.executor(), main, result), [&](std::exception_ptr error) {
    EXPECT_TRUE(main.isCurrent());
    try {
      std::rethrow_exception(error);
    } catch (const Error& caught) {
      message = caught.message;
    }
  });
  runUntil([&] { return !message.empty(); });
  EXPECT_EQ(result, 42);
}

Task<> forever(Executor worker, std::shared_ptr<int> held) {
  for (;;) {
    co_await asio::post(worker, asio::use_awaitable);
    ++*held;
  }
}

TEST(MainLoop, anEndingLoopDropsWaitingWorkAndWhatItHolds) {
  std::unique_ptr<GMainContext, decltype(&g_main_context_unref)> context{g_main_context_new(),
                                                                         g_main_context_unref};
  const auto held = std::make_shared<int>();
  {
    WorkerPool workers;
    MainLoop loop(context.get());
    const MainQueue main{Executor(MainLoopExecutor(loop))};
    main.post([held] { ADD_FAILURE() << "ran after the end"; });
    asio::co_spawn(main.executor(), forever(main.executor(), held), asio::detached);
  }
  EXPECT_EQ(held.use_count(), 1);
}

}  // namespace
}  // namespace vale::gtk
