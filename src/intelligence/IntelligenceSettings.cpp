#include "intelligence/IntelligenceSettings.h"

#include <algorithm>
#include <array>
#include <utility>

namespace vale {
namespace {

constexpr std::array providers{AgentProvider::codex, AgentProvider::claude};

std::string keyOf(std::string_view prefix, AgentProvider provider) {
  return std::string(prefix).append(rawValue(provider));
}

void store(Preferences& preferences, std::string_view key, const std::optional<std::string>& text) {
  if (text && !text->empty()) {
    preferences.set(key, json::string(*text));
  } else {
    preferences.remove(key);
  }
}

std::optional<std::string> nameOf(std::optional<AgentProvider> provider) {
  return provider ? std::optional<std::string>(rawValue(*provider)) : std::nullopt;
}

std::optional<AgentProvider> storedProvider(const Preferences& preferences, std::string_view key) {
  const auto name = preferences.string(key);
  return name ? fromRawValue<AgentProvider>(*name) : std::nullopt;
}

std::map<AgentProvider, std::string> storedTexts(const Preferences& preferences, std::string_view prefix) {
  std::map<AgentProvider, std::string> texts;
  for (const auto provider : providers) {
    auto text = preferences.string(keyOf(prefix, provider));
    if (text && !text->empty()) texts.emplace(provider, *std::move(text));
  }
  return texts;
}

}  // namespace

IntelligenceSettings::IntelligenceSettings(Preferences& preferences) : preferences_(preferences) {
  read();
  changes_ = Subscription(preferences.changed().connect([this](const std::string&) { read(); }));
}

void IntelligenceSettings::read() {
  intelligenceProvider_.set(storedProvider(preferences_, intelligenceProviderKey));
  taskProvider_.set(storedProvider(preferences_, taskProviderKey));
  taskModels_.set(storedTexts(preferences_, taskModelKeyPrefix));
  taskEfforts_.set(storedTexts(preferences_, taskEffortKeyPrefix));
}

void IntelligenceSettings::setIntelligenceProvider(std::optional<AgentProvider> provider) {
  store(preferences_, intelligenceProviderKey, nameOf(provider));
}

void IntelligenceSettings::setTaskProvider(std::optional<AgentProvider> provider) {
  store(preferences_, taskProviderKey, nameOf(provider));
}

void IntelligenceSettings::setTaskModel(const std::optional<std::string>& model, AgentProvider provider) {
  store(preferences_, keyOf(taskModelKeyPrefix, provider), model);
}

void IntelligenceSettings::setTaskEffort(const std::optional<std::string>& effort, AgentProvider provider) {
  store(preferences_, keyOf(taskEffortKeyPrefix, provider), effort);
}

std::optional<std::string> IntelligenceSettings::taskModel(AgentProvider provider,
                                                           const ModelCatalog& catalog) const {
  const auto wanted = taskModels_.value().find(provider);
  if (wanted == taskModels_.value().end()) return std::nullopt;
  const bool isKnown = provider == AgentProvider::claude || !catalog.codex.empty();
  if (isKnown && !catalog.model(wanted->second, provider)) return std::nullopt;
  return wanted->second;
}

std::optional<std::string> IntelligenceSettings::taskEffort(AgentProvider provider,
                                                            const std::optional<std::string>& model,
                                                            const ModelCatalog& catalog) const {
  const auto wanted = taskEfforts_.value().find(provider);
  if (wanted == taskEfforts_.value().end()) return std::nullopt;
  const auto& asked = !model && provider == AgentProvider::codex ? catalog.codexConfiguredModel : model;
  const auto* known = asked ? catalog.model(*asked, provider) : nullptr;
  if (known && std::ranges::find(known->efforts, wanted->second) == known->efforts.end()) return std::nullopt;
  return wanted->second;
}

std::optional<AgentProvider> IntelligenceSettings::resolve(std::optional<AgentProvider> preferred,
                                                           AgentProvider fallback,
                                                           const std::set<AgentProvider>& ready,
                                                           const std::set<AgentProvider>& installed) {
  // The sets are in the order codex, claude.
  if (const auto wanted = preferred.value_or(fallback); ready.contains(wanted)) return wanted;
  if (!ready.empty()) return *ready.begin();
  if (preferred && installed.contains(*preferred)) return preferred;
  if (!installed.empty()) return *installed.begin();
  return std::nullopt;
}

}  // namespace vale
