#include "common/SupportFolderLock.h"

#include "common/PrivateFiles.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

namespace vale {

std::optional<SupportFolderLock> SupportFolderLock::tryAcquire(const std::filesystem::path& folder) {
  PrivateFiles::makeFolder(folder);
  const auto path = folder / "vale.lock";
  FileDescriptor file(
      ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY, 0600));
  if (!file || fchmod(file.get(), 0600) != 0) throw FileError("lock", path, errno);
  // Of the open file, not of the process: whoever opens it again, here or elsewhere, is refused.
  while (flock(file.get(), LOCK_EX | LOCK_NB) != 0) {
    if (errno == EWOULDBLOCK) return std::nullopt;
    if (errno != EINTR) throw FileError("lock", path, errno);
  }
  return SupportFolderLock(std::move(file));
}

}  // namespace vale
