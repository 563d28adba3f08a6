#pragma once

#include "agents/CLIInstallations.h"
#include "common/Date.h"

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace vale {

/// The differences of two texts by lines, as `diff -u` finds them, in UTF-8.
struct UnifiedDiff {
  std::string text;  ///< empty when there is no difference
  bool cut = false;  ///< at the end of a line
  std::int64_t additions = 0;
  std::int64_t deletions = 0;

  /// Compares `before` with the content of the file `after`. None when there is no such command on PATH, or
  /// it fails or takes too long. `path` stands in the headings, unless `isNew` or `isGone`. Blocks.
  struct Files {
    std::string_view path;
    std::string_view before;
    std::filesystem::path after;
    bool isNew = false;
    bool isGone = false;
  };
  static std::optional<UnifiedDiff> of(const Files& files, const EnvironmentVariables& environment,
                                       std::size_t limit, Seconds timeout);

  /// True for what is no text: there is a NUL near its beginning.
  static bool isBinary(std::string_view bytes);
};

}  // namespace vale
