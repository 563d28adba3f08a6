#pragma once

#include "app/gtk/CommandLine.h"
#include "common/SupportFolderLock.h"

#include <filesystem>
#include <optional>
#include <string>

namespace vale::gtk {

/// The support folder of this run: the user's own, held against a second writer; or one of its own that goes
/// with it, for runs that leave nothing behind and for those that came second.
class SupportPlace {
 public:
  /// Throws FileError when there is no room even for a temporary folder.
  explicit SupportPlace(const CommandLine& commandLine);
  ~SupportPlace();
  SupportPlace(const SupportPlace&) = delete;
  SupportPlace& operator=(const SupportPlace&) = delete;

  const std::filesystem::path& folder() const { return folder_; }

  /// False: what the run leaves is forgotten at its end.
  bool isKept() const { return kept_; }

  /// Why a run that should be kept is not, a sentence for the user.
  const std::optional<std::string>& problem() const { return problem_; }

 private:
  std::filesystem::path folder_;
  bool kept_ = false;
  std::optional<SupportFolderLock> lock_;
  std::optional<std::string> problem_;
};

}  // namespace vale::gtk
