#pragma once

#include "browser/FilterList.h"

#include <string_view>
#include <variant>

namespace vale {

/// One line of a filter list: nothing where it says what the engine cannot do.
using FilterLine = std::variant<std::monostate, RequestFilter, HidingFilter>;

/// True for a line that is no filter at all: a comment, a header, or an entry of a hosts file that names this
/// machine.
bool isFilterComment(std::string_view line);

/// The line without white space at its ends, and no comment.
FilterLine readFilterLine(std::string_view line);

}  // namespace vale
