#include "common/InParallel.h"

#include <algorithm>
#include <condition_variable>
#include <exception>
#include <memory>
#include <mutex>
#include <thread>

namespace vale {
namespace {

/// The calls of inParallel. Threads of the pool may come to it when all is done.
class SharedWork {
 public:
  SharedWork(std::size_t count, const std::function<void(std::size_t)>& work) : count_(count), work_(work) {}

  void run() {
    std::unique_lock guard(lock_);
    while (next_ < count_) {
      const std::size_t number = next_++;
      ++running_;
      guard.unlock();
      std::exception_ptr failure;
      try {
        work_(number);
      } catch (...) {
        failure = std::current_exception();
      }
      guard.lock();
      if (failure && !failure_) failure_ = failure;
      if (failure) next_ = count_;
      if (--running_ == 0) ended_.notify_all();
    }
  }

  void wait() {
    std::unique_lock guard(lock_);
    ended_.wait(guard, [this] { return running_ == 0; });
    if (failure_) std::rethrow_exception(failure_);
  }

 private:
  std::size_t count_;
  const std::function<void(std::size_t)>& work_;  ///< not touched once all numbers are taken
  std::mutex lock_;
  std::condition_variable ended_;
  std::size_t next_ = 0;
  std::size_t running_ = 0;
  std::exception_ptr failure_;
};

}  // namespace

void inParallel(std::size_t count, WorkerPool* workers, const std::function<void(std::size_t)>& work) {
  const auto shared = std::make_shared<SharedWork>(count, work);
  const std::size_t cores = std::max(2u, std::thread::hardware_concurrency());
  for (std::size_t i = 1; workers && i < std::min(cores, count); ++i) {
    workers->post([shared] { shared->run(); });
  }
  shared->run();
  shared->wait();
}

}  // namespace vale
