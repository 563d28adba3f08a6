#pragma once

#include <atomic>
#include <filesystem>

namespace vale {

/// A copy of another program's SQLite database with what that program has not yet merged into it (the files
/// "-wal" and "-journal" beside it), in a temporary folder of mode 0700 that goes with the object. A crash
/// leaves the folder to whatever clears temporary files.
class PrivateCopy {
 public:
  /// Copies again, some times, when the program writes meanwhile. Stops early once `cancelled`, which may be
  /// null, is set; the copy is then of no use. Throws FileError.
  PrivateCopy(const std::filesystem::path& database, const std::atomic<bool>* cancelled);
  ~PrivateCopy();
  PrivateCopy(const PrivateCopy&) = delete;
  PrivateCopy& operator=(const PrivateCopy&) = delete;

  const std::filesystem::path& file() const { return file_; }

 private:
  std::filesystem::path folder_;
  std::filesystem::path file_;
};

}  // namespace vale
