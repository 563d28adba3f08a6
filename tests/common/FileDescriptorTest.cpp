#include "common/FileDescriptor.h"

#include "support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <atomic>
#include <fcntl.h>
#include <fstream>
#include <pthread.h>
#include <signal.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

namespace vale {
namespace {

TEST(FileDescriptor, onlyRegularFilesWithinTheLimitAreRead) {
  const test::TemporaryFolder folder;
  const std::string big(200'001, 'x');
  std::ofstream(folder / "big") << big;
  std::ofstream(folder / "empty");
  ASSERT_EQ(mkfifo((folder / "pipe").c_str(), 0600), 0);
  for (const std::size_t limit : {unlimited, big.size()}) EXPECT_EQ(readFile(folder / "big", limit), big);
  EXPECT_EQ(readFile(folder / "empty", 0), "");
  const std::tuple<std::string, std::size_t, int> failures[] = {
      {"big", big.size() - 1, EFBIG},
      {"big", 0, EFBIG},
      {"missing", 0, ENOENT},
      {"big/below", 0, ENOTDIR},
      {".", 0, EISDIR},
      {"pipe", 0, EINVAL},
      {std::string("big\0x", 5), unlimited, EINVAL}};
  for (const auto& [name, limit, code] : failures) {
    const auto bytes = readFile(folder / name, limit);
    EXPECT_EQ(bytes ? 0 : bytes.error().code, code) << name << " " << limit;
  }
  EXPECT_EQ(readFile("/no\n/file").error().message, "Could not read “/no /file”: No such file or directory.");
  EXPECT_NE(readFile("/proc/self/status")->find("VmRSS"), std::string::npos);  // a file that says it is empty
}

std::atomic<int> interruptions;

}  // namespace
}  // namespace vale
