#include "common/FileDescriptor.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace vale {

void FileDescriptor::reset(int descriptor) noexcept {
  const int before = errno;
  close();
  descriptor_ = descriptor;
  errno = before;
}

int FileDescriptor::close() noexcept {
  if (descriptor_ < 0) return 0;
  // Linux has closed it even where it reports an interruption; a second attempt could close somebody else's.
  return ::close(release()) == 0 || errno == EINTR ? 0 : errno;
}

std::expected<std::string, int> readAll(int descriptor, std::size_t limit) {
  constexpr std::size_t step = 64 * 1024;
  struct stat status = {};
  const bool sized = fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode) && status.st_size > 0;
  // One byte more than expected, so that the end shows without another allocation.
  std::size_t room = (sized ? std::size_t(status.st_size) : step) + 1;
  std::string bytes;
  while (true) {
    if (limit != unlimited) room = std::min(room, limit + 1);
    ssize_t got = 0;
    const std::size_t used = bytes.size();
    bytes.resize_and_overwrite(room, [&](char* data, std::size_t size) {
      got = ::read(descriptor, data + used, size - used);
      return got > 0 ? used + std::size_t(got) : used;
    });
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) return std::unexpected(errno);
    if (got == 0) return bytes;
    if (bytes.size() > limit) return std::unexpected(EFBIG);
    if (bytes.size() == room) room = std::max(bytes.capacity(), room + std::max(step, room));
  }
}

int writeAll(int descriptor, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t written = ::write(descriptor, bytes.data(), bytes.size());
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) return errno;
    if (written == 0) return EIO;
    bytes.remove_prefix(std::size_t(written));
  }
  return 0;
}

std::expected<std::string, FileError> readFile(const std::filesystem::path& path, std::size_t limit) {
  const auto failed = [&path](int code) { return std::unexpected(FileError("read", path, code)); };
  // The system would take the name up to there, and so another file.
  if (path.native().contains('\0')) return failed(EINVAL);
  const FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
  if (!file) return failed(errno);
  struct stat status = {};
  if (fstat(file.get(), &status) != 0) return failed(errno);
  if (S_ISDIR(status.st_mode)) return failed(EISDIR);
  if (!S_ISREG(status.st_mode)) {
    return std::unexpected(FileError("read", path, EINVAL, "It is not a regular file"));
  }
  auto bytes = readAll(file.get(), limit);
  if (!bytes) return failed(bytes.error());
  return std::move(*bytes);
}

}  // namespace vale
