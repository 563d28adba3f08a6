#pragma once

#include <boost/asio/any_io_executor.hpp>
#include <boost/asio/awaitable.hpp>
#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>

#include <functional>
#include <list>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace vale {

namespace asio = boost::asio;

using Executor = asio::any_io_executor;

/// An asynchronous operation, run by `co_await` or `asio::co_spawn`. What it needs is passed as parameters: a
/// coroutine never captures.
template <typename T = void> using Task = asio::awaitable<T>;

/// The main executor: every model lives on it and every callback to a view arrives on it. Made on the thread
/// that runs it; handed to constructors, never looked up. Cheap to copy.
class MainQueue {
 public:
  explicit MainQueue(Executor executor)
      : executor_(std::move(executor)), thread_(std::this_thread::get_id()) {}

  /// Runs `work` later on the main thread, in order.
  template <typename Work> void post(Work&& work) const { asio::post(executor_, std::forward<Work>(work)); }

  const Executor& executor() const { return executor_; }

  /// True on the main thread.
  bool isCurrent() const { return std::this_thread::get_id() == thread_; }

 private:
  Executor executor_;
  std::thread::id thread_;
};

/// As many threads as there are cores, at least two, that run the serial queues and wait for pipes. Blocking
/// file work belongs here. Made before the main executor's context and everything that uses it, and hence
/// destroyed after them; `stop` comes first of all, so that no thread posts to what is gone.
class WorkerPool {
 public:
  WorkerPool();
  ~WorkerPool();
  WorkerPool(const WorkerPool&) = delete;
  WorkerPool& operator=(const WorkerPool&) = delete;

  /// Interrupts the threads that wait for children, lets running work end, leaves what is queued undone and
  /// joins every thread. Called from one thread; the destructor calls it too.
  void stop();

  asio::io_context& context() { return context_; }
  Executor executor() { return context_.get_executor(); }

  /// Starts a thread for work that waits on something other than a queue, a child's end. When the pool is
  /// destroyed first, `interrupt` is called (on the destroying thread) and must make `body` return soon; the
  /// queues still run then. Throws std::system_error when the system has no thread to give.
  void runThread(std::string name, std::function<void()> body, std::function<void()> interrupt);

  /// Runs `work` on any of the threads.
  template <typename Work> void post(Work&& work) { asio::post(context_, std::forward<Work>(work)); }

 private:
  asio::io_context context_;
  asio::executor_work_guard<asio::io_context::executor_type> guard_;
  std::vector<std::thread> threads_;

  struct Waiting {
    std::thread thread;
    std::function<void()> interrupt;
    bool done = false;
  };
  void joinEnded();

  std::mutex lock_;
  std::list<Waiting> waiting_;
};

/// Work that runs one piece at a time, in the order given, on the worker pool. The label names it in the
/// debugger and in logs.
class SerialQueue {
 public:
  SerialQueue(WorkerPool& pool, std::string label);

  template <typename Work> void post(Work&& work) const { asio::post(executor_, std::forward<Work>(work)); }

  const Executor& executor() const { return executor_; }
  const std::string& label() const { return label_; }

 private:
  Executor executor_;
  std::string label_;
};

}  // namespace vale
