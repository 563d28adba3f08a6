#pragma once

#include "agents/AgentProvider.h"
#include "common/Published.h"
#include "common/Surroundings.h"
#include "intelligence/IntelligenceClient.h"
#include "projects/ProjectRoutingCatalog.h"
#include "projects/RouteDecision.h"
#include "projects/RouteRequest.h"

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vale {

/// What is shown while a request finds its way.
enum class RoutingState { idle, readingPage, findingProject };
constexpr std::string_view text(RoutingState state) {
  if (state == RoutingState::idle) return "";
  return state == RoutingState::readingPage ? "Reading this page…" : "Finding the right project…";
}

/// Routing that came to no decision. The user can still pick one of the projects named so far.
struct RoutingError : Error {
  RoutingError(std::string message, std::vector<RouteCandidate> candidates)
      : Error(std::move(message)), candidates(std::move(candidates)) {}

  std::vector<RouteCandidate> candidates;
};

/// A routed request on its way to the conversation or task that carries it.
struct RouteDispatch {
  RouteRequest request;
  RouteDecision decision;
  TurnRouting routing;    ///< for the conversation's file
  std::string agentNote;  ///< for the coding agent, before the request; empty for none
};

/// Decides where a request belongs that names no project: asks for a quick classification over the catalogue,
/// and where that cannot settle it, for a search of the project index in the library. Main thread only.
class ProjectRouter {
 public:
  struct Parts {
    IntelligenceClient& client;
    ModelInputFilter& inputFilter;
    std::filesystem::path library;
    /// Whom `client` asks now.
    std::function<std::optional<AgentProvider>()> provider;
    Surroundings surroundings;
    /// Whose date it is (an IANA name); empty: the machine's own, at each request.
    std::string timeZone = {};
  };
  /// Gives the page that the user is viewing, read now; none when there is none.
  using PageReader = std::function<Task<std::optional<PageContext>>()>;
  /// Starts the conversation or task; false when it could not.
  using Starter = std::function<bool(const RouteDispatch&)>;

  /// What the parts refer to must outlive the object.
  explicit ProjectRouter(Parts parts);
  ProjectRouter(const ProjectRouter&) = delete;
  ProjectRouter& operator=(const ProjectRouter&) = delete;

  void setCatalog(ProjectRoutingCatalog catalog);
  const ProjectRoutingCatalog& catalog() const;

  /// Whether a quick pass that is not sure goes on to the deep search by itself.
  void setSearchesDeeperAutomatically(bool searches);
  bool searchesDeeperAutomatically() const;

  /// Where the request belongs; `clarify` when the user has to choose among the alternates. None when it was
  /// cancelled, or the router has gone. Throws RoutingError, or another Error with the sentence for the user
  /// (no prompt, no agent, the agent failed). `readPage` is asked when the request has no page yet.
  Task<std::optional<RouteDecision>> route(RouteRequest request, PageReader readPage = {},
                                           Cancellation cancellation = {});

  /// The deep search by itself, for what a quick pass left open; `quick` comes back when there is no project
  /// to search. Otherwise as `route`.
  Task<std::optional<RouteDecision>> searchDeeper(RouteRequest request, RouteDecision quick,
                                                  Cancellation cancellation = {});

  /// A request is likely to come soon: the composer was opened.
  void prewarm();

  /// What the quick pass would be asked for this request now.
  std::string quickPrompt(const RouteRequest& request);

  /// Sends the request where it was decided, `clarify` excepted. Throws Error when it could not be started.
  void dispatch(RouteRequest request, RouteDecision decision, const Starter& start);

  /// The last that was sent; none at first.
  const std::optional<RouteDispatch>& lastDispatch() const;

  const Published<RoutingState>& state() const;

 private:
  struct Self;
  std::shared_ptr<Self> self_;
};

}  // namespace vale
