#pragma once

#include "history/HistoryVisit.h"

#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace vale {

/// The state of a file by which a change shows.
struct Stamp {
  std::uint64_t size = 0;
  std::int64_t modified = 0;  ///< nanoseconds since 1970
  std::uint64_t inode = 0;    ///< another one once the file was replaced

  /// None when there is no such file.
  static std::optional<Stamp> of(const std::filesystem::path& file);
  static std::optional<Stamp> of(int descriptor);

  bool operator==(const Stamp&) const = default;
};

/// One archive in memory.
struct Shard {
  std::vector<HistoryVisit> visits;  ///< in the order of the file
  std::optional<Stamp> stamp = {};   ///< none while there is no file
  /// From a normalized address to its last line; only made for appending.
  std::optional<std::unordered_map<std::string, std::size_t>> latest = {};
  bool endsWithLineFeed = true;

  void index();
};

/// The archive files of a history folder, the last used ones in memory as long as the files are as they were.
/// The caller holds the lock. An archive that is a symbolic link is read and never written, replaced or
/// deleted.
class HistoryShards {
 public:
  static constexpr std::size_t capacity = 4;

  explicit HistoryShards(std::filesystem::path folder) : folder_(std::move(folder)) {}

  std::filesystem::path file(std::string_view archive) const { return folder_ / archive; }

  /// The archive, empty when there is no file; indexed by address when asked. Valid until two more archives
  /// are loaded. Throws FileError, and HistoryStoreError::corruptArchive.
  enum class Indexing { none, byAddress };
  Shard& load(const std::string& archive, Indexing indexing);

  /// Calls `visit` with one line after the other until it gives false. Leaves what is in memory as it is.
  void forEachVisit(const std::string& archive, const std::function<bool(const HistoryVisit&)>& visit);

  /// Adds a line to the end of the file. Nothing of it is left behind when that fails.
  void append(const std::string& archive, HistoryVisit visit);

  /// Writes all lines of the shard as the file's new content; deletes the file when there are none.
  void rewrite(const std::string& archive, Shard shard);

  void deleteArchive(const std::string& archive);

 private:
  Shard* cached(const std::string& archive);
  Shard& store(const std::string& archive, Shard shard);
  void forget(const std::string& archive);
  void refuseLink(const std::string& archive, std::string_view action) const;

  std::filesystem::path folder_;
  std::unordered_map<std::string, Shard> shards_;
  std::vector<std::string> shardUse_;  ///< the least recently used one first
};

}  // namespace vale
