#include "app/gtk/MainLoopExecutor.h"

#include "app/gtk/Signal.h"

#include <chrono>
#include <iterator>

namespace vale::gtk {

namespace {

/// Half a frame: a flood of work must leave time for input and painting.
constexpr auto longestRun = std::chrono::milliseconds(8);

struct QueueSource {
  GSource base;
  std::function<void()>* run;
};

gboolean dispatch(GSource* source, GSourceFunc, gpointer) {
  (*reinterpret_cast<QueueSource*>(source)->run)();
  return G_SOURCE_CONTINUE;
}

void finalize(GSource* source) { delete reinterpret_cast<QueueSource*>(source)->run; }

GSourceFuncs functions = {nullptr, nullptr, dispatch, finalize, nullptr, nullptr};

}  // namespace

MainLoop::MainLoop(GMainContext* context) : source_(g_source_new(&functions, sizeof(QueueSource))) {
  reinterpret_cast<QueueSource*>(source_)->run = new std::function<void()>([this] { run(); });
  g_source_set_static_name(source_, "vale main queue");
  // After input, before layout and painting: what was posted shows in the next frame.
  g_source_set_priority(source_, G_PRIORITY_HIGH_IDLE);
  g_source_attach(source_, context);
}

MainLoop::~MainLoop() {
  g_source_destroy(source_);
  // Destroying work may post more, so it goes outside of the lock and until there is none.
  for (;;) {
    std::deque<Work> dropped;
    {
      std::lock_guard lock(mutex_);
      dropped.swap(queue_);
    }
    if (dropped.empty()) break;
  }
  shutdown();
  g_source_unref(source_);
}

void MainLoop::post(Work work) {
  std::lock_guard lock(mutex_);
  queue_.push_back(std::move(work));
  if (queue_.size() == 1) g_source_set_ready_time(source_, 0);
}

void MainLoop::run() {
  std::deque<Work> batch;
  {
    std::lock_guard lock(mutex_);
    g_source_set_ready_time(source_, -1);
    batch.swap(queue_);
  }
  const auto end = std::chrono::steady_clock::now() + longestRun;
  while (!batch.empty()) {
    Work work = std::move(batch.front());
    batch.pop_front();
    guardedCall("piece of work on the main queue", [&] { work(); });
    if (!batch.empty() && std::chrono::steady_clock::now() >= end) break;
  }
  if (batch.empty()) return;
  std::lock_guard lock(mutex_);
  queue_.insert(queue_.begin(), std::make_move_iterator(batch.begin()), std::make_move_iterator(batch.end()));
  g_source_set_ready_time(source_, 0);
}

}  // namespace vale::gtk
