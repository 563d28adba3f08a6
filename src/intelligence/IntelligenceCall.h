#pragma once

#include "agents/AgentProvider.h"
#include "agents/AgentUsage.h"
#include "common/Json.h"
#include "intelligence/IntelligenceOperation.h"

#include <cstddef>
#include <optional>
#include <string>

namespace vale {

enum class IntelligenceCallKind { classify, explore };
template <>
inline constexpr auto rawValues<IntelligenceCallKind> = std::to_array<RawValue<IntelligenceCallKind>>(
    {{IntelligenceCallKind::classify, "classify"}, {IntelligenceCallKind::explore, "explore"}});

/// One question that was asked, as the settings show it.
struct IntelligenceCall {
  using Kind = IntelligenceCallKind;

  Uuid id = Uuid::random();
  Kind kind = Kind::classify;
  IntelligenceOperation operation = IntelligenceOperation::general;
  AgentProvider provider = AgentProvider::codex;
  std::optional<std::string> model;   ///< what was asked for
  std::optional<std::string> effort;  ///< likewise
  Date startedAt{};
  double duration = 0;  ///< seconds
  std::optional<AgentUsage> usage;
  std::optional<std::string> error;
  std::optional<std::string> unreadableResponse;  ///< what came instead of an object, or its beginning
  std::size_t promptBytes = 0;
  // For the user to read, at most IntelligenceService::longestKeptText bytes of each. No part of a record.
  std::string prompt;
  std::string answer;  ///< as the agent gave it; empty when it gave none
};
BOOST_DESCRIBE_STRUCT(IntelligenceCall, (),
                      (id, kind, operation, provider, model, effort, startedAt, duration, usage, error,
                       unreadableResponse, promptBytes))

}  // namespace vale
