#pragma once

#include "common/FileDescriptor.h"

#include <chrono>
#include <filesystem>
#include <utility>

namespace vale {

/// Keeps programs that work on one history folder out of each other's way, and the objects of one program
/// too. The lock (flock) is on the folder itself: archives are replaced by renaming, so a lock on one of them
/// would be on a file that is gone, and a lock file would be one more thing for agents to find. The system
/// takes it back when a program ends, however it ends.
class HistoryLock {
 public:
  /// Held until it goes. May hold nothing, where the file system knows no locks.
  class Guard {
   public:
    Guard() = default;
    explicit Guard(int descriptor) : descriptor_(descriptor) {}
    ~Guard();
    Guard(Guard&& other) noexcept : descriptor_(std::exchange(other.descriptor_, -1)) {}
    Guard& operator=(Guard&&) = delete;

   private:
    int descriptor_ = -1;
  };

  /// How long another program may hold the lock before waiting for it is given up.
  static constexpr std::chrono::seconds patience{10};

  explicit HistoryLock(std::filesystem::path folder) : folder_(std::move(folder)) {}

  /// Alone, to write. Makes the folder when it is missing. Throws FileError, and Error when another program
  /// does not let go.
  Guard exclusive();

  /// Together with others that read. Nothing to hold when there is no folder.
  Guard shared();

 private:
  Guard acquire(int operation);
  bool isCurrent() const;

  std::filesystem::path folder_;
  FileDescriptor file_;
};

}  // namespace vale
