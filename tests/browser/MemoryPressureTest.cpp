#include "browser/LinuxMemoryPressure.h"

#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <vector>

namespace vale::test {
namespace {

using enum MemoryPressure;

TEST(MemoryPressureTest, isReadFromWhatTheKernelSays) {
  const std::string some = "some avg10=10.00 avg60=0.00 total=4711\nfull avg10=0.00 avg60=99.00\n";
  const std::string full = "some avg10=80.00 avg60=0.00\nfull avg10=10.00 avg60=0.00\n";
  const std::string enough = "MemTotal:  1000 kB\nMemFree:  1 kB\nMemAvailable:    100 kB\n";
  const std::string little = "MemTotal:  1000 kB\nMemAvailable:     99 kB\n";
  const std::string nothing = "MemTotal:  1000 kB\nMemAvailable:     39 kB\n";
  using Case = std::tuple<std::string, std::string, MemoryPressure>;
  for (const auto& [stall, amounts, expected] : {
           Case{"some avg10=9.99\nfull avg10=9.99\n", enough, normal},
           Case{some, enough, warning},
           Case{full, little, critical},
           Case{some, nothing, critical},
           // Kernels without one or the other, and files that are not what they should be.
           Case{"", little, warning},
           Case{some, "", warning},
           Case{"some avg10=99.00", "MemTotal: 100 kB\n", normal},
           Case{"some avg10=lots\nfull avg10=\n", "MemTotal: 0 kB\nMemAvailable: 0 kB\n", normal},
       }) {
    EXPECT_EQ(memoryPressure(parseMemoryStall(stall), parseMemoryAmounts(amounts)), expected) << stall;
  }
}

}  // namespace
}  // namespace vale::test
