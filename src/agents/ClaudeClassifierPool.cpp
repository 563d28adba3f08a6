#include "agents/ClaudeClassifierPool.h"

namespace vale {
namespace {

constexpr Seconds terminationGrace{5.0};

}  // namespace

ClaudeClassifierPool::ClaudeClassifierPool(MainQueue main, WorkerPool& workers, Clock& clock,
                                           Seconds idleLimit)
    : main_(std::move(main)), workers_(workers), clock_(clock), idleLimit_(idleLimit),
      self_(std::make_shared<ClaudeClassifierPool*>(this)) {}

ClaudeClassifierPool::~ClaudeClassifierPool() { discard(); }

void ClaudeClassifierPool::prepare(const Shape& shape) {
  if (idle_ && idle_->shape == shape) return;
  discard();
  SerialQueue queue(workers_, "Vale.classifier");
  auto process = ChildProcess::launch({.executable = shape.executable,
                                       .arguments = shape.arguments,
                                       .directory = shape.directory,
                                       .environment = shape.environment,
                                       .label = "Vale.classifier.child"},
                                      queue.executor(), workers_);
  ++launchCount_;
  // One that ends by itself must not be handed out.
  process->attach(
      [](const LineBatch&) {},
      [main = main_, self = std::weak_ptr(self_), pid = process->pid()](const ChildProcess::Exit&) {
        main.post([self, pid] {
          const auto pool = self.lock();
          if (pool && (*pool)->idle_ && (*pool)->idle_->warm.process->pid() == pid) (*pool)->idle_.reset();
        });
      });
  idle_.emplace(Idle{.shape = shape,
                     .warm = {.process = std::move(process), .queue = std::move(queue)},
                     .expiry = clock_.schedule(idleLimit_, [this] { discard(); })});
}

std::optional<ClaudeClassifierPool::Warm> ClaudeClassifierPool::take(const Shape& shape) {
  if (!idle_ || !(idle_->shape == shape)) return std::nullopt;
  Warm warm = std::move(idle_->warm);
  idle_.reset();
  return warm;
}

void ClaudeClassifierPool::discard() {
  if (!idle_) return;
  // Moved out first: the timer may be what called.
  const auto process = std::move(idle_->warm.process);
  idle_.reset();
  process->terminate(terminationGrace);
}

}  // namespace vale
