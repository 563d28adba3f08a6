#include "app/gtk/SupportPlace.h"

#include "common/FileError.h"
#include "common/Log.h"
#include "common/PrivateFiles.h"
#include "common/SupportFolder.h"

#include <cerrno>
#include <cstdlib>
#include <system_error>

namespace vale::gtk {

namespace {

std::filesystem::path makeTemporaryFolder() {
  std::error_code ignored;
  auto base = std::filesystem::temp_directory_path(ignored);
  if (ignored) base = "/tmp";
  std::string pattern = (base / "vale-XXXXXX").native();
  if (!::mkdtemp(pattern.data())) throw FileError("make a folder in", base, errno);
  return pattern;
}

}  // namespace

SupportPlace::SupportPlace(const CommandLine& commandLine) {
  const bool forgets = commandLine.screenshot || (commandLine.automation && !commandLine.support);
  if (!forgets) {
    folder_ = commandLine.support.value_or(supportFolder());
    try {
      PrivateFiles::makeFolder(folder_);
      lock_ = SupportFolderLock::tryAcquire(folder_);
      if (!lock_) problem_ = "Another Vale is using the same folder. Nothing of this window will be kept.";
    } catch (const Error& error) {
      problem_ = error.message + " Nothing of this window will be kept.";
    }
    kept_ = lock_.has_value();
  }
  if (!kept_) folder_ = makeTemporaryFolder();
}

SupportPlace::~SupportPlace() {
  if (kept_ || folder_.empty()) return;
  std::error_code problem;
  std::filesystem::remove_all(folder_, problem);
  if (problem) log::warning("Could not remove {}: {}.", folder_.native(), problem.message());
}

}  // namespace vale::gtk
