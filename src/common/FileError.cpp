#include "common/FileError.h"

#include "common/Text.h"

#include <fmt/format.h>

#include <utility>

namespace vale {

FileError::FileError(std::string_view action, std::filesystem::path path, int code)
    : FileError(action, std::move(path), code, systemErrorText(code)) {}

FileError::FileError(std::string_view action, std::filesystem::path path, int code, std::string_view reason)
    : Error(fmt::format("Could not {} “{}”: {}.", action, singleLine(path.native()), reason)),
      path(std::move(path)), code(code) {}

}  // namespace vale
