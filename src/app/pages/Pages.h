#pragma once

#include <string_view>

/// The built-in pages, as they are in this folder.
namespace vale::pages {

/// The HTML has the places "{nonce}" and "{style}".
extern const std::string_view bookmarksHtml;
extern const std::string_view bookmarksStyle;
extern const std::string_view bookmarksScript;

extern const std::string_view historyHtml;
extern const std::string_view historyStyle;
extern const std::string_view historyScript;

extern const std::string_view startHtml;
extern const std::string_view startStyle;
extern const std::string_view startScript;

}  // namespace vale::pages
