#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace vale {

/// What the build and package files right in a project's folder tell. Texts as they were written there.
struct ProjectManifest {
  std::vector<std::string> stack;  ///< "Rust", "Node.js", "React"; each once
  std::string name;                ///< what the project calls itself; may be empty
  std::string description;         ///< may be empty
};

namespace ProjectManifests {

/// Of a manifest no more than this is read.
inline constexpr std::size_t largestManifest = 256 * 1024;

/// Those of these file names that are manifests, most telling first.
std::vector<std::string> among(const std::vector<std::string>& names);

/// Reads them. `names` as `among` gave them. Malformed ones tell what their names tell. Reads the disk.
ProjectManifest read(const std::filesystem::path& folder, const std::vector<std::string>& names);

}  // namespace ProjectManifests

}  // namespace vale
