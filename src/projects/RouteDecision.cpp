#include "projects/RouteDecision.h"

#include <utility>

namespace vale {

RouteDecision chosen(RouteDecision decision, std::string projectID) {
  std::erase_if(decision.alternates, [&](const auto& candidate) { return candidate.projectID == projectID; });
  decision.mode = RouteMode::project;
  decision.projectID = std::move(projectID);
  decision.method = TurnRoutingMethod::chosen;
  return decision;
}

TurnRouting turnRouting(const RouteDecision& decision,
                        const std::function<std::string(const std::string& projectID)>& name) {
  TurnRouting routing{.method = decision.method, .projectID = decision.projectID, .reason = decision.reason};
  if (decision.projectID) routing.destination = name(*decision.projectID);
  if (decision.mode == RouteMode::anywhere) routing.destination = "Anywhere";
  if (decision.method != TurnRoutingMethod::chosen) routing.confidence = decision.confidence;
  for (const auto& [projectID, reason] : decision.alternates)
    routing.alternates.push_back({projectID, name(projectID), reason});
  return routing;
}

std::string agentNote(const RouteDecision& decision, std::string_view chooser) {
  if (decision.mode != RouteMode::project || decision.method == TurnRoutingMethod::chosen) return {};
  return std::string(chooser) + " chose this project for the user's request automatically. Carry out the "
                                "request in the current directory.";
}

}  // namespace vale
