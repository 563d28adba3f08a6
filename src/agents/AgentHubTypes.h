#pragma once

#include "agents/AgentRun.h"
#include "agents/AgentTranscript.h"
#include "agents/QueuedRequest.h"
#include "agents/TurnLock.h"
#include "common/Published.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <variant>

/// What the hub of conversations is given and what it shows.
namespace vale {

/// What the user asks, wherever it will go.
struct UserRequest {
  std::string prompt;
  AgentTurnOptions options = {};
  /// For a new conversation; none: the usual one. One that goes on keeps its own.
  std::optional<AgentProvider> provider = {};
  std::optional<std::string> model = {};
  std::optional<std::string> effort = {};
};

/// Where a request goes.
struct ToThread {
  Uuid id;
};
/// A new conversation in a project's folder, an absolute path. Without a title it takes the request's first
/// words.
struct ToProject {
  std::filesystem::path folder;
  std::string title = {};
};
/// A new conversation about the page in the request's options. Without a folder it runs in an empty one.
struct ToPage {
  std::filesystem::path folder = {};
  std::string title = {};
};
/// Whoever routes requests decides.
struct ToBeRouted {};
using RequestDestination = std::variant<ToThread, ToProject, ToPage, ToBeRouted>;

struct SentRequest {
  Uuid id;        ///< its turn's, too
  Uuid threadID;  ///< of a request to be routed: the one that its conversation will have
};

/// Where a request belongs, as the layer above has found out.
struct RoutedRequest {
  enum class Place {
    page,      ///< a conversation about the page
    project,   ///< in the folder
    anywhere,  ///< in the hub's folder for what belongs to no project
    unclear,   ///< the user chooses among `routing.alternates`
  };
  Place place = Place::unclear;
  std::filesystem::path folder = {};
  TurnRouting routing = {};
  std::string title = {};
  /// Told to the agent beside the prompt.
  std::string instructions = {};
};

/// A request on its way to a conversation.
struct RequestRouting {
  enum class Step {
    waiting,   ///< sent before Vale was last started: route it again, or choose
    underWay,  ///< the router is asked
    choice,    ///< the user chooses
    failed,    ///< `message` says why, a sentence
  };
  Step step = Step::underWay;
  RoutedRequest routed;  ///< of a choice
  std::string message;
};

/// A conversation as a list shows it.
struct ThreadSummary {
  Uuid id;
  AgentThread::Kind kind = AgentThread::Kind::project;
  std::filesystem::path projectPath;
  AgentProvider provider = AgentProvider::codex;
  std::string title;
  Date createdAt;
  Date updatedAt;
  std::size_t turns = 0;
  std::optional<AgentRunStatus> status;  ///< of the last turn
  bool needsAttention = false;           ///< the last turn was denied something
  std::optional<PageReference> page;
  std::string queue;  ///< the line that its requests wait in

  static ThreadSummary of(const AgentThread& thread);
};

/// A turn under way. `transcript` and `run` are followed live.
struct LiveTurn {
  enum class Step {
    waiting,    ///< another Vale works in the folder
    preparing,  ///< its project's files are kept aside
    running,
    ending,  ///< what it changed is recorded
  };
  QueuedRequest request = {};
  Step step = Step::preparing;
  bool cancelled = false;
  AgentTranscript transcript = {};
  std::shared_ptr<AgentRun> run = {};  ///< from `running` on
  std::string message = {};            ///< why it failed, a sentence
  // The hub's own.
  bool keptAside = false;
  std::shared_ptr<TurnLock> lock = {};
  Subscription following = {};
  Timer retry = {};
};

}  // namespace vale
