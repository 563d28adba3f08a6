#include "browser/PartialFile.h"

#include "browser/DownloadDestination.h"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <optional>
#include <string_view>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>
#include <utility>
#include <vector>

namespace vale {
namespace {

namespace fs = std::filesystem;

constexpr const char* content = "content";
/// The engine writes under the second name first.
constexpr const char* written[] = {content, "content.wkdownload"};
constexpr std::string_view prefix = ".vale-";
constexpr std::string_view suffix = ".part";
constexpr int asFolder = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;

std::string hiddenName(const Uuid& id) { return std::string(prefix) + id.text() + std::string(suffix); }

bool isHiddenName(std::string_view name) {
  if (!name.starts_with(prefix) || !name.ends_with(suffix)) return false;
  if (name.size() <= prefix.size() + suffix.size()) return false;
  return Uuid::parse(name.substr(prefix.size(), name.size() - prefix.size() - suffix.size())).has_value();
}

/// Removes what the engine wrote, and the folder when nothing else is in it.
void removeHidden(int folder, int hidden, const std::string& name) {
  for (const char* file : written) unlinkat(hidden, file, 0);
  unlinkat(folder, name.c_str(), AT_REMOVEDIR);
}

}  // namespace

fs::path PartialFile::file(const fs::path& folder, const Uuid& id) {
  return folder / hiddenName(id) / content;
}

std::expected<PartialFile, FileError> PartialFile::make(const fs::path& folder, const Uuid& id) {
  PartialFile partial(folder, hiddenName(id));
  const auto failure = [&] { return std::unexpected(FileError("write in the folder", folder, errno)); };
  // The folder itself may be a link of the user's.
  partial.folder_.reset(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!partial.folder_) return failure();
  if (mkdirat(partial.folder_.get(), partial.name_.c_str(), 0700) != 0) return failure();
  partial.hidden_.reset(openat(partial.folder_.get(), partial.name_.c_str(), asFolder));
  if (!partial.hidden_) return failure();
  // Where nothing can be locked, leftovers are not removed either.
  flock(partial.hidden_.get(), LOCK_EX | LOCK_NB);
  return partial;
}

PartialFile::~PartialFile() { remove(); }

void PartialFile::remove() {
  if (hidden_) removeHidden(folder_.get(), hidden_.get(), name_);
  hidden_.reset();
}

int PartialFile::flush() const {
  const FileDescriptor file(openat(hidden_.get(), content, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
  struct stat status = {};
  if (!file || fstat(file.get(), &status) != 0) return errno;
  if (!S_ISREG(status.st_mode)) return EINVAL;
  // The engine notes the address on the file; it may hold secrets, and the file may be handed on.
  fremovexattr(file.get(), "user.xdg.origin.url");
  while (fsync(file.get()) != 0) {
    if (errno != EINTR) return errno;
  }
  return 0;
}

/// 0 or an errno value: EEXIST where the name is taken.
int PartialFile::move(const std::string& name, Taken taken) const {
  const int from = hidden_.get(), to = folder_.get();
  if (taken == Taken::replaced) return renameat(from, content, to, name.c_str()) == 0 ? 0 : errno;
  if (renameat2(from, content, to, name.c_str(), RENAME_NOREPLACE) == 0) return 0;
  if (errno != EINVAL && errno != ENOSYS) return errno;
  // A file system that cannot do this at once: with a second link, or else with a file of our own to replace.
  if (linkat(from, content, to, name.c_str(), 0) == 0) return unlinkat(from, content, 0) == 0 ? 0 : errno;
  if (errno == EEXIST) return errno;
  const FileDescriptor own(
      openat(to, name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
  if (!own) return errno;
  return renameat(from, content, to, name.c_str()) == 0 ? 0 : errno;
}

std::expected<std::string, FileError> PartialFile::moveTo(const std::string& name, Taken taken) {
  if (const int code = flush()) return std::unexpected(FileError("save", path_ / name, code));
  int failure = 0;
  const auto place = freeDestination(path_, name, [&](const fs::path& path) {
    failure = move(path.filename(), taken);
    return failure == EEXIST && taken == Taken::nextName;
  });
  if (failure != 0) return std::unexpected(FileError("save", place, failure));
  remove();
  return place.filename();
}

void PartialFile::removeLeftovers(const fs::path& folder) {
  const FileDescriptor outer(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!outer) return;
  std::error_code error;
  std::vector<std::string> names;
  for (fs::directory_iterator entry(folder, error), end; !error && entry != end; entry.increment(error)) {
    if (auto name = entry->path().filename().native(); isHiddenName(name)) names.push_back(std::move(name));
  }
  for (const auto& name : names) {
    const FileDescriptor hidden(openat(outer.get(), name.c_str(), asFolder));
    struct stat status = {};
    if (!hidden || fstat(hidden.get(), &status) != 0 || status.st_uid != geteuid()) continue;
    if (flock(hidden.get(), LOCK_EX | LOCK_NB) == 0) removeHidden(outer.get(), hidden.get(), name);
  }
}

}  // namespace vale
