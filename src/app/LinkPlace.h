#pragma once

#include "common/RawValues.h"

#include <string_view>

namespace vale {

/// Where an address opens that another program hands over.
enum class LinkPlace { tab, window };
template <>
inline constexpr auto rawValues<LinkPlace> =
    std::to_array<RawValue<LinkPlace>>({{LinkPlace::tab, "tab"}, {LinkPlace::window, "window"}});

inline constexpr std::string_view linkPlaceKey = "ValeOpenLinks";

}  // namespace vale
