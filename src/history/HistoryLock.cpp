#include "history/HistoryLock.h"

#include "common/PrivateFiles.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <thread>

namespace vale {

HistoryLock::Guard::~Guard() {
  if (descriptor_ >= 0) flock(descriptor_, LOCK_UN);
}

/// False when the folder was removed or moved since it was opened.
bool HistoryLock::isCurrent() const {
  struct stat opened = {};
  struct stat found = {};
  return file_ && fstat(file_.get(), &opened) == 0 && stat(folder_.c_str(), &found) == 0 &&
         opened.st_ino == found.st_ino && opened.st_dev == found.st_dev;
}

HistoryLock::Guard HistoryLock::acquire(int operation) {
  const auto deadline = std::chrono::steady_clock::now() + patience;
  while (true) {
    if (!isCurrent()) {
      file_.reset(::open(folder_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
      if (!file_) throw FileError("open the folder", folder_, errno);
    }
    if (flock(file_.get(), operation | LOCK_NB) == 0) {
      Guard guard(file_.get());
      if (isCurrent()) return guard;
    } else if (errno != EWOULDBLOCK && errno != EINTR) {
      return Guard();
    } else {
      if (std::chrono::steady_clock::now() > deadline)
        throw Error("Another program has kept the browsing history to itself for too long. Try again later.");
      std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
  }
}

HistoryLock::Guard HistoryLock::exclusive() {
  try {
    return acquire(LOCK_EX);
  } catch (const FileError& error) {
    if (error.code != ENOENT) throw;
  }
  PrivateFiles::makeFolder(folder_);
  return acquire(LOCK_EX);
}

HistoryLock::Guard HistoryLock::shared() try { return acquire(LOCK_SH); } catch (const FileError&) {
  // What is to be read says why it cannot be, if so.
  return Guard();
}

}  // namespace vale
