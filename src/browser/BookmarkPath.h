#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// The paths of bookmark folders: their names, outermost first, joined by " › ". The empty path is the
/// bookmarks bar, which everything else lies in.
namespace vale::BookmarkPath {

inline constexpr std::string_view separator = " › ";

/// Bounds, in characters and levels.
inline constexpr std::size_t longestName = 100;
inline constexpr std::size_t deepest = 16;

/// What was typed or read as a folder's name: one line, no separator in it, cut to `longestName`. Empty when
/// nothing is left.
std::string name(std::string_view text);

std::string join(std::string_view parent, std::string_view name);

/// The path around a path; empty for a folder on the bar.
std::string_view parent(std::string_view path);
std::string_view lastName(std::string_view path);
std::vector<std::string_view> names(std::string_view path);
std::size_t depth(std::string_view path);

/// True for the folder itself too. Everything is within the bar.
bool isWithin(std::string_view path, std::string_view folder);

/// The path once `from` has become `to`; unchanged when it is not within `from`.
std::string moved(std::string_view path, std::string_view from, std::string_view to);

/// A path out of a file: without empty names, and no deeper than `deepest`.
std::string bounded(std::string_view path);

}  // namespace vale::BookmarkPath
