#include "agents/ProjectFolder.h"

#include <cerrno>
#include <dirent.h>
#include <fcntl.h>
#include <memory>
#include <ranges>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>
#include <utility>
#include <vector>

namespace vale {
namespace {

constexpr int folderFlags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;
constexpr int passedFolderFlags = O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;
constexpr std::int64_t permissionBits = 0777;
constexpr int readAttempts = 3;
/// Deeper folders are passed over: each open one takes a file descriptor.
constexpr std::size_t deepest = 200;

std::int64_t nanoseconds(const statx_timestamp& time) {
  return std::int64_t(time.tv_sec) * 1'000'000'000 + time.tv_nsec;
}

FoundFile foundFile(const struct statx& status) {
  FoundFile found;
  found.isFolder = S_ISDIR(status.stx_mode);
  found.owner = status.stx_uid;
  found.group = status.stx_gid;
  if (status.stx_mask & STATX_BTIME) found.born = nanoseconds(status.stx_btime);
  found.state = {.kind = S_ISREG(status.stx_mode)   ? FileKind::file
                         : S_ISLNK(status.stx_mode) ? FileKind::link
                                                    : FileKind::other,
                 .mode = S_ISLNK(status.stx_mode) ? 0 : std::int64_t(status.stx_mode) & permissionBits,
                 .size = std::int64_t(status.stx_size),
                 .device = std::int64_t(makedev(status.stx_dev_major, status.stx_dev_minor)),
                 .inode = std::int64_t(status.stx_ino),
                 .modified = nanoseconds(status.stx_mtime),
                 .changed = nanoseconds(status.stx_ctime)};
  return found;
}

std::expected<FoundFile, int> status(int folder, const char* name, int flags) {
  struct statx status = {};
  if (::statx(folder, name, flags, STATX_BASIC_STATS | STATX_BTIME, &status) != 0) {
    return std::unexpected(errno);
  }
  return foundFile(status);
}

std::expected<std::string, int> linkTarget(int folder, const std::string& name) {
  std::string target(PATH_MAX, '\0');
  const ssize_t length = ::readlinkat(folder, name.c_str(), target.data(), target.size());
  if (length < 0) return std::unexpected(errno);
  target.resize(std::size_t(length));
  return target;
}

std::expected<ProjectFolder::Content, int> readOnce(int folder, const std::string& name, std::size_t limit) {
  auto found = ProjectFolder::findIn(folder, name);
  if (!found) return std::unexpected(found.error());
  if (found->state.kind == FileKind::link) {
    auto target = linkTarget(folder, name);
    if (!target) return std::unexpected(target.error());
    return ProjectFolder::Content{std::move(*found), std::move(*target)};
  }
  if (found->state.kind != FileKind::file) return std::unexpected(EINVAL);
  if (found->state.size > std::int64_t(limit)) return std::unexpected(EFBIG);
  const FileDescriptor file(
      ::openat(folder, name.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
  if (!file) return std::unexpected(errno);
  auto bytes = readAll(file.get(), limit);
  if (!bytes) return std::unexpected(bytes.error());
  const auto after = status(file.get(), "", AT_EMPTY_PATH);
  if (!after) return std::unexpected(after.error());
  if (!found->state.isUntouched(after->state) || std::int64_t(bytes->size()) != after->state.size) {
    return std::unexpected(EBUSY);
  }
  return ProjectFolder::Content{*after, std::move(*bytes)};
}

struct OpenFolder {
  std::string prefix;  ///< of the paths in it
  std::unique_ptr<DIR, int (*)(DIR*)> entries;
};

OpenFolder openFolder(std::string prefix, int descriptor) {
  DIR* entries = descriptor < 0 ? nullptr : ::fdopendir(descriptor);
  if (!entries && descriptor >= 0) ::close(descriptor);
  return {std::move(prefix), {entries, ::closedir}};
}

bool isRepository(DIR* folder) {
  struct stat status = {};
  return ::fstatat(::dirfd(folder), ".git", &status, AT_SYMLINK_NOFOLLOW) == 0;
}

}  // namespace

ProjectFolder::ProjectFolder(const std::filesystem::path& path)
    : root_(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
  if (path.native().contains('\0') || !root_) {
    throw FileError("open the folder", path, root_ ? EINVAL : errno);
  }
}

bool ProjectFolder::isInside(std::string_view path) {
  if (path.contains('\0')) return false;
  for (const auto& part : path | std::views::split('/')) {
    const std::string_view name(part);
    if (name.empty() || name == "." || name == ".." || name == ".git") return false;
  }
  return !path.empty();
}

std::string_view ProjectFolder::nameOf(std::string_view path) { return path.substr(path.rfind('/') + 1); }

std::string_view ProjectFolder::folderOf(std::string_view path) {
  const auto slash = path.rfind('/');
  return slash == std::string_view::npos ? std::string_view() : path.substr(0, slash);
}

std::expected<int, int> ProjectFolder::open(std::string_view folder, Missing missing) {
  if (folder.empty()) return root_.get();
  // The files of one folder mostly come one after the other.
  if (open_ && openPath_ == folder && missing == Missing::fail) return open_.get();
  FileDescriptor current;
  for (const auto& part : folder | std::views::split('/')) {
    const std::string name{std::string_view(part)};
    const int above = current ? current.get() : root_.get();
    FileDescriptor next(::openat(above, name.c_str(), passedFolderFlags));
    if (!next && errno == ENOENT && missing == Missing::make) {
      if (::mkdirat(above, name.c_str(), 0777) != 0 && errno != EEXIST) return std::unexpected(errno);
      next.reset(::openat(above, name.c_str(), passedFolderFlags));
    }
    if (!next) return std::unexpected(errno);
    current = std::move(next);
  }
  open_ = std::move(current);
  openPath_ = folder;
  return open_.get();
}

std::expected<int, int> ProjectFolder::parent(std::string_view path) {
  if (!isInside(path)) return std::unexpected(EINVAL);
  return open(folderOf(path), Missing::fail);
}

std::expected<int, int> ProjectFolder::makeParent(std::string_view path) {
  if (!isInside(path)) return std::unexpected(EINVAL);
  return open(folderOf(path), Missing::make);
}

std::expected<FoundFile, int> ProjectFolder::findIn(int folder, const std::string& name) {
  return status(folder, name.c_str(), AT_SYMLINK_NOFOLLOW);
}

std::expected<FoundFile, int> ProjectFolder::find(std::string_view path) {
  const auto folder = parent(path);
  if (!folder) return std::unexpected(folder.error());
  return findIn(*folder, std::string(nameOf(path)));
}

std::expected<ProjectFolder::Content, int> ProjectFolder::read(std::string_view path, std::size_t limit) {
  const auto folder = parent(path);
  if (!folder) return std::unexpected(folder.error());
  const std::string name(nameOf(path));
  for (int attempt = 1;; ++attempt) {
    auto content = readOnce(*folder, name, limit);
    if (content || content.error() != EBUSY || attempt == readAttempts) return content;
  }
}

void ProjectFolder::removeEmpty(std::string_view folder) {
  const auto above = parent(folder);
  if (above) ::unlinkat(*above, std::string(nameOf(folder)).c_str(), AT_REMOVEDIR);
  open_.reset();
}

void ProjectFolder::walk(const std::function<bool(std::string path)>& file,
                         const std::function<void(std::string path, Skipped why)>& skipped) const {
  std::vector<OpenFolder> open;
  open.push_back(openFolder("", ::openat(root_.get(), ".", folderFlags)));
  if (!open.back().entries) return skipped(".", Skipped::unreadable);
  while (!open.empty()) {
    DIR* const folder = open.back().entries.get();
    const dirent* const entry = ::readdir(folder);
    if (!entry) {
      open.pop_back();
      continue;
    }
    const std::string name = entry->d_name;
    if (name == "." || name == ".." || name == ".git") continue;
    std::string path = open.back().prefix + name;
    bool isFolder = entry->d_type == DT_DIR;
    if (entry->d_type == DT_UNKNOWN) {
      const auto found = findIn(::dirfd(folder), name);
      isFolder = found && found->isFolder;
    }
    if (!isFolder) {
      if (!file(std::move(path))) return;
      continue;
    }
    auto inner = openFolder(
        path + "/", open.size() > deepest ? -1 : ::openat(::dirfd(folder), name.c_str(), folderFlags));
    if (inner.entries && !isRepository(inner.entries.get())) {
      open.push_back(std::move(inner));
    } else {
      skipped(std::move(path), inner.entries ? Skipped::repository : Skipped::unreadable);
    }
  }
}

}  // namespace vale
