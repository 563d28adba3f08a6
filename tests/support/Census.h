#pragma once

#include <filesystem>
#include <fstream>
#include <string>

namespace vale::test {

/// What this process holds at one moment, to be compared with what it holds later.
struct Census {
  std::size_t descriptors = 0;
  std::size_t threads = 0;

  static Census take() {
    return {.descriptors = count("/proc/self/fd"), .threads = count("/proc/self/task")};
  }

  bool operator==(const Census&) const = default;

  /// True when no thread waits for a child any more.
  static bool childrenAreGone() {
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/task")) {
      std::ifstream file(entry.path() / "comm");
      std::string name;
      std::getline(file, name);
      if (name.starts_with("Vale child") || name.starts_with("Vale ending")) return false;
    }
    return true;
  }

 private:
  static std::size_t count(const char* folder) {
    std::size_t found = 0;
    for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator(folder)) ++found;
    return found;
  }
};

}  // namespace vale::test
