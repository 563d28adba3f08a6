#include "common/Queues.h"

#include <boost/asio/strand.hpp>

#include <algorithm>
#include <pthread.h>

namespace vale {

WorkerPool::WorkerPool() : guard_(asio::make_work_guard(context_)) {
  const unsigned count = std::max(2u, std::thread::hardware_concurrency());
  for (unsigned i = 0; i < count; ++i) {
    threads_.emplace_back([this] { context_.run(); });
    pthread_setname_np(threads_.back().native_handle(), "Vale worker");
  }
}

WorkerPool::~WorkerPool() { stop(); }

void WorkerPool::stop() {
  // Interrupting one may start another (a child that must be ended), so this goes on until none is left.
  for (;;) {
    std::vector<std::function<void()>> interrupts;
    std::list<Waiting>::iterator first;
    std::thread joining;
    {
      std::lock_guard guard(lock_);
      if (waiting_.empty()) break;
      for (auto& entry : waiting_) {
        if (entry.interrupt) interrupts.push_back(std::exchange(entry.interrupt, nullptr));
      }
      first = waiting_.begin();
      if (interrupts.empty()) joining = std::move(first->thread);
    }
    for (const auto& interrupt : interrupts) interrupt();
    if (!joining.joinable()) continue;
    joining.join();
    std::lock_guard guard(lock_);
    waiting_.erase(first);
  }
  guard_.reset();
  context_.stop();
  for (auto& thread : threads_) thread.join();
  threads_.clear();
}

void WorkerPool::runThread(std::string name, std::function<void()> body, std::function<void()> interrupt) {
  joinEnded();
  std::lock_guard guard(lock_);
  auto& entry = waiting_.emplace_back();
  entry.interrupt = std::move(interrupt);
  try {
    entry.thread = std::thread([this, &entry, name = std::move(name), body = std::move(body)]() mutable {
      constexpr std::size_t longestName = 15;  // pthread_setname_np(3)
      pthread_setname_np(pthread_self(), name.substr(0, longestName).c_str());
      body();
      body = nullptr;
      std::lock_guard guard(lock_);
      entry.done = true;
      entry.interrupt = nullptr;
    });
  } catch (...) {
    waiting_.pop_back();
    throw;
  }
}

void WorkerPool::joinEnded() {
  std::list<Waiting> ended;
  {
    std::lock_guard guard(lock_);
    for (auto entry = waiting_.begin(); entry != waiting_.end();) {
      const auto next = std::next(entry);
      if (entry->done && entry->thread.joinable()) ended.splice(ended.end(), waiting_, entry);
      entry = next;
    }
  }
  for (auto& entry : ended) entry.thread.join();
}

SerialQueue::SerialQueue(WorkerPool& pool, std::string label)
    : executor_(asio::make_strand(pool.context())), label_(std::move(label)) {}

}  // namespace vale
