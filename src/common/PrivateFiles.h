#pragma once

#include "common/FileError.h"

#include <filesystem>
#include <string_view>

/// The one writer of the user's files: readable by the owner only, replaced whole. A crash, a full disk or a
/// power cut leaves the old file or the new one, never a part; at worst a temporary file beside it. Blocks on
/// the disk, so it belongs on a worker queue. Safe on every thread and between processes: of two writers the
/// last to finish wins.
namespace vale::PrivateFiles {

/// Writes `bytes` to a temporary file beside the target, flushes them to the disk and renames it over the
/// target. Missing folders are made, mode 0700. A symbolic link at `path` is replaced, not followed. The
/// temporary file is
/// "." + file name + "." + UUID + ".tmp", the file name cut where the whole would be too long for the system.
/// Throws FileError naming `path`, with no temporary file left.
void write(std::string_view bytes, const std::filesystem::path& path);

/// The same, but a file that already holds these bytes is left in place and only has its mode set to 0600.
/// True when it was written.
bool writeIfChanged(std::string_view bytes, const std::filesystem::path& path);

/// Makes the folder and the missing ones above it, mode 0700; leaves existing ones as they are. Throws
/// FileError.
void makeFolder(const std::filesystem::path& folder);

}  // namespace vale::PrivateFiles
