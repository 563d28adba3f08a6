#pragma once

#include "browser/SavedSession.h"

#include <cstddef>
#include <filesystem>
#include <optional>
#include <string>

namespace vale {

/// Where the session file is; the files beside it are found from its folder. Blocks on the disk; safe on
/// every thread.
struct SessionFile {
  /// A larger file is not read: no session is that large, and its records would need several times as much.
  static constexpr std::size_t largestFile = 512 << 20;

  std::filesystem::path url;

  /// What the file holds, for keeping it unchanged; none when there is no file. Throws FileError.
  std::optional<std::string> bytes() const;

  /// The session; none when there is no file. Throws Error when it cannot be read or is no session.
  std::optional<Session> read() const;

  /// Throws DecodeError.
  static Session decode(const std::string& bytes);
  static std::string encode(const Session& session);
};

}  // namespace vale
