#pragma once

#include "common/FileDescriptor.h"

#include <chrono>
#include <cstdint>
#include <sys/types.h>
#include <vector>

namespace vale {

/// One process, held so that a signal can never reach another that took over its number: by a pidfd
/// (pidfd_open(2)), or where the system gives none, by its start time.
class ProcessHandle {
 public:
  /// Holds the process if it still is the one that started at `startTime` (clock ticks since boot, as
  /// /proc/PID/stat has it); otherwise the handle is one of a process that has ended.
  ProcessHandle(pid_t pid, std::uint64_t startTime, pid_t group);

  pid_t pid() const { return pid_; }
  std::uint64_t startTime() const { return startTime_; }
  pid_t group() const { return group_; }
  /// Becomes readable when the process ends; -1 where there is none.
  int descriptor() const { return descriptor_.get(); }

  /// False once it has ended.
  bool isAlive() const;
  void signal(int number) const;

 private:
  pid_t pid_;
  std::uint64_t startTime_;
  pid_t group_;
  FileDescriptor descriptor_;
  bool found_ = false;
};

/// What a child process has started, read from /proc (proc(5)).
namespace ProcessTree {

/// Every living process that descends from `root`, and every member of the process group that `root` leads,
/// `root` itself left out. `root` must be a child of this process that has not been waited for, so that its
/// number is its own.
std::vector<ProcessHandle> startedBy(pid_t root);

/// Adds to `processes` the living descendants of those of them that still live.
void addDescendants(std::vector<ProcessHandle>& processes);

/// Waits until all of them have ended, at most until `deadline`; returns early when `interrupt` (an eventfd)
/// becomes readable. True when all have ended.
bool awaitEnd(const std::vector<ProcessHandle>& processes, std::chrono::steady_clock::time_point deadline,
              int interrupt);

}  // namespace ProcessTree

}  // namespace vale
