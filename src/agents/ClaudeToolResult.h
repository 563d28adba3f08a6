#pragma once

#include "agents/ToolCall.h"

#include <boost/json/fwd.hpp>

#include <filesystem>

namespace vale {

/// How a call of Claude Code ended: from the `tool_result` block and the line that it came in, whose
/// "tool_use_result" holds the tool's own record (the change of a file) and whose "tool_result_meta" tells a
/// refusal from a failure.
void applyClaudeToolResult(ToolCall& call, const boost::json::object& block, const boost::json::object& line,
                           const std::filesystem::path& project);

}  // namespace vale
