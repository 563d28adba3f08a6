#pragma once

#include "common/RawValues.h"

#include <string_view>

namespace vale {

/// The coding-agent command-line tools that Vale runs.
enum class AgentProvider { codex, claude };
template <>
inline constexpr auto rawValues<AgentProvider> = std::to_array<RawValue<AgentProvider>>(
    {{AgentProvider::codex, "codex"}, {AgentProvider::claude, "claude"}});

/// What a run is for: `task` is a user's coding request, `classify` a one-shot structured answer without
/// tools, `explore` a read-only search of the library folder.
enum class AgentProfile { task, classify, explore };
template <>
inline constexpr auto rawValues<AgentProfile> = std::to_array<RawValue<AgentProfile>>(
    {{AgentProfile::task, "task"}, {AgentProfile::classify, "classify"}, {AgentProfile::explore, "explore"}});

/// What a task may do to its project folder.
enum class AgentAccess { readOnly, projectWrite };
template <>
inline constexpr auto rawValues<AgentAccess> = std::to_array<RawValue<AgentAccess>>(
    {{AgentAccess::readOnly, "readOnly"}, {AgentAccess::projectWrite, "projectWrite"}});

/// "Codex" and "Claude Code".
constexpr std::string_view productName(AgentProvider provider) {
  return provider == AgentProvider::codex ? "Codex" : "Claude Code";
}

/// The executable's file name.
constexpr std::string_view executableName(AgentProvider provider) { return rawValue(provider); }

}  // namespace vale
