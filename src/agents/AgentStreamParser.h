#pragma once

#include "agents/AgentProvider.h"
#include "agents/AgentStreamUpdate.h"
#include "agents/ClaudeStream.h"
#include "agents/CodexStream.h"
#include "agents/JsonLineReader.h"
#include "agents/ReadableError.h"

#include <filesystem>
#include <memory>
#include <string_view>
#include <variant>

namespace vale {

/// Reads one CLI run's JSON lines. Pure: a line in, an update out; it keeps only what later lines refer to
/// (the block being streamed, calls under way). Use it from one queue at a time. Unknown, malformed and
/// foreign lines change nothing.
class AgentStreamParser {
 public:
  /// `project` is the folder that file paths are shown relative to; with symbolic links resolved, as the CLIs
  /// name their files. `earlierUsage`: for Codex, whose figures count the whole thread, what the thread had
  /// used before this run.
  AgentStreamParser(AgentProvider provider, std::filesystem::path project, AgentUsage earlierUsage = {});

  AgentStreamUpdate parse(std::string_view line);

  /// To be called once at the end of the output: what only the end decides, such as an error line of Codex
  /// that turned out to be the last word, and calls that never ended. `stream::Ended` comes once at most: a
  /// stream that breaks off without a verdict or a reason has none, and how its run went is the exit status's
  /// to tell.
  AgentStreamUpdate finish();

 private:
  std::unique_ptr<JsonLineReader> reader_;
  std::variant<ClaudeStream, CodexStream> stream_;
};

}  // namespace vale
