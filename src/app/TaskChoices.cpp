#include "app/TaskChoices.h"

#include "common/Text.h"

#include <fmt/format.h>

#include <algorithm>

namespace vale {

namespace {

const std::vector<AgentModel>& modelsOf(const ModelCatalog& catalog, AgentProvider provider) {
  return provider == AgentProvider::codex ? catalog.codex : catalog.claude;
}

/// What the CLI takes when it is not told.
std::optional<std::string> ownModel(const ModelCatalog& catalog, AgentProvider provider) {
  return provider == AgentProvider::codex ? catalog.codexConfiguredModel : std::nullopt;
}

std::string ownChoice(const std::optional<std::string>& known) {
  return known ? fmt::format("Its own ({})", singleLine(*known)) : std::string("Its own choice");
}

void keep(std::vector<TaskChoice>& choices, const std::optional<std::string>& wanted) {
  if (!wanted || std::ranges::find(choices, wanted, &TaskChoice::id) != choices.end()) return;
  choices.push_back({wanted, singleLine(*wanted), "The list of the agent does not have it."});
}

}  // namespace

AgentAccess taskAccess(const Preferences& preferences) {
  const auto kept = preferences.string(taskAccessKey);
  return kept ? fromRawValue<AgentAccess>(*kept).value_or(AgentAccess::readOnly) : AgentAccess::readOnly;
}

std::string taskFallback(const IntelligenceSettings& settings, const ModelCatalog& catalog,
                         AgentProvider provider) {
  std::string sentences;
  const auto& models = settings.taskModels().value();
  const auto model = settings.taskModel(provider, catalog);
  if (const auto wanted = models.find(provider); wanted != models.end() && !model) {
    sentences = fmt::format("{} does not offer the model “{}” any more and takes its usual one.",
                            productName(provider), singleLine(wanted->second));
  }
  const auto& efforts = settings.taskEfforts().value();
  if (const auto wanted = efforts.find(provider);
      wanted != efforts.end() && !settings.taskEffort(provider, model, catalog)) {
    sentences += fmt::format("{}This model does not know the effort “{}” and takes its usual one.",
                             sentences.empty() ? "" : " ", singleLine(wanted->second));
  }
  return sentences;
}

std::vector<TaskChoice> taskModelChoices(const ModelCatalog& catalog, AgentProvider provider,
                                         const std::optional<std::string>& wanted) {
  const auto own = ownModel(catalog, provider);
  const auto* ownKnown = own ? catalog.model(*own, provider) : nullptr;
  std::vector<TaskChoice> choices{{std::nullopt, ownChoice(ownKnown ? std::optional(ownKnown->label) : own),
                                   fmt::format("What {} takes when it is not told", productName(provider))}};
  for (const auto& model : modelsOf(catalog, provider)) {
    choices.push_back({model.id, model.label, model.summary});
  }
  keep(choices, wanted);
  return choices;
}

std::vector<TaskChoice> taskEffortChoices(const ModelCatalog& catalog, AgentProvider provider,
                                          const std::optional<std::string>& model,
                                          const std::optional<std::string>& wanted) {
  const auto asked = model ? model : ownModel(catalog, provider);
  const auto* known = asked ? catalog.model(*asked, provider) : nullptr;
  std::vector<TaskChoice> choices{{std::nullopt, ownChoice(known ? known->defaultEffort : std::nullopt), {}}};
  const auto add = [&](const std::string& effort) {
    if (std::ranges::find(choices, std::optional(effort), &TaskChoice::id) == choices.end()) {
      choices.push_back({effort, singleLine(effort), {}});
    }
  };
  if (known) {
    for (const auto& effort : known->efforts) add(effort);
  } else {
    for (const auto& one : modelsOf(catalog, provider)) {
      for (const auto& effort : one.efforts) add(effort);
    }
  }
  keep(choices, wanted);
  return choices;
}

}  // namespace vale
