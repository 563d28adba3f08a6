#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <string>
#include <sys/types.h>
#include <vector>

/// Browsers that are started to be measured, and what the system tells of their processes.
namespace vale::bench {

/// A home for a browser that no user of this machine knows; its caches are filled by the first start.
class Home {
 public:
  /// Throws Unmeasured when there is no place for it.
  Home();
  ~Home();
  Home(const Home&) = delete;
  Home& operator=(const Home&) = delete;

  std::filesystem::path support() const { return folder_ / "support"; }

  /// Without a session bus, over which the page would go to a browser that runs already.
  std::vector<std::string> environment() const;

 private:
  std::filesystem::path folder_;
};

/// The engine's own small browser. Throws Unmeasured when it is not installed.
std::filesystem::path engineBrowser();

struct Process {
  pid_t pid = 0;
  std::string name;  ///< the system keeps 15 letters
};

/// A process and all that descend from it.
std::vector<Process> processTree(pid_t root);

/// The memory of a process and its descendants in MiB, what they share counted once between them (the
/// proportional set size, proc(5)).
double memoryOf(pid_t root);

/// By thread of a process, how often it has woken up from waiting since it began.
std::map<std::string, std::uint64_t> wakeUpsOf(pid_t process);

}  // namespace vale::bench
