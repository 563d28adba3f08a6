#include "agents/AgentThreadFolder.h"
#include "common/FileDescriptor.h"
#include "common/Log.h"
#include "common/PrivateFiles.h"
#include "common/Text.h"

#include <fmt/format.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <memory>
#include <sys/stat.h>
#include <unistd.h>

namespace vale {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view action = "attach";
/// Leaves room for a number below the 255 bytes that file systems take.
constexpr std::size_t longestStem = 200;
constexpr std::size_t longestExtension = 30;
constexpr int highestNumber = 9999;

void refuseUnlessRegular(const fs::path& file) {
  struct stat status = {};
  if (file.native().contains('\0')) throw FileError(action, file, EINVAL);
  if (::lstat(file.c_str(), &status) != 0) throw FileError(action, file, errno);
  if (S_ISLNK(status.st_mode)) {
    throw FileError(action, file, ELOOP, "It is a symbolic link. Attach the file that it leads to");
  }
  if (S_ISDIR(status.st_mode)) throw FileError(action, file, EISDIR);
  if (!S_ISREG(status.st_mode)) throw FileError(action, file, EINVAL, "It is not a regular file");
}

/// A folder for attachments, made when it is missing. One that is a link would lead them elsewhere.
FileDescriptor openFolder(const fs::path& folder) {
  PrivateFiles::makeFolder(folder);
  for (const auto& part : {folder.parent_path(), folder}) {
    if (fs::is_symlink(fs::symlink_status(part))) {
      throw FileError("use the folder", part, ELOOP, "It is a symbolic link");
    }
  }
  FileDescriptor opened(::open(folder.c_str(), O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
  if (!opened) throw FileError("use the folder", folder, errno);
  return opened;
}

/// A text of at most `size` bytes, not cut inside a sequence.
std::string_view shortened(std::string_view text, std::size_t size) {
  if (text.size() <= size) return text;
  while (size > 0 && (static_cast<unsigned char>(text[size]) & 0xC0) == 0x80) --size;
  return text.substr(0, size);
}

/// The name that the file gets: one that a record can hold and a line can show, with a number from 2 on.
std::string nameFor(const fs::path& file, int number) {
  const fs::path name = singleLine(validUtf8(file.filename().native()));
  const std::string extension(shortened(name.extension().native(), longestExtension));
  const std::string stem(shortened(name.stem().native(), longestStem));
  return number == 1 ? stem + extension : fmt::format("{}-{}{}", stem, number, extension);
}

/// 0 or an errno value.
int copyBytes(int source, int target) {
  constexpr std::size_t size = 1 << 20;
  const auto buffer = std::make_unique<char[]>(size);
  for (;;) {
    const auto count = ::read(source, buffer.get(), size);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return errno;
    if (count == 0) return ::fdatasync(target) == 0 ? 0 : errno;
    if (const int code = writeAll(target, {buffer.get(), std::size_t(count)})) return code;
  }
}

/// 0 or an errno value; EEXIST when the name is taken. Nothing is left of a copy that failed.
int copyTo(int folder, const std::string& name, const fs::path& file) {
  const FileDescriptor source(::open(file.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
  if (!source) return errno;
  FileDescriptor target(
      ::openat(folder, name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
  if (!target) return errno;
  int code = copyBytes(source.get(), target.get());
  const int closing = target.close();
  if (code == 0) code = closing;
  if (code != 0) ::unlinkat(folder, name.c_str(), 0);
  return code;
}

/// A file on its way into a folder; it goes back unless `settle` is called.
class Adoption {
 public:
  Adoption(int folder, fs::path source) : folder_(folder), source_(std::move(source)) {}
  Adoption(Adoption&& other) noexcept
      : folder_(other.folder_), source_(std::move(other.source_)), name_(std::move(other.name_)),
        state_(std::exchange(other.state_, State::outside)) {}
  ~Adoption() {
    if (state_ == State::copied) ::unlinkat(folder_, name_.c_str(), 0);
    if (state_ == State::moved)
      ::renameat2(folder_, name_.c_str(), AT_FDCWD, source_.c_str(), RENAME_NOREPLACE);
  }

  /// Gives the file's name in the folder. Throws FileError.
  const std::string& take() {
    int code = EEXIST;
    for (int number = 1; code == EEXIST && number <= highestNumber; ++number) {
      name_ = nameFor(source_, number);
      code = takeAs(name_);
    }
    if (code != 0) throw FileError(action, source_, code);
    return name_;
  }

  void settle() {
    if (state_ == State::copied && ::unlink(source_.c_str()) != 0) {
      log::info("{}", FileError("delete", source_, errno).message);
    }
    if (state_ == State::moved) ::fchmodat(folder_, name_.c_str(), 0600, 0);
    state_ = State::outside;
  }

 private:
  enum class State { outside, moved, copied };

  int takeAs(const std::string& name) {
    if (::renameat2(AT_FDCWD, source_.c_str(), folder_, name.c_str(), RENAME_NOREPLACE) == 0) {
      state_ = State::moved;
      return 0;
    }
    if (errno == EEXIST || errno == ENOENT) return errno;
    // Another device, a file system that cannot rename so, or a folder that files may not be taken from.
    const int code = copyTo(folder_, name, source_);
    if (code == 0) state_ = State::copied;
    return code;
  }

  int folder_;
  fs::path source_;
  std::string name_;
  State state_ = State::outside;
};

}  // namespace

std::vector<fs::path> AgentThreadFolder::adopt(const std::vector<fs::path>& files, const Uuid& id) {
  for (const auto& file : files) refuseUnlessRegular(file);
  const auto folder = attachments(id);
  const auto opened = openFolder(folder);
  std::vector<fs::path> places;
  std::vector<Adoption> adoptions;
  for (const auto& file : files) {
    std::error_code differs;
    if (fs::equivalent(file.parent_path().empty() ? fs::path(".") : file.parent_path(), folder, differs)) {
      places.push_back(folder / file.filename());
      continue;
    }
    places.push_back(folder / adoptions.emplace_back(opened.get(), file).take());
  }
  for (auto& adoption : adoptions) adoption.settle();
  return places;
}

}  // namespace vale
