#pragma once

#include "agents/AgentStreamEvent.h"
#include "agents/AgentUsage.h"

#include <optional>
#include <string>
#include <vector>

namespace vale {

/// What one output line changes about a run. Members are applied in declared order.
struct AgentStreamUpdate {
  std::optional<std::string> sessionID;
  std::optional<std::string> model;
  /// A message begins: the streamed text and thinking start anew.
  bool messageStarted = false;
  /// Pieces of the message being streamed. They may come after `messageEnded` without another
  /// `messageStarted`: the message goes on.
  std::string textDelta;
  std::string thinkingDelta;
  /// A whole block arrived: what was streamed of it is now part of the answer or of the thinking.
  bool messageEnded = false;
  /// To be added to the answer text.
  std::optional<std::string> answerBlock;
  std::optional<std::string> thinkingBlock;
  /// Replaces the answer text.
  std::optional<std::string> finalMessage;
  std::vector<std::string> activity;
  std::optional<AgentUsage> usage;
  /// The CLI's verdict on the turn, at its end.
  std::optional<bool> success;
  /// Why the turn failed: a sentence.
  std::optional<std::string> failure;
  /// The turn's one result is in: a process that would wait for another message may have its input closed.
  bool resultArrived = false;
  std::vector<AgentStreamEvent> events;
};

}  // namespace vale
