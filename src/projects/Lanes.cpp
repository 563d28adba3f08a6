#include "projects/Lanes.h"

#include "common/OneShot.h"

#include <boost/asio/co_spawn.hpp>

#include <algorithm>
#include <atomic>
#include <exception>
#include <memory>
#include <mutex>
#include <thread>

namespace vale {
namespace {

struct Lanes {
  std::size_t count;
  std::function<Task<>(std::size_t)> work;
  std::atomic<std::size_t> next = 0;
  std::atomic<std::size_t> running = 0;
  std::mutex lock;
  std::exception_ptr failure;
  OneShot<bool> ended;
};

Task<> runLane(std::shared_ptr<Lanes> lanes) {
  for (auto i = lanes->next++; i < lanes->count; i = lanes->next++) co_await lanes->work(i);
}

}  // namespace

Task<> inLanes(std::size_t count, std::function<Task<>(std::size_t)> work, WorkerPool& workers) {
  if (count == 0) co_return;
  const auto lanes = std::make_shared<Lanes>(count, std::move(work));
  const std::size_t width =
      std::min<std::size_t>(count, std::clamp(std::thread::hardware_concurrency(), 2u, 8u));
  lanes->running = width;
  for (std::size_t i = 0; i < width; ++i) {
    asio::co_spawn(workers.executor(), runLane(lanes), [lanes](std::exception_ptr error) {
      if (error) {
        lanes->next = lanes->count;
        std::lock_guard guard(lanes->lock);
        if (!lanes->failure) lanes->failure = error;
      }
      if (--lanes->running == 0) lanes->ended.set(true);
    });
  }
  co_await lanes->ended.wait();
  if (lanes->failure) std::rethrow_exception(lanes->failure);
}

}  // namespace vale
