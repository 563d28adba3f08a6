#pragma once

#include "agents/ChildProcess.h"
#include "common/Clock.h"

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace vale {

/// Keeps one Claude Code process started and idle, so that the next classification is spared the CLI's
/// launch. Main thread only; a process that nobody takes is ended after `idleLimit`.
class ClaudeClassifierPool {
 public:
  /// What makes a process fit for a request: it must be equal in every field.
  struct Shape {
    std::filesystem::path executable;
    std::vector<std::string> arguments;
    std::filesystem::path directory;
    EnvironmentVariables environment;
    bool operator==(const Shape&) const = default;
  };
  /// A process and the queue that its callbacks run on.
  struct Warm {
    std::shared_ptr<ChildProcess> process;
    SerialQueue queue;
  };

  ClaudeClassifierPool(MainQueue main, WorkerPool& workers, Clock& clock, Seconds idleLimit = Seconds(600));
  ~ClaudeClassifierPool();

  /// Starts a process of this shape unless one is idle already; one of another shape is ended.
  /// Throws ChildProcessError.
  void prepare(const Shape& shape);

  /// The idle process when its shape is this one, for one request; otherwise none, and it stays.
  std::optional<Warm> take(const Shape& shape);

  /// Ends the idle process.
  void discard();

  bool hasIdle() const { return idle_.has_value(); }
  /// How many processes were started.
  int launchCount() const { return launchCount_; }

 private:
  struct Idle {
    Shape shape;
    Warm warm;
    Timer expiry;
  };

  MainQueue main_;
  WorkerPool& workers_;
  Clock& clock_;
  const Seconds idleLimit_;
  std::optional<Idle> idle_;
  int launchCount_ = 0;
  std::shared_ptr<ClaudeClassifierPool*> self_;
};

}  // namespace vale
