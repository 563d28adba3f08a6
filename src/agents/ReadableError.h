#pragma once

#include <string>
#include <string_view>

namespace vale {

/// A CLI's error text as a sentence: of a JSON object its error.message, else its message, also where that is
/// such a text again; anything else unchanged.
std::string readableError(std::string_view text);

}  // namespace vale
