#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace vale {

/// Which of the user's words may stand on a CLI's command line. A value that fails is treated as absent.
namespace CLIValue {

/// Not empty, at most 128 bytes, ASCII letters, digits and `. _ : / - [ ] @` only, not beginning with "-".
bool isModel(std::string_view value);

/// Not empty, at most 32 bytes, ASCII lower-case letters, "_" and "-" only, not beginning with "-".
bool isEffort(std::string_view value);

/// The value when it passes its check, else none.
std::optional<std::string> model(const std::optional<std::string>& value);
std::optional<std::string> effort(const std::optional<std::string>& value);

}  // namespace CLIValue

}  // namespace vale
