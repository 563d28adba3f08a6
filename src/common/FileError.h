#pragma once

#include "common/Error.h"

#include <filesystem>
#include <string_view>

namespace vale {

/// What the system refused to do with one file. The message names the file and the reason.
struct FileError : Error {
  /// "Could not <action> “<path>”: <the system's text for `code`>."
  FileError(std::string_view action, std::filesystem::path path, int code);

  /// With the reason in our own words, a clause without its full stop.
  FileError(std::string_view action, std::filesystem::path path, int code, std::string_view reason);

  std::filesystem::path path;
  int code;  ///< an errno value
};

}  // namespace vale
