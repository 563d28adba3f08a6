#pragma once

#include "common/FileDescriptor.h"

#include <filesystem>
#include <optional>
#include <utility>

namespace vale {

/// The right to write what is in a support folder, for one program at a time. Held as long as the object
/// lives; the system takes it back when the program ends, however it ends. The file "vale.lock" that it is
/// held by stays.
class SupportFolderLock {
 public:
  /// None while another program holds it. Makes the folder when it is missing. Throws FileError when there
  /// can be no lock file.
  static std::optional<SupportFolderLock> tryAcquire(const std::filesystem::path& folder);

 private:
  explicit SupportFolderLock(FileDescriptor file) : file_(std::move(file)) {}

  FileDescriptor file_;
};

}  // namespace vale
