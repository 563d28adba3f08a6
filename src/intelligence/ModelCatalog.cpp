#include "intelligence/ModelCatalog.h"

#include "common/Json.h"
#include "common/Text.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <utility>

namespace vale {
namespace {

constexpr std::string_view fastModel = "gpt-6-luna";
constexpr std::string_view usualClaudeModel = "sonnet";

/// What an operation is usually asked with.
IntelligenceChoice intelligenceDefault(IntelligenceOperation operation, AgentProvider provider) {
  using enum IntelligenceOperation;
  const auto isOneOf = [operation](auto... candidates) { return ((operation == candidates) || ...); };
  if (provider == AgentProvider::claude) {
    const auto effort = isOneOf(projectAreas, timeline) ? std::optional<std::string>("low") : std::nullopt;
    return {.model = std::string(usualClaudeModel), .effort = effort};
  }
  const bool isSol = isOneOf(routing, tabAssignment, projectAreas, timeline);
  return {.model = isSol ? "gpt-6-sol" : std::string(fastModel), .effort = "low"};
}

/// Text of Codex as a menu can show it.
std::string shown(const json::object& entry, std::string_view key) {
  return singleLine(trimmed(stringMember(entry, key).value_or("")));
}

std::optional<std::string> unlessEmpty(std::string text) {
  return text.empty() ? std::nullopt : std::optional(std::move(text));
}

AgentModel codexModel(const json::object& entry, std::string id) {
  AgentModel model{.provider = AgentProvider::codex,
                   .id = std::move(id),
                   .label = shown(entry, "display_name"),
                   .summary = shown(entry, "description"),
                   .efforts = {},
                   .defaultEffort = unlessEmpty(shown(entry, "default_reasoning_level"))};
  if (model.label.empty()) model.label = model.id;
  if (const auto* levels = arrayMember(entry, "supported_reasoning_levels")) {
    for (const auto& level : *levels) {
      auto effort = level.is_object() ? shown(level.get_object(), "effort") : std::string();
      if (!effort.empty()) model.efforts.push_back(std::move(effort));
    }
  }
  return model;
}

/// The string that a TOML value is, whole, on one line; a comment may follow it.
std::optional<std::string> tomlString(std::string_view value) {
  const char quote = value.empty() ? '\0' : value.front();
  if ((quote != '"' && quote != '\'') || value.starts_with(std::string(3, quote))) return std::nullopt;
  std::size_t end = 1;
  while (end < value.size() && value[end] != quote) end += quote == '"' && value[end] == '\\' ? 2 : 1;
  if (end >= value.size()) return std::nullopt;
  const auto rest = trimmed(value.substr(end + 1));
  if (!rest.empty() && !rest.starts_with('#')) return std::nullopt;
  const auto content = value.substr(1, end - 1);
  if (quote == '\'' || !content.contains('\\')) return std::string(content);
  // The escapes that a name can need are JSON's own.
  const auto parsed = tryParseJson(value.substr(0, end + 1));
  const auto* text = parsed ? parsed->if_string() : nullptr;
  return text ? std::optional<std::string>(*text) : std::nullopt;
}

}  // namespace

std::optional<std::string> ModelCatalog::fastCodexModel() const {
  return model(fastModel, AgentProvider::codex) ? std::optional<std::string>(fastModel) : std::nullopt;
}

IntelligenceChoice ModelCatalog::intelligenceChoice(IntelligenceOperation operation,
                                                    AgentProvider provider) const {
  auto choice = intelligenceDefault(operation, provider);
  if (provider == AgentProvider::codex && !model(*choice.model, provider)) choice.model = fastCodexModel();
  return choice;
}

std::optional<std::string> ModelCatalog::codexUpdateNote(const std::optional<CLIVersion>& cliVersion) const {
  if (!cliVersion || codex.empty() || fastCodexModel()) return std::nullopt;
  if (codexCacheClientVersion && *codexCacheClientVersion < *cliVersion) return std::nullopt;
  return "Update Codex with codex update in Terminal to use " + std::string(fastModel);
}

const AgentModel* ModelCatalog::model(std::string_view id, AgentProvider provider) const {
  const auto& models = provider == AgentProvider::codex ? codex : claude;
  const auto found = std::ranges::find(models, id, &AgentModel::id);
  return found == models.end() ? nullptr : &*found;
}

ModelCatalog::CodexModels ModelCatalog::codexModels(std::string_view cacheText) {
  CodexModels result;
  const auto parsed = tryParseJson(cacheText);
  const auto* cache = parsed ? parsed->if_object() : nullptr;
  if (!cache) return result;
  if (const auto version = stringMember(*cache, "client_version"))
    result.clientVersion = CLIVersion::parse(*version);
  const auto* entries = arrayMember(*cache, "models");
  if (!entries) return result;

  // One without a priority comes last.
  std::vector<std::pair<double, AgentModel>> listed;
  for (const auto& value : *entries) {
    const auto* entry = value.if_object();
    if (!entry || stringMember(*entry, "visibility") != "list") continue;
    const auto slug = stringMember(*entry, "slug");
    auto name = std::string(slug ? *slug : stringMember(*entry, "id").value_or(""));
    // It goes on a command line, where nothing that looks like an option is wanted.
    if (name.empty() || name.starts_with('-') || singleLine(name) != name) continue;
    const auto priority = numberMember(*entry, "priority").value_or(std::numeric_limits<double>::infinity());
    listed.emplace_back(priority, codexModel(*entry, std::move(name)));
  }
  std::ranges::stable_sort(listed, {}, &std::pair<double, AgentModel>::first);
  for (auto& [priority, model] : listed) result.models.push_back(std::move(model));
  return result;
}

std::optional<std::string> ModelCatalog::topLevelString(std::string_view key, std::string_view toml) {
  while (!toml.empty()) {
    const auto end = std::min(toml.find('\n'), toml.size());
    const auto line = trimmed(toml.substr(0, end));
    toml.remove_prefix(std::min(end + 1, toml.size()));
    if (line.starts_with('[')) return std::nullopt;
    const auto equals = line.find('=');
    if (equals == std::string_view::npos || trimmed(line.substr(0, equals)) != key) continue;
    const auto value = tomlString(trimmed(line.substr(equals + 1)));
    return value ? unlessEmpty(*value) : std::nullopt;
  }
  return std::nullopt;
}

std::vector<AgentModel> ModelCatalog::claudeModels() {
  const auto model = [](const char* id, const char* label, const char* summary) {
    return AgentModel{.provider = AgentProvider::claude,
                      .id = id,
                      .label = label,
                      .summary = summary,
                      .efforts = {"low", "medium", "high", "xhigh", "max"}};
  };
  return {model("haiku", "Haiku", "Fastest, for small and mechanical edits."),
          model("sonnet", "Sonnet", "Balanced speed and depth for everyday work."),
          model("opus", "Opus", "Deepest reasoning for hard, multi-file changes.")};
}

std::string description(const IntelligenceChoice& choice) { return choice.model.value_or("default"); }

}  // namespace vale
