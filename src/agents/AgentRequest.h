#pragma once

#include "agents/AgentProvider.h"

#include <boost/describe.hpp>

#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace vale {

class AgentRun;

/// Everything needed to start one run of an agent CLI. The callbacks are called on the main thread, once each
/// at most.
struct AgentRequest {
  AgentProvider provider = AgentProvider::codex;
  std::string prompt;
  /// The folder that the child runs in.
  std::filesystem::path workingDirectory;
  /// The CLI's own session or thread id to resume.
  std::optional<std::string> sessionID;
  AgentAccess access = AgentAccess::readOnly;
  /// A JSON Schema text that the answer must match.
  std::optional<std::string> outputSchema;
  /// The run must leave no saved session behind.
  bool ephemeral = false;
  /// Put on the command line as they are, last.
  std::vector<std::string> additionalArguments;
  /// Added to the host instructions after a line break.
  std::string additionalInstructions;
  std::function<void()> onFinish;
  AgentProfile profile = AgentProfile::task;
  std::optional<std::string> model;
  std::optional<std::string> effort;
  /// A line shown at the head of the run's activity.
  std::optional<std::string> notice;
  /// A conversation about a page of the browser rather than work on a project.
  std::optional<bool> pageConversation;
  /// Not tied to a project folder; may drive other applications where the system has a way to.
  bool anywhere = false;
  std::function<void(AgentRun&)> onComplete;
  /// Receives the child's process id.
  std::function<void(int)> onLaunch;
  /// PNG files sent with the prompt.
  std::vector<std::filesystem::path> images;
};

/// The model and effort asked for in one structured call; absent means the default.
struct IntelligenceChoice {
  std::optional<std::string> model;
  std::optional<std::string> effort;
};
BOOST_DESCRIBE_STRUCT(IntelligenceChoice, (), (model, effort))

}  // namespace vale
