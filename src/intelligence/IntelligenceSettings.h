#pragma once

#include "agents/AgentProvider.h"
#include "common/Preferences.h"
#include "common/Published.h"
#include "intelligence/ModelCatalog.h"

#include <map>
#include <optional>
#include <set>
#include <string>

namespace vale {

/// Which CLI and model the user wants: for the browser's own questions, and for tasks. Kept in the
/// preferences, and follows them. Main thread only.
class IntelligenceSettings {
 public:
  static constexpr std::string_view intelligenceProviderKey = "ValeIntelligenceProvider";
  static constexpr std::string_view taskProviderKey = "ValeTaskProvider";
  /// Followed by the provider's name.
  static constexpr std::string_view taskModelKeyPrefix = "ValeTaskModel.";
  static constexpr std::string_view taskEffortKeyPrefix = "ValeTaskEffort.";

  /// The preferences must outlive the object.
  explicit IntelligenceSettings(Preferences& preferences);
  IntelligenceSettings(const IntelligenceSettings&) = delete;
  IntelligenceSettings& operator=(const IntelligenceSettings&) = delete;

  /// None: chosen automatically.
  const Published<std::optional<AgentProvider>>& intelligenceProvider() const {
    return intelligenceProvider_;
  }
  void setIntelligenceProvider(std::optional<AgentProvider> provider);

  /// Preselected for tasks.
  const Published<std::optional<AgentProvider>>& taskProvider() const { return taskProvider_; }
  void setTaskProvider(std::optional<AgentProvider> provider);

  const Published<std::map<AgentProvider, std::string>>& taskModels() const { return taskModels_; }
  const Published<std::map<AgentProvider, std::string>>& taskEfforts() const { return taskEfforts_; }
  void setTaskModel(const std::optional<std::string>& model, AgentProvider provider);
  void setTaskEffort(const std::optional<std::string>& effort, AgentProvider provider);

  /// The model for tasks: the user's, while the catalog offers it or cannot tell; else none, which leaves it
  /// to the CLI.
  std::optional<std::string> taskModel(AgentProvider provider, const ModelCatalog& catalog) const;

  /// The effort for tasks with this model (none: the CLI's own): the user's, while the model knows it or
  /// nothing is known of the model; else none.
  std::optional<std::string> taskEffort(AgentProvider provider, const std::optional<std::string>& model,
                                        const ModelCatalog& catalog) const;

  /// The preferred provider, or else the fallback, when it is ready; else the first ready one; else the
  /// preferred one, or else the first, that is at least installed. The order is codex, claude.
  static std::optional<AgentProvider> resolve(std::optional<AgentProvider> preferred, AgentProvider fallback,
                                              const std::set<AgentProvider>& ready,
                                              const std::set<AgentProvider>& installed);

 private:
  void read();

  Preferences& preferences_;
  Published<std::optional<AgentProvider>> intelligenceProvider_;
  Published<std::optional<AgentProvider>> taskProvider_;
  Published<std::map<AgentProvider, std::string>> taskModels_;
  Published<std::map<AgentProvider, std::string>> taskEfforts_;
  Subscription changes_;
};

}  // namespace vale
