#pragma once

#include <filesystem>
#include <string>
#include <sys/types.h>
#include <vector>

namespace vale::bench {

/// A program started with its output thrown away; ended and waited for, at the latest, when this goes.
class Spawned {
 public:
  /// `environment` is added to this process's own. Throws Unmeasured when the program cannot be started.
  explicit Spawned(const std::vector<std::string>& command, const std::vector<std::string>& environment = {});
  ~Spawned();
  Spawned(const Spawned&) = delete;
  Spawned& operator=(const Spawned&) = delete;

  pid_t pid() const { return pid_; }

  /// Waits for the end; the exit status, or 128 + the signal.
  int wait();

 private:
  pid_t pid_ = -1;
};

/// A program that was built beside this one.
std::filesystem::path builtProgram(const std::string& name);

/// Where `$PATH` has the program. Throws Unmeasured when it has none.
std::filesystem::path programOnPath(const std::string& name);

}  // namespace vale::bench
