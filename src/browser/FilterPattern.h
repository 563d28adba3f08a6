#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace vale {

/// What the pattern of a filter says as expressions of the engine's content blocker, which match an address
/// if one of them does: one, or two where "^" may stand for the end. The pattern is either text with "||",
/// "|", "^" and "*", or an expression between slashes. Empty when the engine cannot match it: the engine
/// knows no alternatives, counts or look-ahead, and ASCII only. Bounded in length and in wildcards, so that
/// no list can make the engine's automaton explode.
std::vector<std::string> filterExpressions(std::string_view pattern);

/// Matches every address.
inline constexpr std::string_view everyAddress = ".*";

}  // namespace vale
