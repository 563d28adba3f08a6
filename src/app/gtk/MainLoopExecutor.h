#pragma once

#include <boost/asio/execution.hpp>
#include <boost/asio/execution_context.hpp>

#include <deque>
#include <functional>
#include <glib.h>
#include <mutex>
#include <utility>

namespace vale::gtk {

/// Work for a GLib main loop, run in the order posted between the loop's other sources. Errors that leave a
/// piece of work go to the log. Made and destroyed on the loop's thread; work that has not run by then is
/// dropped.
class MainLoop : public boost::asio::execution_context {
 public:
  using Work = std::move_only_function<void()>;

  /// With no context, GLib's default one.
  explicit MainLoop(GMainContext* context = nullptr);
  ~MainLoop();

  /// On any thread; never runs `work` before it returns.
  void post(Work work);

 private:
  void run();

  std::mutex mutex_;
  std::deque<Work> queue_;
  GSource* source_;
};

/// The Asio executor of a MainLoop, which must outlive it.
class MainLoopExecutor {
 public:
  explicit MainLoopExecutor(MainLoop& loop) noexcept : loop_(&loop) {}

  template <typename Function> void execute(Function&& function) const {
    loop_->post(MainLoop::Work(std::forward<Function>(function)));
  }

  boost::asio::execution_context& query(boost::asio::execution::context_t) const noexcept { return *loop_; }
  static constexpr boost::asio::execution::blocking_t query(boost::asio::execution::blocking_t) noexcept {
    return boost::asio::execution::blocking.never;
  }
  MainLoopExecutor require(boost::asio::execution::blocking_t::never_t) const noexcept { return *this; }

  bool operator==(const MainLoopExecutor&) const noexcept = default;

 private:
  MainLoop* loop_;
};

}  // namespace vale::gtk
