#include "projects/RouteAnswer.h"

#include "common/Json.h"
#include "projects/DataLine.h"

#include <algorithm>

namespace vale {
namespace {

constexpr std::size_t longestTitle = 80;
constexpr std::size_t longestReason = 300;

std::string line(const json::object& object, std::string_view key, std::size_t characters) {
  return dataLine(stringMember(object, key).value_or(""), characters);
}

std::optional<RouteCandidate> readCandidate(const json::object& object, const ProjectIDs& known) {
  const auto id = knownProjectID(stringMember(object, "project_id").value_or(""), known);
  if (!id) return std::nullopt;
  return RouteCandidate{*id, line(object, "reason", longestReason)};
}

double readConfidence(const json::object& object) {
  const auto number = numberMember(object, "confidence").value_or(0);
  return number >= 0 && number <= 1 ? number : 0;
}

}  // namespace

std::optional<RouteDecision> readRouteAnswer(std::string_view text, const ProjectIDs& known,
                                             TurnRoutingMethod method) {
  const auto value = tryParseJson(text);
  const auto* answer = value ? value->if_object() : nullptr;
  const auto mode =
      answer ? fromRawValue<RouteMode>(stringMember(*answer, "mode").value_or("")) : std::nullopt;
  if (!mode) return std::nullopt;
  RouteDecision decision{.mode = *mode,
                         .confidence = readConfidence(*answer),
                         .reason = line(*answer, "reason", longestReason),
                         .title = line(*answer, "title", longestTitle),
                         .method = method};
  if (*mode == RouteMode::answer || *mode == RouteMode::anywhere) return decision;

  auto& offered = decision.alternates;
  const auto offer = [&](const json::object& object) {
    auto candidate = readCandidate(object, known);
    if (!candidate) return false;
    if (std::ranges::find(offered, candidate->projectID, &RouteCandidate::projectID) == offered.end())
      offered.push_back(*std::move(candidate));
    return true;
  };
  const bool named = offer(*answer);
  if (const auto* candidates = arrayMember(*answer, "candidates")) {
    for (const auto& value : *candidates) {
      if (const auto* object = value.if_object()) offer(*object);
    }
  }
  if (*mode == RouteMode::project && named && decision.confidence >= leastConfidence) {
    decision.projectID = std::move(offered.front().projectID);
    offered.erase(offered.begin());
  } else {
    decision.mode = RouteMode::clarify;
  }
  if (offered.size() > mostAlternates) offered.resize(mostAlternates);
  return decision;
}

}  // namespace vale
