#include "projects/PlainFiles.h"

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace vale::PlainFiles {

std::optional<FileDescriptor> open(const std::filesystem::path& path, Owner owner) {
  FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY));
  struct stat status = {};
  if (!file || fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode)) return std::nullopt;
  if (owner == Owner::user && status.st_uid != geteuid()) return std::nullopt;
  return file;
}

std::optional<std::string> beginning(const std::filesystem::path& path, std::size_t limit, Owner owner) {
  const auto file = open(path, owner);
  return file ? std::optional(bytesAt(file->get(), 0, limit)) : std::nullopt;
}

std::string bytesAt(int descriptor, std::uint64_t offset, std::size_t size) {
  struct stat status = {};
  if (fstat(descriptor, &status) != 0 || std::uint64_t(status.st_size) <= offset) return {};
  std::string bytes;
  bytes.resize(std::min<std::uint64_t>(size, std::uint64_t(status.st_size) - offset));
  std::size_t got = 0;
  while (got < bytes.size()) {
    const auto more = pread(descriptor, bytes.data() + got, bytes.size() - got, off_t(offset + got));
    if (more < 0 && errno == EINTR) continue;
    if (more <= 0) break;
    got += std::size_t(more);
  }
  bytes.resize(got);
  return bytes;
}

bool belongsToUser(const std::filesystem::path& path) {
  struct stat status = {};
  return lstat(path.c_str(), &status) == 0 && status.st_uid == geteuid() &&
         (S_ISDIR(status.st_mode) || S_ISREG(status.st_mode));
}

std::string stamp(const std::filesystem::path& path) {
  struct stat status = {};
  if (lstat(path.c_str(), &status) != 0) return "-";
  return fmt::format("{}.{}.{}.{}.{}.{}", status.st_ino, status.st_size, status.st_mtim.tv_sec,
                     status.st_mtim.tv_nsec, status.st_ctim.tv_sec, status.st_ctim.tv_nsec);
}

}  // namespace vale::PlainFiles
