#pragma once

#include "agents/AgentStreamUpdate.h"
#include "agents/OpenToolCalls.h"

#include <boost/json/fwd.hpp>

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace vale {

/// The output of `codex exec --json`
/// (https://developers.openai.com/codex/noninteractive#make-output-machine-readable), line by line. An
/// "error" line is not final: Codex may recover from it. It is held until the next line, or the end of the
/// output, shows whether it was why the turn failed.
class CodexStream {
 public:
  /// `earlier`: what the thread had used before this run, since Codex counts the thread.
  CodexStream(std::filesystem::path project, AgentUsage earlier)
      : project_(std::move(project)), earlier_(std::move(earlier)) {}

  void read(const boost::json::object& line, std::string_view type, AgentStreamUpdate& update);
  void finish(AgentStreamUpdate& update);

 private:
  enum class Phase { started, updated, completed };

  void readItem(const boost::json::object& item, Phase phase, AgentStreamUpdate& update);
  void readCall(const boost::json::object& item, std::string_view type, Phase phase,
                AgentStreamUpdate& update);
  void readError(std::string sentence, AgentStreamUpdate& update);
  void complete(const boost::json::object& line, AgentStreamUpdate& update);
  void releaseError(AgentStreamUpdate& update);
  void fail(std::string sentence, AgentStreamUpdate& update);

  std::filesystem::path project_;
  AgentUsage earlier_;
  OpenToolCalls calls_;
  std::optional<std::string> answer_;
  std::optional<std::string> heldError_;
  bool ended_ = false;
};

}  // namespace vale
