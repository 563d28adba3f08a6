#pragma once

#include "common/RawValues.h"

namespace vale {

/// How far a run, or the turn of a conversation that it answers, has come.
enum class AgentRunStatus { running, completed, failed, cancelled };
template <>
inline constexpr auto rawValues<AgentRunStatus> =
    std::to_array<RawValue<AgentRunStatus>>({{AgentRunStatus::running, "running"},
                                             {AgentRunStatus::completed, "completed"},
                                             {AgentRunStatus::failed, "failed"},
                                             {AgentRunStatus::cancelled, "cancelled"}});

}  // namespace vale
