#pragma once

#include "common/Preferences.h"

#include <string>
#include <string_view>

namespace vale {

/// The preference of what an empty tab shows: an address, or nothing where it is the empty text. The start
/// page without it.
inline constexpr std::string_view newTabKey = "ValeNewTab";

/// The address of that page; empty for none. Only web addresses count, and the browser's own.
std::string newTabAddress(const Preferences& preferences);

}  // namespace vale
