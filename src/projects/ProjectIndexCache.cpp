#include "projects/ProjectIndexCache.h"

#include "common/FileDescriptor.h"
#include "common/Log.h"
#include "common/PrivateFiles.h"

#include <cerrno>

namespace vale {

ProjectIndexCache ProjectIndexCache::load(const std::filesystem::path& file) {
  constexpr std::size_t largestFile = 256 << 20;
  const auto text = readFile(file, largestFile);
  if (!text) {
    if (text.error().code != ENOENT) log::warning("Vale project index: {}", text.error().message);
    return {};
  }
  try {
    auto cache = decodeText<ProjectIndexCache>(*text);
    if (cache.version == currentVersion) return cache;
  } catch (const Error& error) {
    log::info("Vale project index: the cache is read anew. {}", error.message);
  }
  return {};
}

void ProjectIndexCache::save(const std::filesystem::path& file) const {
  PrivateFiles::writeIfChanged(jsonText(encode(*this)) + "\n", file);
}

}  // namespace vale
