#pragma once

#include "browser/SavedSession.h"

#include <cstddef>
#include <expected>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vale {

/// One kept session. Counted are all its tabs, those of folded groups and of the closed window too.
struct SessionGeneration {
  std::string name;
  Date date;  ///< when it was kept
  std::size_t windows = 0;
  std::size_t tabs = 0;

  bool operator==(const SessionGeneration&) const = default;
};

/// The sessions that earlier starts found, in a folder of private files named by time, byte for byte as they
/// were. Five are kept: a new one takes the place of the oldest, but never of the fullest of all. Blocks on
/// the disk; files that are no session, or not named like one, are left alone.
class SessionGenerations {
 public:
  static constexpr std::size_t limit = 5;

  /// In the support folder.
  static constexpr std::string_view folderName = "Sessions";

  explicit SessionGenerations(std::filesystem::path folder) : folder_(std::move(folder)) {}

  /// Keeps the bytes of a session file, unless it has no tab or equals the newest one kept. The generation
  /// named `spared` is not dropped for it. Throws DecodeError for bytes that are no session, and FileError.
  void keep(const std::string& bytes, Date now, std::string_view spared = {}) const;

  /// Newest first.
  std::vector<SessionGeneration> list() const;

  /// Removes those kept since, or all. Gives how many; throws FileError when one could not be removed, once
  /// the others are.
  std::size_t removeSince(std::optional<Date> since) const;

  /// The session with a name that `list` gave, or the sentence why there is none.
  std::expected<Session, Error> read(const std::string& name) const;

  /// Its bytes, checked to be a session.
  std::expected<std::string, Error> bytes(const std::string& name) const;

 private:
  std::vector<std::string> names() const;
  void dropOldest(std::string_view newest, std::string_view spared) const;

  std::filesystem::path folder_;
};

}  // namespace vale
