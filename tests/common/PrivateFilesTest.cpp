#include "common/PrivateFiles.h"

#include "common/FileDescriptor.h"
#include "support/Census.h"
#include "support/TemporaryFolder.h"

#include <gmock/gmock.h>

#include <atomic>
#include <fcntl.h>
#include <fstream>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

namespace vale {
namespace {

namespace fs = std::filesystem;

mode_t modeOf(const fs::path& path) {
  struct stat status = {};
  return lstat(path.c_str(), &status) == 0 ? status.st_mode & 07777 : 0;
}

std::vector<std::string> namesIn(const fs::path& folder) {
  std::vector<std::string> names;
  for (const auto& entry : fs::directory_iterator(folder)) names.push_back(entry.path().filename());
  std::ranges::sort(names);
  return names;
}

/// Runs `work` under a lower limit of the system.
void withLimit(__rlimit_resource resource, rlim_t value, const std::function<void()>& work) {
  rlimit before = {};
  getrlimit(resource, &before);
  const rlimit lowered{value, before.rlim_max};
  setrlimit(resource, &lowered);
  work();
  setrlimit(resource, &before);
}

TEST(PrivateFiles, theFileAndTheFoldersMadeAreTheOwnersAloneUnderAnyUmask) {
  const test::TemporaryFolder folder;
  fs::permissions(folder.path(), fs::perms(0755));
  for (const mode_t mask : {0, 0777}) {
    const auto made = folder / ("made" + std::to_string(mask));
    const mode_t before = umask(mask);
    PrivateFiles::write("content", made / "below/file.json");
    PrivateFiles::makeFolder(made / "other/");
    umask(before);
    EXPECT_EQ(readFile(made / "below/file.json"), "content");
    EXPECT_EQ(modeOf(made / "below/file.json"), 0600u);
    for (const auto& each : {made, made / "below", made / "other"}) EXPECT_EQ(modeOf(each), 0700u) << each;
  }
  EXPECT_EQ(modeOf(folder.path()), 0755u);  // it was there before
}

TEST(PrivateFiles, aFailureNamesTheFileAndLeavesTheOldOneAndNothingElse) {
  const test::TemporaryFolder folder;
  std::ofstream(folder / "file") << "old";
  fs::create_directories(folder / "folder/inside");
  fs::create_symlink("nowhere", folder / "dangling");
  const auto names = namesIn(folder.path());
  const auto census = test::Census::take();
  const auto expectFailure = [&](const fs::path& path, int code) {
    try {
      PrivateFiles::write("new", path);
      ADD_FAILURE() << path << " was written";
    } catch (const FileError& error) {
      EXPECT_EQ(error.code, code) << path;
      EXPECT_EQ(error.path, path);
      EXPECT_THAT(error.message, testing::StartsWith("Could not write “"));
    }
    EXPECT_EQ(namesIn(folder.path()), names) << path;
    EXPECT_EQ(test::Census::take(), census) << path;
  };
  for (const auto* place : {"file/below", "file/deep/below", "dangling/below"})
    expectFailure(folder / place, ENOTDIR);
  for (const auto* place : {"folder", "folder/", "folder/.."}) expectFailure(folder / place, EISDIR);
  expectFailure(folder / std::string("file\0x", 6), EINVAL);
  expectFailure(folder / std::string(256, 'a'), ENAMETOOLONG);
  expectFailure("/proc/vale", ENOENT);
  signal(SIGXFSZ, SIG_IGN);
  withLimit(RLIMIT_FSIZE, 2, [&] { expectFailure(folder / "file", EFBIG); });  // as a full disk does
  const int lowest = FileDescriptor(::open("/dev/null", O_RDONLY | O_CLOEXEC)).get();
  // A descriptor for the folder, none for the file in it.
  withLimit(RLIMIT_NOFILE, rlim_t(lowest) + 1,
            [&] { EXPECT_THROW(PrivateFiles::write("", folder / "file"), FileError); });
  EXPECT_EQ(namesIn(folder.path()), names);
  EXPECT_EQ(readFile(folder / "file"), "old");
}

TEST(PrivateFiles, readersSeeOneWholeFileWhileWritersCompete) {
  const test::TemporaryFolder folder;
  const auto path = folder / "file";
  PrivateFiles::write(std::string(90'000, 'a'), path);
  std::atomic<int> writing = 2;
  std::vector<std::thread> writers;
  for (const char letter : {'a', 'b'}) {
    writers.emplace_back([&, letter] {
      for (int i = 0; i < 40; ++i)
        PrivateFiles::write(std::string(letter == 'a' ? 90'000 : 50'000, letter), path);
      --writing;
    });
  }
  while (writing > 0) {
    const auto bytes = readFile(path);
    ASSERT_TRUE(bytes);
    ASSERT_EQ(bytes->size(), bytes->front() == 'a' ? 90'000u : 50'000u);
    ASSERT_EQ(bytes->find_first_not_of(bytes->front()), std::string::npos);
  }
  for (auto& writer : writers) writer.join();
  EXPECT_THAT(namesIn(folder.path()), testing::ElementsAre("file"));
}

TEST(PrivateFiles, equalBytesStayInPlaceWithTheModePutRightAndLinksAreNotFollowed) {
  const test::TemporaryFolder folder;
  const auto path = folder / "file";
  EXPECT_TRUE(PrivateFiles::writeIfChanged("same", path));
  fs::create_hard_link(path, folder / "witness");
  fs::permissions(path, fs::perms(0644));
  EXPECT_FALSE(PrivateFiles::writeIfChanged("same", path));
  EXPECT_EQ(modeOf(path), 0600u);
  EXPECT_TRUE(fs::equivalent(path, folder / "witness"));
  for (const std::string bytes : {"sane", "same!", ""}) {
    EXPECT_TRUE(PrivateFiles::writeIfChanged(bytes, path));
    EXPECT_EQ(readFile(path), bytes);
  }
  for (const auto& link : {folder / "link", folder / "equal"}) fs::create_symlink("witness", link);
  PrivateFiles::write("new", folder / "link");
  EXPECT_TRUE(PrivateFiles::writeIfChanged("same", folder / "equal"));
  EXPECT_FALSE(fs::is_symlink(folder / "link") || fs::is_symlink(folder / "equal"));
  EXPECT_EQ(readFile(folder / "witness"), "same");
  EXPECT_EQ(namesIn(folder.path()).size(), 4u);
}

}  // namespace
}  // namespace vale
