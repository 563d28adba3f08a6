#pragma once

#include "common/SupportFolder.h"

#include <filesystem>
#include <functional>
#include <string>

/// Where a downloaded file goes.
namespace vale {

/// The user's folder for downloads: XDG_DOWNLOAD_DIR of the file "user-dirs.dirs" in $XDG_CONFIG_HOME or
/// "~/.config" (xdg-user-dirs), else "~/Downloads". Not made here. Throws Error when there is no home folder.
std::filesystem::path userDownloadsDirectory(const EnvironmentLookup& environment = processEnvironment);

/// A file name made of what a server suggests: without folders, leading full stops, and characters that
/// control a terminal or reorder text; valid UTF-8 of at most 200 bytes, its extension kept; "download" when
/// nothing is left.
std::string safeFileName(std::string_view suggested);

/// The name in the folder, or "name (1).ext", "name (2).ext" and so on: the first for which `isTaken` is
/// false.
std::filesystem::path freeDestination(const std::filesystem::path& folder, const std::string& name,
                                      const std::function<bool(const std::filesystem::path&)>& isTaken);

}  // namespace vale
