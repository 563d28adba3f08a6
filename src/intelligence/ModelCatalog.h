#pragma once

#include "agents/AgentRequest.h"
#include "agents/CLIVersion.h"
#include "intelligence/IntelligenceOperation.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vale {

/// A model that a CLI offers.
struct AgentModel {
  AgentProvider provider = AgentProvider::codex;
  std::string id;  ///< what the CLI is asked for
  std::string label;
  std::string summary;
  std::vector<std::string> efforts;  ///< the reasoning efforts that it knows, least first
  std::optional<std::string> defaultEffort = {};

  bool operator==(const AgentModel&) const = default;
};

/// Which models each CLI has on offer, and which of them the browser's own questions are put to. A value;
/// pure.
struct ModelCatalog {
  /// In the order in which Codex lists them; empty while it has not written its list down.
  std::vector<AgentModel> codex;
  /// The Codex that wrote the list.
  std::optional<CLIVersion> codexCacheClientVersion;
  /// What Codex uses when it is not told.
  std::optional<std::string> codexConfiguredModel;
  std::vector<AgentModel> claude = claudeModels();

  /// "gpt-6-luna" when Codex offers it.
  std::optional<std::string> fastCodexModel() const;

  /// What to ask a provider for in an operation. Of Codex only a model that it is known to offer: the usual
  /// one, else the fast one; else the CLI's own choice, which leaves the model out.
  IntelligenceChoice intelligenceChoice(IntelligenceOperation operation, AgentProvider provider) const;

  /// The hint for users whose Codex lists models, but not the fast one. None while an update would not help:
  /// without Codex, without its list, or when a Codex older than the installed one has written the list.
  std::optional<std::string> codexUpdateNote(const std::optional<CLIVersion>& cliVersion) const;

  /// Null when the provider does not offer it. Valid as long as the catalog.
  const AgentModel* model(std::string_view id, AgentProvider provider) const;

  struct CodexModels {
    std::vector<AgentModel> models;
    std::optional<CLIVersion> clientVersion;
  };
  /// What Codex's "models_cache.json" lists, in order of priority; empty when the text is anything else.
  /// Models that are not for listing, or without an id, are left out.
  static CodexModels codexModels(std::string_view cacheText);

  /// The value of a key before the first table of a TOML text, unquoted; none when it is not there, empty, or
  /// no string of one line.
  static std::optional<std::string> topLevelString(std::string_view key, std::string_view toml);

  /// The aliases that Claude Code knows.
  static std::vector<AgentModel> claudeModels();

  bool operator==(const ModelCatalog&) const = default;
};

/// The choice in a word: the model, or "default".
std::string description(const IntelligenceChoice& choice);

}  // namespace vale
