#pragma once

#include <string_view>

namespace vale {

/// The filter list that comes with the program, in EasyList's form.
extern const std::string_view ownFilters;

}  // namespace vale
