#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace vale {

/// Text that others wrote, as it may stand behind a label: one line of valid UTF-8 without white space at its
/// ends, at most so many characters, and at most 32 bytes for each of these.
std::string dataLine(std::string_view text, std::size_t characters);

}  // namespace vale
