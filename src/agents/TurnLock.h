#pragma once

#include "common/FileDescriptor.h"

#include <filesystem>
#include <optional>
#include <string_view>

namespace vale {

/// The right to run a turn in one queue, or to undo one, for one program at a time: two Vales may use one
/// folder of threads. Held as long as the object lives; the system takes it back when the program ends,
/// however it ends. Blocks on the disk.
class TurnLock {
 public:
  /// None while another program, or another part of this one, holds it. The lock is a file in `folder`, made
  /// when it is missing, that goes when the lock is given back. Throws FileError when there can be none.
  static std::optional<TurnLock> tryAcquire(const std::filesystem::path& folder, std::string_view queue);

  ~TurnLock();
  TurnLock(TurnLock&&) noexcept = default;
  TurnLock& operator=(TurnLock&&) = delete;

 private:
  TurnLock(FileDescriptor file, std::filesystem::path path)
      : file_(std::move(file)), path_(std::move(path)) {}

  FileDescriptor file_;
  std::filesystem::path path_;
};

}  // namespace vale
