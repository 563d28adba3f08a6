#include "agents/FileRestoration.h"

#include "common/Text.h"
#include "common/Uuid.h"

#include <fmt/format.h>

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace vale {
namespace {

std::string shownPath(std::string_view path) { return singleLine(validUtf8(std::string(path))); }

std::string failure(std::string_view path, int code) {
  return fmt::format("“{}” could not be put back: {}.", shownPath(path), systemErrorText(code));
}

/// The same file with the same content, though it has another name now.
bool isSameFile(const FoundFile& one, const FoundFile& other) {
  return one.state.device == other.state.device && one.state.inode == other.state.inode &&
         one.state.size == other.state.size && one.state.modified == other.state.modified;
}

bool isAt(int folder, const std::string& name, const FoundFile& file) {
  const auto found = ProjectFolder::findIn(folder, name);
  return found && isSameFile(*found, file);
}

/// A name in a folder for a file on its way, which is removed in the end whatever happened.
class TemporaryName {
 public:
  explicit TemporaryName(int folder) : folder_(folder) {}
  ~TemporaryName() {
    if (!kept_) ::unlinkat(folder_, name_.c_str(), 0);
  }
  TemporaryName(const TemporaryName&) = delete;
  TemporaryName& operator=(const TemporaryName&) = delete;

  const std::string& name() const { return name_; }
  /// What has the name stays.
  void keep() { kept_ = true; }

 private:
  int folder_;
  std::string name_ = ".vale-undo-" + Uuid::random().text() + ".tmp";
  bool kept_ = false;
};

int rename(int folder, const std::string& from, const std::string& to, unsigned flags) {
  return ::renameat2(folder, from.c_str(), folder, to.c_str(), flags) == 0 ? 0 : errno;
}

bool isUnsupported(int code) { return code == EINVAL || code == ENOSYS || code == EOPNOTSUPP; }

/// Gives the name to the file, which must not be another one's.
int claim(int folder, const std::string& from, const std::string& to) {
  const int code = rename(folder, from, to, RENAME_NOREPLACE);
  if (!isUnsupported(code)) return code;
  if (::linkat(folder, from.c_str(), folder, to.c_str(), 0) != 0) return errno;
  ::unlinkat(folder, from.c_str(), 0);
  return 0;
}

}  // namespace

std::string FileRestoration::changedSince(std::string_view path) {
  return fmt::format("“{}” has changed since the turn ended, so undo leaves it as it is.", shownPath(path));
}

int FileRestoration::fill(int folder, const std::string& name, const FileState& wanted,
                          std::string_view content, const std::optional<FoundFile>& present) const {
  if (wanted.kind == FileKind::link) {
    return ::symlinkat(std::string(content).c_str(), folder, name.c_str()) == 0 ? 0 : errno;
  }
  FileDescriptor file(
      ::openat(folder, name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
  if (!file) return errno;
  if (const int code = writeAll(file.get(), content)) return code;
  // A file may belong to another user or group than new ones do; where that is not ours to give, it becomes
  // ours.
  if (present && ::fchown(file.get(), uid_t(present->owner), gid_t(present->group)) != 0) errno = 0;
  if (::fchmod(file.get(), mode_t(wanted.mode)) != 0) return errno;
  while (::fdatasync(file.get()) != 0) {
    if (errno != EINTR) return errno;
  }
  return file.close();
}

std::optional<std::string> FileRestoration::put(const std::string& path, const FileState& wanted,
                                                std::string_view content,
                                                const std::optional<FoundFile>& present) {
  const auto folder = present ? folder_.parent(path) : folder_.makeParent(path);
  if (!folder) return failure(path, folder.error());
  const std::string name(ProjectFolder::nameOf(path));
  TemporaryName temporary(*folder);
  if (const int code = fill(*folder, temporary.name(), wanted, content, present)) return failure(path, code);

  if (!present) {
    int code = claim(*folder, temporary.name(), name);
    if (code == EEXIST && ::unlinkat(*folder, name.c_str(), AT_REMOVEDIR) == 0) {
      code = claim(*folder, temporary.name(), name);
    }
    if (code == EEXIST) return changedSince(path);
    if (code != 0) return failure(path, code);
    temporary.keep();
    return std::nullopt;
  }
  int code = rename(*folder, temporary.name(), name, RENAME_EXCHANGE);
  if (isUnsupported(code)) {
    if (!isAt(*folder, name, *present)) return changedSince(path);
    code = rename(*folder, temporary.name(), name, 0);
    if (code == 0) temporary.keep();
    return code == 0 ? std::nullopt : std::optional(failure(path, code));
  }
  if (code == ENOENT) return changedSince(path);
  if (code != 0) return failure(path, code);
  if (isAt(*folder, temporary.name(), *present)) return std::nullopt;
  // Somebody was faster: theirs goes back, ours away.
  if (rename(*folder, temporary.name(), name, RENAME_EXCHANGE) != 0) temporary.keep();
  return changedSince(path);
}

std::optional<std::string> FileRestoration::remove(const std::string& path, const FoundFile& present) {
  const auto folder = folder_.parent(path);
  if (!folder) return failure(path, folder.error());
  const std::string name(ProjectFolder::nameOf(path));
  TemporaryName temporary(*folder);
  const int code = rename(*folder, name, temporary.name(), 0);
  if (code == ENOENT) return changedSince(path);
  if (code != 0) return failure(path, code);
  if (isAt(*folder, temporary.name(), present)) return std::nullopt;
  // Written since: it gets its name back, and if that is taken by now it stays beside it.
  temporary.keep();
  claim(*folder, temporary.name(), name);
  return changedSince(path);
}

}  // namespace vale
