#pragma once

#include "common/Error.h"

#include <cstdint>
#include <expected>
#include <filesystem>
#include <map>
#include <set>
#include <string>
#include <string_view>

namespace vale {

/// Contents of files, kept once each and named by their SHA-256, in a folder of private files. Blocks on the
/// disk.
class CheckpointObjects {
 public:
  explicit CheckpointObjects(std::filesystem::path folder) : folder_(std::move(folder)) {}

  /// Keeps `bytes` and gives their name. The disk has them for certain after `flush` only. Throws FileError.
  std::string keep(std::string_view bytes) const;

  /// True when the content is there with this many bytes.
  bool holds(std::string_view name, std::int64_t size) const;

  /// Where the content of this name is, if it is there.
  std::filesystem::path pathOf(std::string_view name) const;

  /// The content, checked against its name.
  std::expected<std::string, Error> read(std::string_view name) const;

  /// Brings all that was kept to the disk. Throws FileError.
  void flush() const;

  /// All contents that are there, with their sizes in bytes.
  std::map<std::string, std::int64_t> sizes() const;

  /// Removes the contents that are not `needed`, and leftovers of writes that were killed.
  void sweep(const std::set<std::string>& needed) const;

 private:
  template <typename Work> void forEachFile(Work work) const;

  std::filesystem::path folder_;
};

}  // namespace vale
