#include "agents/CheckpointObjects.h"

#include "common/FileDescriptor.h"
#include "common/PrivateFiles.h"
#include "common/Sha256.h"
#include "common/Uuid.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace vale {
namespace {

constexpr std::size_t nameLength = 64;
constexpr std::size_t folderLength = 2;

bool isName(std::string_view name) {
  return name.size() == nameLength && name.find_first_not_of("0123456789abcdef") == std::string_view::npos;
}

}  // namespace

std::filesystem::path CheckpointObjects::pathOf(std::string_view name) const {
  return folder_ / name.substr(0, folderLength) / name.substr(folderLength);
}

bool CheckpointObjects::holds(std::string_view name, std::int64_t size) const {
  if (!isName(name)) return false;
  struct stat status = {};
  return lstat(pathOf(name).c_str(), &status) == 0 && S_ISREG(status.st_mode) && status.st_size == size;
}

std::string CheckpointObjects::keep(std::string_view bytes) const {
  std::string name = sha256Hex(bytes);
  if (holds(name, std::int64_t(bytes.size()))) return name;
  // Not through PrivateFiles: it waits for the disk with each file, and there may be thousands of them before
  // the one record that makes them count.
  const auto path = pathOf(name);
  PrivateFiles::makeFolder(path.parent_path());
  const auto temporary = path.parent_path() / ("." + Uuid::random().text() + ".tmp");
  FileDescriptor file(::open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
  if (!file) throw FileError("write", temporary, errno);
  int code = writeAll(file.get(), bytes);
  if (code == 0) code = file.close();
  if (code == 0 && ::rename(temporary.c_str(), path.c_str()) != 0) code = errno;
  if (code == 0) return name;
  ::unlink(temporary.c_str());
  throw FileError("write", path, code);
}

std::expected<std::string, Error> CheckpointObjects::read(std::string_view name) const {
  if (!isName(name)) return std::unexpected(Error("This is not the name of a kept file."));
  auto bytes = readFile(pathOf(name));
  if (!bytes) return std::unexpected(Error(bytes.error().message));
  if (sha256Hex(*bytes) != name) {
    return std::unexpected(FileError("read", pathOf(name), EIO, "It is not what was kept"));
  }
  return std::move(*bytes);
}

void CheckpointObjects::flush() const {
  const FileDescriptor folder(::open(folder_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!folder && errno == ENOENT) return;
  if (!folder || ::syncfs(folder.get()) != 0) throw FileError("write", folder_, errno);
}

template <typename Work> void CheckpointObjects::forEachFile(Work work) const {
  std::error_code error;
  for (std::filesystem::directory_iterator folder(folder_, error), end; !error && folder != end;
       folder.increment(error)) {
    std::error_code inside;
    for (std::filesystem::directory_iterator file(folder->path(), inside); !inside && file != end;
         file.increment(inside)) {
      work(folder->path().filename().native() + file->path().filename().native(), *file);
    }
  }
}

std::map<std::string, std::int64_t> CheckpointObjects::sizes() const {
  std::map<std::string, std::int64_t> sizes;
  forEachFile([&](std::string name, const std::filesystem::directory_entry& file) {
    std::error_code error;
    const auto size = file.file_size(error);
    if (isName(name) && !error) sizes.emplace(std::move(name), std::int64_t(size));
  });
  return sizes;
}

void CheckpointObjects::sweep(const std::set<std::string>& needed) const {
  forEachFile([&](const std::string& name, const std::filesystem::directory_entry& file) {
    std::error_code ignored;
    if (!needed.contains(name)) std::filesystem::remove(file.path(), ignored);
  });
}

}  // namespace vale
