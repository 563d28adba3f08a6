#pragma once

#include "agents/AgentThread.h"

#include <string>
#include <string_view>

namespace vale {

/// How a turn ended, as the user is told.
enum class TurnOutcome {
  finished,
  needsAttention,  ///< it ended, but something was denied to it
  failed,
  cancelled,
};
template <>
inline constexpr auto rawValues<TurnOutcome> =
    std::to_array<RawValue<TurnOutcome>>({{TurnOutcome::finished, "finished"},
                                          {TurnOutcome::needsAttention, "needsAttention"},
                                          {TurnOutcome::failed, "failed"},
                                          {TurnOutcome::cancelled, "cancelled"}});

struct TurnEnd {
  Uuid threadID;
  Uuid turnID;
  TurnOutcome outcome = TurnOutcome::finished;
  std::string message;  ///< why it failed, a sentence; empty otherwise
  /// The CLI does not know the conversation's session any more: only a retry in a fresh one can work.
  bool sessionIsGone = false;
};

/// Of a turn that has ended.
TurnOutcome outcomeOf(const AgentTurn& turn);

/// The failure means that the CLI has no session of that id: recognised by the CLIs' own words.
bool saysSessionIsGone(std::string_view message);

/// Turns that were running when their Vale stopped become failed ones that say so, with all that is known of
/// them. True when there was one.
bool endInterruptedTurns(AgentThread& thread);

}  // namespace vale
