#pragma once

#include "agents/AgentUsage.h"

#include <filesystem>
#include <optional>
#include <string_view>

namespace vale {

/// What a Codex thread has used so far: Codex's own figures count the thread, so those of a resumed run are
/// known only by what the thread had used before. Read from the thread's rollout file
/// (`codexHome`/sessions/YYYY/MM/DD/rollout-TIME-UUID.jsonl): the "total_token_usage" of its last
/// "token_count" line. The file is Codex's: it is only read, from its end, never whole. None when there is no
/// such thread or file, or it says nothing that is understood. Reads the disk; not for the main thread.
std::optional<AgentUsage> earlierCodexUsage(const std::filesystem::path& codexHome,
                                            std::string_view threadID);

}  // namespace vale
