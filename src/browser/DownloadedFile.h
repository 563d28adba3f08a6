#pragma once

#include <filesystem>

namespace vale {

/// What stands at the place of a downloaded file.
enum class DownloadedFile {
  missing,
  document,
  program,  ///< something that would run when opened, or that cannot be told apart from it
};

/// Looks at the name and the first bytes. A link, a folder or a device is no document. Blocks on
/// the disk: for worker queues.
DownloadedFile downloadedFile(const std::filesystem::path& path);

}  // namespace vale
