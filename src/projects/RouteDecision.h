#pragma once

#include "agents/TurnRouting.h"
#include "common/RawValues.h"

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vale {

/// Where a request goes.
enum class RouteMode {
  answer,    ///< a conversation about the page
  project,   ///< work in one of the user's projects
  clarify,   ///< the user is asked which project
  anywhere,  ///< work on this machine that belongs to no project
};
template <>
inline constexpr auto
    rawValues<RouteMode> = std::to_array<RawValue<RouteMode>>({{RouteMode::answer, "answer"},
                                                               {RouteMode::project, "project"},
                                                               {RouteMode::clarify, "clarify"},
                                                               {RouteMode::anywhere, "anywhere"}});

/// One project offered for choice.
struct RouteCandidate {
  std::string projectID;
  std::string reason;  ///< one line

  bool operator==(const RouteCandidate&) const = default;
};

/// A validated answer to where a request goes. Every project in it is one that exists in what was searched;
/// its texts are an agent's: one line each, bounded, data.
struct RouteDecision {
  RouteMode mode = RouteMode::clarify;
  std::optional<std::string> projectID;  ///< set for `project`, and only then
  double confidence = 0;                 ///< 0 to 1
  std::string reason;
  std::vector<RouteCandidate> alternates;  ///< the likeliest first; none for `answer` and `anywhere`
  std::string title;                       ///< of the new conversation
  TurnRoutingMethod method = TurnRoutingMethod::automatic;

  bool operator==(const RouteDecision&) const = default;
};

/// The same request sent to the project that the user picked.
RouteDecision chosen(RouteDecision decision, std::string projectID);

/// The decision as the conversation keeps it. `name` gives a project's name by its id.
TurnRouting turnRouting(const RouteDecision& decision,
                        const std::function<std::string(const std::string& projectID)>& name);

/// What a coding agent is told when nobody picked its project by hand; empty for any other decision.
std::string agentNote(const RouteDecision& decision, std::string_view chooser = "Vale");

}  // namespace vale
