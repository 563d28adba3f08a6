#pragma once

#include "common/FileDescriptor.h"

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// What reading all archives at once has in common: which there are, and their bytes.
namespace vale {

/// The archives of days in a history folder, the newest first; none when there is no such folder.
std::vector<std::filesystem::path> newestArchives(const std::filesystem::path& historyFolder);

/// The bytes of one archive, a block of whole lines after another, in one buffer; files are read and not
/// mapped, since another program may cut one short. Never throws for what the system refuses: the archive
/// then ends, with a line in the log.
class ArchiveBlocks {
 public:
  explicit ArchiveBlocks(const std::filesystem::path& file);

  /// The next lines, the last of them with its line feed unless the archive ends without one; none at the
  /// end. Valid until the next call, and `searchPadding` bytes behind them can be read.
  std::optional<std::string_view> next();

  /// Where in the file the block begins that `next` gave last.
  std::uint64_t offset() const { return offset_; }

  /// Reads a line again; empty when that fails.
  std::string line(std::uint64_t offset, std::size_t size) const;

 private:
  bool fill();

  std::filesystem::path file_;
  FileDescriptor descriptor_;
  std::unique_ptr<char[]> buffer_;
  std::size_t capacity_ = 0;
  std::uint64_t offset_ = 0;
  std::size_t given_ = 0;  ///< the bytes of the last block, at the buffer's begin
  std::size_t held_ = 0;   ///< all bytes in the buffer
};

/// Calls `take` with each line of a block, without its line feed or CR LF; empty lines are stepped over.
template <typename Take> void forEachLine(std::string_view block, Take take) {
  while (!block.empty()) {
    auto line = block.substr(0, block.find('\n'));
    block.remove_prefix(std::min(block.size(), line.size() + 1));
    if (line.ends_with('\r')) line.remove_suffix(1);
    if (!line.empty()) take(line);
  }
}

}  // namespace vale
