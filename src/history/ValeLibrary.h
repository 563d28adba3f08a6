#pragma once

#include <filesystem>
#include <string_view>

namespace vale {

/// Where the user's library lies.
namespace ValeLibraryPaths {

/// The user's own support folder: see common/SupportFolder.
std::filesystem::path support();

/// The library root in a support folder: "Library".
std::filesystem::path library(const std::filesystem::path& support);

}  // namespace ValeLibraryPaths

/// The library folder: the user's browsing as plain files, which agents are started in to search it. A value.
struct ValeLibrary {
  std::filesystem::path root;

  std::filesystem::path history() const { return root / "history"; }
  std::filesystem::path index() const { return root / "index"; }
  std::filesystem::path dayTimelines() const { return index() / "days"; }

  /// Makes the folders (mode 0700, existing ones are tightened) and the instruction files "AGENTS.md" and
  /// "CLAUDE.md" (mode 0600; left in place when they hold this text already). Throws FileError.
  void prepare() const;

  /// What the instruction files say, byte for byte.
  static std::string_view instructions();
};

}  // namespace vale
