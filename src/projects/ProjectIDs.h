#pragma once

#include <functional>
#include <optional>
#include <set>
#include <string>
#include <string_view>

/// A project's id is its folder's absolute path. Agents, hand-edited files and command lines name projects by
/// it, and what they name is used only when it is one that was offered.
namespace vale {

using ProjectIDs = std::set<std::string, std::less<>>;

/// The id without the slashes at its end; none for a text that can be no id: empty, "/" alone, longer
/// than a path may be, or not one line of UTF-8 (control characters), or with a backtick.
std::optional<std::string> projectID(std::string_view text);

/// The one of `known` that is meant: the same text, but for slashes at its end. No other spelling of the same
/// folder ("~", a symbolic link, "..") counts.
std::optional<std::string> knownProjectID(std::string_view text, const ProjectIDs& known);

/// The ids that head the sections of the project index ("## /absolute/path", a line each), up to the list of
/// folders that no longer exist. A heading that is no such path, and a last line that was cut off before its
/// end, are passed over.
ProjectIDs indexHeadings(std::string_view markdown);

}  // namespace vale
