#include "intelligence/ModelCatalogReader.h"

#include "common/FileDescriptor.h"

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/use_awaitable.hpp>

#include <cstdint>
#include <string>
#include <sys/stat.h>

namespace vale {
namespace {

constexpr std::size_t largestFile = 4 << 20;

/// What tells one content of a file from another without reading it.
struct FileState {
  std::uint64_t device = 0;
  std::uint64_t inode = 0;
  std::int64_t size = -1;  ///< -1: there is none
  std::int64_t seconds = 0;
  std::int64_t nanoseconds = 0;

  bool operator==(const FileState&) const = default;
};

FileState stateOf(const std::filesystem::path& file) {
  struct stat status = {};
  if (::stat(file.c_str(), &status) != 0) return {};
  return {.device = status.st_dev,
          .inode = status.st_ino,
          .size = status.st_size,
          .seconds = status.st_mtim.tv_sec,
          .nanoseconds = status.st_mtim.tv_nsec};
}

}  // namespace

struct ModelCatalogReader::State {
  const std::filesystem::path cache;
  const std::filesystem::path configuration;
  Published<ModelCatalog> catalog;
  FileState cacheState;
  FileState configurationState;

  /// What there is to know, and what of the files it was taken from.
  struct Reading {
    std::optional<ModelCatalog> catalog;  ///< none: nothing has changed
    FileState cacheState;
    FileState configurationState;
  };

  static Task<Reading> read(std::filesystem::path cache, std::filesystem::path configuration,
                            ModelCatalog catalog, FileState knownCache, FileState knownConfiguration);
};

/// On the worker pool.
Task<ModelCatalogReader::State::Reading>
ModelCatalogReader::State::read(std::filesystem::path cache, std::filesystem::path configuration,
                                ModelCatalog catalog, FileState knownCache, FileState knownConfiguration) {
  // Looked at before they are read: a change between the two is then found the next time.
  Reading reading{.catalog = {}, .cacheState = stateOf(cache), .configurationState = stateOf(configuration)};
  if (reading.cacheState == knownCache && reading.configurationState == knownConfiguration) co_return reading;
  if (reading.cacheState != knownCache) {
    auto listed = ModelCatalog::codexModels(readFile(cache, largestFile).value_or(std::string()));
    catalog.codex = std::move(listed.models);
    catalog.codexCacheClientVersion = std::move(listed.clientVersion);
  }
  if (reading.configurationState != knownConfiguration) {
    catalog.codexConfiguredModel =
        ModelCatalog::topLevelString("model", readFile(configuration, largestFile).value_or(std::string()));
  }
  reading.catalog = std::move(catalog);
  co_return reading;
}

ModelCatalogReader::ModelCatalogReader(std::filesystem::path codexHome, Surroundings surroundings)
    : state_(std::make_shared<State>(codexHome / "models_cache.json", codexHome / "config.toml")),
      workers_(surroundings.workers) {}

Task<> ModelCatalogReader::refresh() {
  const std::weak_ptr<State> weak = state_;
  auto reading =
      co_await asio::co_spawn(workers_.executor(),
                              State::read(state_->cache, state_->configuration, state_->catalog.value(),
                                          state_->cacheState, state_->configurationState),
                              asio::use_awaitable);
  const auto state = weak.lock();
  if (!state || !reading.catalog) co_return;
  state->cacheState = reading.cacheState;
  state->configurationState = reading.configurationState;
  state->catalog.set(*std::move(reading.catalog));
}

const Published<ModelCatalog>& ModelCatalogReader::catalog() const { return state_->catalog; }

}  // namespace vale
