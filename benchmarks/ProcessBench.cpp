#include "benchmarks/Rows.h"
#include "benchmarks/Spawn.h"

#include <algorithm>

namespace vale::bench {
namespace {

/// Milliseconds from the start of a short command to its end, the median of many.
double wholeProcess(const std::filesystem::path& program) {
  constexpr std::size_t starts = 21;
  std::vector<double> seconds;
  for (std::size_t start = 0; start < starts; ++start) {
    int status = 0;
    seconds.push_back(secondsOf([&] { status = Spawned({program.string(), "--version"}).wait(); }));
    if (status != 0) throw Unmeasured(program.string() + " --version fails");
  }
  std::nth_element(seconds.begin(), seconds.begin() + starts / 2, seconds.end());
  return seconds[starts / 2] * 1000;
}

}  // namespace

void addProcessRows(Table& table) {
  table.add({.name = "valectl --version, whole process",
             .unit = "ms",
             .ours = [] { return wholeProcess(builtProgram("valectl")); },
             .peerName = "rg --version",
             .peer = [] { return wholeProcess(programOnPath("rg")); },
             .direction = Goal::atMost,
             .goal = 3});
}

}  // namespace vale::bench
