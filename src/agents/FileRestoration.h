#pragma once

#include "agents/ProjectFolder.h"

#include <optional>
#include <string>
#include <string_view>

namespace vale {

/// Puts single files of a project back, so that at every moment each is as it was or as it should be, and
/// only if it is still what the caller has seen: a file that was written in between is put back in its place.
/// Blocks on the disk. Each operation gives none when it went well, else why not, a sentence that names the
/// file.
class FileRestoration {
 public:
  explicit FileRestoration(ProjectFolder& folder) : folder_(folder) {}

  /// Writes a file or a link with this content and these permissions, in the place of `present`, or of
  /// nothing. Missing folders are made; an empty folder in its place is removed.
  std::optional<std::string> put(const std::string& path, const FileState& wanted, std::string_view content,
                                 const std::optional<FoundFile>& present);

  /// Removes the file that `present` is.
  std::optional<std::string> remove(const std::string& path, const FoundFile& present);

  /// "“x” has changed since the turn ended, so undo leaves it as it is."
  static std::string changedSince(std::string_view path);

 private:
  int fill(int folder, const std::string& name, const FileState& wanted, std::string_view content,
           const std::optional<FoundFile>& present) const;

  ProjectFolder& folder_;
};

}  // namespace vale
