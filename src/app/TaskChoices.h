#pragma once

#include "agents/AgentProvider.h"
#include "common/Preferences.h"
#include "intelligence/IntelligenceSettings.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vale {

/// The preference of what a new request to an agent may do, an AgentAccess; reading only without it.
inline constexpr std::string_view taskAccessKey = "ValeTaskAccess";

/// What the user wants a new request to begin with; reading only for a value that is neither.
AgentAccess taskAccess(const Preferences& preferences);

/// What the user once chose for new requests and the CLI does not offer any more, and what it takes in its
/// place: sentences, empty when it offers all.
std::string taskFallback(const IntelligenceSettings& settings, const ModelCatalog& catalog,
                         AgentProvider provider);

/// One entry of a list of models or efforts. Texts, not markup.
struct TaskChoice {
  std::optional<std::string> id;  ///< none: the CLI's own choice
  std::string name;
  std::string summary;

  bool operator==(const TaskChoice&) const = default;
};

/// The models that a CLI can be asked for, its own choice first. A wanted one that the catalog does not know
/// is kept, at the end.
std::vector<TaskChoice> taskModelChoices(const ModelCatalog& catalog, AgentProvider provider,
                                         const std::optional<std::string>& wanted);

/// The efforts that a model knows (none: the CLI's own choice of a model), the model's own first; all that
/// the CLI's models know where nothing is known of the model.
std::vector<TaskChoice> taskEffortChoices(const ModelCatalog& catalog, AgentProvider provider,
                                          const std::optional<std::string>& model,
                                          const std::optional<std::string>& wanted);

}  // namespace vale
