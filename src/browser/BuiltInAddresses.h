#pragma once

#include <string_view>

namespace vale {

/// The browser's own pages.
inline constexpr std::string_view startAddress = "vale://start";
inline constexpr std::string_view historyAddress = "vale://history";
inline constexpr std::string_view bookmarksAddress = "vale://bookmarks";

/// True for a tab that shows nothing of the user's yet: an empty one, or the start page.
constexpr bool isStart(std::string_view address) { return address.empty() || address == startAddress; }

}  // namespace vale
