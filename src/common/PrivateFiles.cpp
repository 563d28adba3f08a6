#include "common/PrivateFiles.h"

#include "common/FileDescriptor.h"
#include "common/Uuid.h"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace vale::PrivateFiles {
namespace {

constexpr mode_t fileMode = 0600;
constexpr mode_t folderMode = 0700;
constexpr std::string_view suffix = ".tmp";
constexpr std::size_t uuidLength = 36;
/// What a temporary name has beyond the file's own: two full stops, the UUID and the suffix.
constexpr std::size_t addedLength = 2 + uuidLength + suffix.size();

bool isFolder(const std::filesystem::path& path) {
  struct stat status = {};
  return stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

/// 0 or an errno value.
int makeFolders(const std::filesystem::path& folder) {
  if (folder.native().contains('\0')) return EINVAL;
  if (mkdir(folder.c_str(), folderMode) == 0) {
    // The umask may have taken the owner's own rights.
    return chmod(folder.c_str(), folderMode) == 0 ? 0 : errno;
  }
  const int code = errno;
  if (isFolder(folder)) return 0;
  if (code == EEXIST) return ENOTDIR;
  const auto parent = folder.parent_path();
  if (code != ENOENT || parent.empty() || parent == folder) return code;
  if (const int parentCode = makeFolders(parent)) return parentCode;
  if (mkdir(folder.c_str(), folderMode) == 0) return chmod(folder.c_str(), folderMode) == 0 ? 0 : errno;
  return isFolder(folder) ? 0 : errno;
}

/// A new file in a folder, which goes away again unless it takes its place.
class TemporaryFile {
 public:
  TemporaryFile(int folder, std::string_view name) : folder_(folder) {
    create(name);
    if (!file_ && errno == ENAMETOOLONG && name.size() > addedLength) {
      // Cut by as much as is added, the temporary name fits wherever the name itself does.
      std::size_t kept = name.size() - addedLength;
      while (kept > 0 && (name[kept] & 0xC0) == 0x80) --kept;
      create(name.substr(0, kept));
    }
  }
  ~TemporaryFile() {
    if (unlink_) unlinkat(folder_, name_.c_str(), 0);
  }
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;

  /// Each gives 0 or an errno value.
  int created() const { return code_; }
  int fill(std::string_view bytes) {
    if (const int code = writeAll(file_.get(), bytes)) return code;
    if (fchmod(file_.get(), fileMode) != 0) return errno;
    while (fdatasync(file_.get()) != 0) {
      if (errno != EINTR) return errno;
    }
    return file_.close();
  }
  int moveTo(const std::string& name) {
    if (renameat(folder_, name_.c_str(), folder_, name.c_str()) != 0) return errno;
    unlink_ = false;
    return 0;
  }

 private:
  void create(std::string_view name) {
    name_ = "." + std::string(name) + "." + Uuid::random().text() + std::string(suffix);
    file_.reset(
        openat(folder_, name_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, fileMode));
    code_ = file_ ? 0 : errno;
    unlink_ = bool(file_);
  }

  int folder_;
  std::string name_;
  FileDescriptor file_;
  int code_ = 0;
  bool unlink_ = false;
};

/// 0 or an errno value.
int replace(std::string_view bytes, const std::filesystem::path& path) {
  if (path.native().contains('\0')) return EINVAL;
  const std::string name = path.filename();
  if (name.empty() || name == "." || name == "..") return EISDIR;
  const auto parent = path.has_parent_path() ? path.parent_path() : std::filesystem::path(".");
  // Names relative to the open folder: it may move meanwhile, and the temporary path cannot be too long.
  const auto open = [&parent] { return ::open(parent.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC); };
  FileDescriptor folder(open());
  if (!folder && errno == ENOENT) {
    if (const int code = makeFolders(parent)) return code;
    folder.reset(open());
  }
  if (!folder) return errno;
  TemporaryFile file(folder.get(), name);
  if (const int code = file.created()) return code;
  if (const int code = file.fill(bytes)) return code;
  return file.moveTo(name);
}

}  // namespace

void write(std::string_view bytes, const std::filesystem::path& path) {
  if (const int code = replace(bytes, path)) throw FileError("write", path, code);
}

bool writeIfChanged(std::string_view bytes, const std::filesystem::path& path) {
  const FileDescriptor file(::open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
  struct stat status = {};
  const bool sameSize = file && fstat(file.get(), &status) == 0 && S_ISREG(status.st_mode) &&
                        std::size_t(status.st_size) == bytes.size();
  if (!sameSize || readAll(file.get(), bytes.size()) != std::string(bytes)) {
    write(bytes, path);
    return true;
  }
  if ((status.st_mode & 07777) != fileMode && fchmod(file.get(), fileMode) != 0) {
    throw FileError("make private", path, errno);
  }
  return false;
}

void makeFolder(const std::filesystem::path& folder) {
  if (const int code = makeFolders(folder)) throw FileError("make the folder", folder, code);
}

}  // namespace vale::PrivateFiles
