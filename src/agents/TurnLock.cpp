#include "agents/TurnLock.h"

#include "common/PrivateFiles.h"
#include "common/Sha256.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace vale {
namespace {

bool isStillAt(const FileDescriptor& file, const std::filesystem::path& path) {
  struct stat held {};
  struct stat there {};
  return fstat(file.get(), &held) == 0 && lstat(path.c_str(), &there) == 0 && held.st_ino == there.st_ino &&
         held.st_dev == there.st_dev;
}

}  // namespace

std::optional<TurnLock> TurnLock::tryAcquire(const std::filesystem::path& folder, std::string_view queue) {
  PrivateFiles::makeFolder(folder);
  const auto path = folder / (sha256Hex(queue) + ".lock");
  for (;;) {
    FileDescriptor file(
        ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY, 0600));
    if (!file) throw FileError("lock", path, errno);
    if (flock(file.get(), LOCK_EX | LOCK_NB) != 0) {
      if (errno == EINTR) continue;
      if (errno == EWOULDBLOCK) return std::nullopt;
      throw FileError("lock", path, errno);
    }
    // Whoever held it may have removed the file between our opening and locking it.
    if (isStillAt(file, path)) return TurnLock(std::move(file), path);
  }
}

TurnLock::~TurnLock() {
  if (file_) ::unlink(path_.c_str());
}

}  // namespace vale
