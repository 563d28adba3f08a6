#pragma once

#include "browser/Bookmarks.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

/// The HTML file of bookmarks that every browser writes and reads: folders as lists within lists. Safe on
/// every thread; of what is read nothing is trusted, and the time is linear in its length.
namespace vale::BookmarkHtml {

inline constexpr std::size_t largestFile = 50 << 20;

/// The links in their order. What is missing, misplaced or left open is made the best of; folders deeper than
/// Vale has them count as the deepest.
std::vector<ImportedBookmark> read(std::string_view html);

/// All bookmarks, as the bar's.
std::string write(const Bookmarks& bookmarks);

}  // namespace vale::BookmarkHtml
