#include "history/ValeLibrary.h"

#include "common/PrivateFiles.h"
#include "common/SupportFolder.h"

#include <cerrno>
#include <sys/stat.h>

namespace vale {

std::filesystem::path ValeLibraryPaths::support() { return supportFolder(); }

std::filesystem::path ValeLibraryPaths::library(const std::filesystem::path& support) {
  return support / "Library";
}

void ValeLibrary::prepare() const {
  for (const auto& folder : {root, history(), index(), dayTimelines()}) {
    PrivateFiles::makeFolder(folder);
    if (chmod(folder.c_str(), 0700) != 0) throw FileError("make private", folder, errno);
  }
  for (const auto* name : {"AGENTS.md", "CLAUDE.md"}) {
    PrivateFiles::writeIfChanged(instructions(), root / name);
  }
}

}  // namespace vale
