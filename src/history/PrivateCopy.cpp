#include "history/PrivateCopy.h"

#include "common/FileDescriptor.h"
#include "history/HistoryShards.h"

#include <array>
#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <memory>
#include <string>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace vale {
namespace {

namespace fs = std::filesystem;

constexpr auto companions = std::to_array<const char*>({"", "-wal", "-journal"});
using Stamps = std::array<std::optional<Stamp>, companions.size()>;

fs::path beside(const fs::path& database, const char* companion) {
  fs::path path = database;
  return path += companion;
}

Stamps stampsOf(const fs::path& database) {
  Stamps stamps;
  for (std::size_t i = 0; i < companions.size(); ++i) stamps[i] = Stamp::of(beside(database, companions[i]));
  return stamps;
}

void copyFile(const fs::path& from, const fs::path& to, const std::atomic<bool>* cancelled) {
  const FileDescriptor source(::open(from.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
  struct stat status = {};
  if (!source || fstat(source.get(), &status) != 0) throw FileError("read", from, errno);
  if (!S_ISREG(status.st_mode)) throw FileError("read", from, EINVAL, "It is no regular file");
  const FileDescriptor target(::open(to.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600));
  if (!target) throw FileError("write", to, errno);
  constexpr std::size_t size = 1'024 * 1'024;
  const auto buffer = std::make_unique_for_overwrite<char[]>(size);
  while (!cancelled || !cancelled->load()) {
    const auto count = ::read(source.get(), buffer.get(), size);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) throw FileError("read", from, errno);
    if (count == 0) return;
    if (const int code = writeAll(target.get(), {buffer.get(), std::size_t(count)}); code != 0)
      throw FileError("copy", from, code);
  }
}

}  // namespace

PrivateCopy::PrivateCopy(const fs::path& database, const std::atomic<bool>* cancelled) {
  std::string pattern = (fs::temp_directory_path() / "vale-import-XXXXXX").string();
  if (!mkdtemp(pattern.data())) throw FileError("make", pattern, errno);
  folder_ = pattern;
  file_ = folder_ / "database";
  try {
    constexpr int attempts = 3;
    for (int attempt = 0; attempt < attempts; ++attempt) {
      const Stamps before = stampsOf(database);
      for (std::size_t i = 0; i < companions.size(); ++i) {
        const auto copy = beside(file_, companions[i]);
        fs::remove(copy);
        if (i == 0 || before[i]) copyFile(beside(database, companions[i]), copy, cancelled);
      }
      if (stampsOf(database) == before) break;
    }
  } catch (...) {
    std::error_code ignored;
    fs::remove_all(folder_, ignored);
    throw;
  }
}

PrivateCopy::~PrivateCopy() {
  std::error_code ignored;
  fs::remove_all(folder_, ignored);
}

}  // namespace vale
