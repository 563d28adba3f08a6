#pragma once

#include <filesystem>
#include <fstream>
#include <string_view>

namespace vale::test {

/// Writes a shell script that stands for a program, with the folders above it.
inline std::filesystem::path writeProgram(const std::filesystem::path& path, std::string_view script) {
  std::filesystem::create_directories(path.parent_path());
  std::ofstream(path) << "#!/bin/sh\n" << script << '\n';
  std::filesystem::permissions(path, std::filesystem::perms::owner_all);
  return path;
}

}  // namespace vale::test
