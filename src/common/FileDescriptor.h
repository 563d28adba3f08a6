#pragma once

#include "common/FileError.h"

#include <cstddef>
#include <expected>
#include <filesystem>
#include <limits>
#include <string>
#include <string_view>
#include <utility>

namespace vale {

/// Owns one file descriptor and closes it. Empty when it holds -1.
class FileDescriptor {
 public:
  FileDescriptor() = default;
  explicit FileDescriptor(int descriptor) : descriptor_(descriptor) {}
  ~FileDescriptor() { reset(); }
  FileDescriptor(FileDescriptor&& other) noexcept : descriptor_(other.release()) {}
  FileDescriptor& operator=(FileDescriptor&& other) noexcept {
    if (this != &other) reset(other.release());
    return *this;
  }

  int get() const { return descriptor_; }
  explicit operator bool() const { return descriptor_ >= 0; }

  /// Gives the descriptor away, open.
  int release() { return std::exchange(descriptor_, -1); }

  /// Closes what it holds and takes `descriptor` instead.
  void reset(int descriptor = -1) noexcept;

  /// Closes it and gives what the system said: 0 or an errno value, such as EIO for bytes that did not reach
  /// the disk.
  int close() noexcept;

 private:
  int descriptor_ = -1;
};

inline constexpr std::size_t unlimited = std::numeric_limits<std::size_t>::max();

/// Reads to the end; or gives an errno value: EFBIG when there are more than `limit` bytes. Resumes when a
/// signal interrupts it. The descriptor should block: on one that does not, EAGAIN is an error like another.
std::expected<std::string, int> readAll(int descriptor, std::size_t limit = unlimited);

/// Writes all bytes and gives 0, or an errno value. Resumes when a signal interrupts it.
int writeAll(int descriptor, std::string_view bytes);

/// The content of a regular file of at most `limit` bytes. Never waits for another process: a pipe, a device
/// or a folder in its place is an error at once. The error's code is ENOENT for a missing file.
std::expected<std::string, FileError> readFile(const std::filesystem::path& path,
                                               std::size_t limit = unlimited);

}  // namespace vale
