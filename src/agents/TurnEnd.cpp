#include "agents/TurnEnd.h"

#include "agents/AgentTranscript.h"

#include <utility>

namespace vale {

TurnOutcome outcomeOf(const AgentTurn& turn) {
  switch (turn.status) {
  case AgentRunStatus::failed:
    return TurnOutcome::failed;
  case AgentRunStatus::cancelled:
    return TurnOutcome::cancelled;
  default:
    return turn.usage && turn.usage->permissionDenials > 0 ? TurnOutcome::needsAttention
                                                           : TurnOutcome::finished;
  }
}

bool saysSessionIsGone(std::string_view message) {
  for (const std::string_view words :
       {"No conversation found with session ID", "no rollout found for thread id",
        "does not have a valid resumable identifier"}) {
    if (message.contains(words)) return true;
  }
  return false;
}

bool endInterruptedTurns(AgentThread& thread) {
  bool found = false;
  for (auto& turn : thread.turns) {
    if (turn.status != AgentRunStatus::running) continue;
    found = true;
    AgentTranscript transcript(std::move(turn.items));
    transcript.finish();
    transcript.add(stream::Error{"Vale stopped while this turn was running. Send it again to go on."});
    turn.items = transcript.items();
    turn.status = AgentRunStatus::failed;
    turn.finishedAt = thread.updatedAt;
  }
  return found;
}

}  // namespace vale
