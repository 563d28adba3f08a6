#pragma once

#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

/// Where this user's files are, and which Vale this is.
namespace vale {

/// Looks up an environment variable.
using EnvironmentLookup = std::function<std::optional<std::string>(const std::string& name)>;

/// The lookup in this process's own environment.
std::optional<std::string> processEnvironment(const std::string& name);

/// $HOME when it is an absolute path, else the home folder of the user's password entry. Throws Error when
/// there is neither.
std::filesystem::path homeFolder(const EnvironmentLookup& environment = processEnvironment);

/// The folder of all that Vale keeps: $VALE_SUPPORT when set; else "Vale", or "Vale-unbundled" for a program
/// that runs from a build tree (so that developers never work on their own data), in $XDG_DATA_HOME (used
/// only when absolute, as the XDG base directories ask) or in ".local/share" of the home folder. Always
/// absolute; not made here.
std::filesystem::path supportFolder(const EnvironmentLookup& environment = processEnvironment);

/// True when the executable lies inside `buildFolder`, or in a folder that CMake builds in.
bool isInBuildTree(const std::filesystem::path& executable, const std::filesystem::path& buildFolder);

/// "0.1.0".
std::string_view version();

}  // namespace vale
