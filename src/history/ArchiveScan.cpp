#include "history/ArchiveScan.h"

#include "common/Log.h"
#include "history/ArchiveName.h"
#include "history/ByteSearch.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace vale {
namespace {

/// Small enough to stay in a core's cache between being read and being searched.
constexpr std::size_t blockSize = 128 * 1'024;

}  // namespace

std::vector<std::filesystem::path> newestArchives(const std::filesystem::path& historyFolder) {
  std::vector<std::filesystem::path> archives;
  std::error_code error;
  for (std::filesystem::directory_iterator entry(historyFolder, error), end; !error && entry != end;
       entry.increment(error)) {
    if (utcDay(entry->path().filename().string())) archives.push_back(entry->path());
  }
  if (error && error != std::errc::no_such_file_or_directory)
    log::warning("The history folder could not be read: {}", error.message());
  std::ranges::sort(archives, std::greater());
  return archives;
}

ArchiveBlocks::ArchiveBlocks(const std::filesystem::path& file)
    : file_(file), descriptor_(::open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY)) {
  struct stat status = {};
  if (!descriptor_) {
    if (errno != ENOENT) log::warning("{}", FileError("read", file, errno).message);
  } else if (fstat(descriptor_.get(), &status) != 0 || !S_ISREG(status.st_mode)) {
    descriptor_.reset();
    log::warning("{}", FileError("read", file, EINVAL, "It is no regular file").message);
  }
}

bool ArchiveBlocks::fill() {
  if (held_ == capacity_) {
    const std::size_t capacity = capacity_ == 0 ? blockSize : 2 * capacity_;
    auto larger = std::make_unique_for_overwrite<char[]>(capacity + searchPadding);
    if (held_ > 0) std::memcpy(larger.get(), buffer_.get(), held_);
    buffer_ = std::move(larger);
    capacity_ = capacity;
  }
  while (descriptor_) {
    const auto count = ::read(descriptor_.get(), buffer_.get() + held_, capacity_ - held_);
    if (count > 0) held_ += std::size_t(count);
    if (count >= 0) return count > 0;
    if (errno == EINTR) continue;
    log::warning("{}", FileError("read", file_, errno).message);
    break;
  }
  return false;
}

std::optional<std::string_view> ArchiveBlocks::next() {
  offset_ += given_;
  held_ -= given_;
  if (held_ > 0) std::memmove(buffer_.get(), buffer_.get() + given_, held_);
  given_ = 0;
  // Of a line that is longer than the buffer only the new part is looked through.
  for (std::size_t searched = held_; fill(); searched = held_) {
    const std::string_view added(buffer_.get() + searched, held_ - searched);
    if (const auto last = added.rfind('\n'); last != added.npos) {
      given_ = searched + last + 1;
      return std::string_view(buffer_.get(), given_);
    }
  }
  given_ = held_;
  if (held_ == 0) return std::nullopt;
  return std::string_view(buffer_.get(), held_);
}

std::string ArchiveBlocks::line(std::uint64_t offset, std::size_t size) const {
  std::string line(size, '\0');
  std::size_t read = 0;
  while (descriptor_ && read < size) {
    const auto count = ::pread(descriptor_.get(), line.data() + read, size - read, off_t(offset + read));
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) break;
    read += std::size_t(count);
  }
  return read == size ? line : std::string();
}

}  // namespace vale
