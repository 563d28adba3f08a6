#pragma once

#include "browser/MemoryPressure.h"
#include "common/Clock.h"
#include "common/Queues.h"

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string_view>

namespace vale {

/// How much of the last ten seconds was lost waiting for memory, in percent: by at least one task, and by all
/// at once. https://docs.kernel.org/accounting/psi.html
struct MemoryStall {
  double some = 0;
  double full = 0;

  bool operator==(const MemoryStall&) const = default;
};

/// What the machine has, and what it could give to programs without swapping, in kilobytes.
struct MemoryAmounts {
  std::uint64_t total = 0;
  std::uint64_t available = 0;

  bool operator==(const MemoryAmounts&) const = default;
};

/// The content of /proc/pressure/memory; none when it is of another form, as on kernels without it.
std::optional<MemoryStall> parseMemoryStall(std::string_view text);

/// The content of /proc/meminfo; none when it lacks one of the two.
std::optional<MemoryAmounts> parseMemoryAmounts(std::string_view text);

/// A warning from 10 % stalls of any task on, or with less than 10 % of the memory available; critical from
/// 10 % stalls of all tasks on, or with less than 4 % available. What is not known counts as normal.
MemoryPressure memoryPressure(const std::optional<MemoryStall>& stall,
                              const std::optional<MemoryAmounts>& amounts);

/// Where the kernel tells of memory.
struct MemoryFiles {
  std::filesystem::path stall = "/proc/pressure/memory";
  std::filesystem::path amounts = "/proc/meminfo";
};

/// The pressure that the kernel reports, read on a worker every ten seconds and published on the main thread.
class LinuxMemoryPressure : public MemoryPressureSource {
 public:
  static constexpr Seconds interval{10};

  /// `workers` and `clock` must outlive the source.
  LinuxMemoryPressure(MainQueue main, WorkerPool& workers, Clock& clock, MemoryFiles files = {});

 private:
  void read();

  MainQueue main_;
  WorkerPool& workers_;
  Clock& clock_;
  MemoryFiles files_;
  Timer next_;
  std::shared_ptr<LinuxMemoryPressure*> self_;
};

}  // namespace vale
