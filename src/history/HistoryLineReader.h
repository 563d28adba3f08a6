#pragma once

#include "history/HistoryVisit.h"

#include <cstddef>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace vale {

/// The bytes of one archive, line by line. Lines are valid as long as it lives.
class ArchiveBytes {
 public:
  /// Reads a regular file, following a symbolic link. Empty when there is none; throws FileError for any
  /// other reason.
  static ArchiveBytes read(const std::filesystem::path& file);

  explicit ArchiveBytes(std::string bytes) : bytes_(std::move(bytes)) {}

  std::string_view view() const { return bytes_; }

  /// The next line from `position`, which moves past it, without its line feed or CR LF; empty lines are
  /// stepped over. None at the end.
  std::optional<std::string_view> nextLine(std::size_t& position) const;

 private:
  std::string bytes_;
};

/// Decodes lines of archives at simdjson's speed; lines that simdjson refuses go through common/Json, which
/// takes more (halves of surrogate pairs). Keeps its buffers from line to line. One thread at a time.
class HistoryLineReader {
 public:
  HistoryLineReader();
  ~HistoryLineReader();
  HistoryLineReader(HistoryLineReader&&) noexcept;
  HistoryLineReader& operator=(HistoryLineReader&&) noexcept;

  /// Fills `visit` from a line of `archive`, whatever was in it before; false when the line is no visit, and
  /// `visit` then holds anything.
  bool read(std::string_view line, const ArchiveBytes& archive, HistoryVisit& visit);

  /// The same for a line that stands alone, which is copied.
  bool read(std::string_view line, HistoryVisit& visit);

 private:
  struct Parser;
  std::unique_ptr<Parser> parser_;
};

}  // namespace vale
