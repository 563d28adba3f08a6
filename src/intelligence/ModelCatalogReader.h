#pragma once

#include "common/Published.h"
#include "common/Surroundings.h"
#include "intelligence/ModelCatalog.h"

#include <filesystem>
#include <memory>
#include <optional>

namespace vale {

/// Keeps the catalog of models up to date with Codex's own files, which are only read: "models_cache.json"
/// and "config.toml" in its home folder. Main thread only; the files are read on the worker pool. Files that
/// are missing, unreadable, larger than 4 MiB or no files of that kind count as empty.
class ModelCatalogReader {
 public:
  /// `codexHome`: see AgentEnvironment.
  ModelCatalogReader(std::filesystem::path codexHome, Surroundings surroundings);

  /// Looks whether the files have changed since, and reads those that have.
  Task<> refresh();

  /// Without Codex's models until the first `refresh` has ended.
  const Published<ModelCatalog>& catalog() const;

 private:
  struct State;
  std::shared_ptr<State> state_;
  WorkerPool& workers_;
};

}  // namespace vale
