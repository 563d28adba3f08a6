#pragma once

#include "agents/ToolCall.h"

#include <string>
#include <variant>

namespace vale {

/// What either CLI's stream says, in common terms, in the order it said it.
namespace stream {

/// The assistant's words. `append`: a piece to add to the item with this id; else the whole item, replacing
/// it.
struct Text {
  std::string id;
  std::string text;
  bool append = false;
  bool operator==(const Text&) const = default;
};

/// The model's reasoning, by the same rules.
struct Thinking {
  std::string id;
  std::string text;
  bool append = false;
  bool operator==(const Thinking&) const = default;
};

/// The turn's final answer; for a structured answer the JSON text.
struct FinalText {
  std::string text;
  bool operator==(const FinalText&) const = default;
};

/// A line for information.
struct Notice {
  std::string message;
  bool operator==(const Notice&) const = default;
};

/// Why the turn failed.
struct Error {
  std::string message;
  bool operator==(const Error&) const = default;
};

struct Ended {
  bool success = false;
  bool operator==(const Ended&) const = default;
};

}  // namespace stream

using AgentStreamEvent = std::variant<stream::Text, stream::Thinking, ToolCall, stream::FinalText,
                                      stream::Notice, stream::Error, stream::Ended>;

}  // namespace vale
