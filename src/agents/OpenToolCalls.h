#pragma once

#include "agents/AgentStreamUpdate.h"
#include "agents/ToolDescriptions.h"

#include <map>
#include <string>
#include <string_view>

namespace vale {

/// The tool calls of one stream that have started and not ended. Every change is told in an event with the
/// whole call.
class OpenToolCalls {
 public:
  /// A call starts, or what it is about changes while it runs: for the caller to `tell`.
  ToolCall& describe(const std::string& id, std::string_view name, ToolDescriptions::Description description);

  /// The call with this id, or null.
  ToolCall* find(std::string_view id);

  /// Tells the call as it now is, and forgets it unless it is still running.
  void tell(std::string_view id, AgentStreamUpdate& update);

  /// At the end of the turn or of the output. Codex does not always tell the end of a command: of one that is
  /// still open when the turn succeeds nothing is known but that the agent went on, so it counts as
  /// completed, without an exit code; in a turn that failed or broke off, as failed.
  void closeAll(ToolStatus status, AgentStreamUpdate& update);

 private:
  std::map<std::string, ToolCall, std::less<>> calls_;
};

}  // namespace vale
