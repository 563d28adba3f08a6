#pragma once

#include "intelligence/IntelligenceCall.h"

#include <string>
#include <vector>

namespace vale {

/// What the settings say of one question to an agent. Text, not markup.
struct CallDescription {
  std::string title;  ///< what for, and whom: "Grouping tabs — Claude Code, sonnet"
  std::string facts;  ///< how long, what was sent, what was used: "4.2 s · 3.1 kB sent · 812 tokens in, 64
                      ///< out · $0.0021"
};

CallDescription describe(const IntelligenceCall& call);

/// A part of what a call unfolds to. Text, not markup.
struct CallPart {
  std::string heading;
  std::string text;
};

/// What was sent and what came, word for word, and why it failed. A heading says where a text is only the
/// beginning.
std::vector<CallPart> partsOf(const IntelligenceCall& call);

}  // namespace vale
