#pragma once

#include "projects/ProjectIDs.h"
#include "projects/RouteDecision.h"

#include <cstddef>
#include <optional>
#include <string_view>

namespace vale {

/// How sure an agent must be of a project for the request to go there unasked.
inline constexpr double leastConfidence = 0.6;
inline constexpr std::size_t mostAlternates = 4;

/// An agent's answer to a routing prompt, made safe: only projects of `known` are in it, each once; texts are
/// one line each, the title of at most 80 characters and a reason of at most 300; a confidence that is no
/// number from 0 to 1 counts as 0. A project that is unknown or not sure enough is not taken: the mode is
/// then `clarify`, and the project, if it is a known one, the first to choose from. None when the text is no
/// answer at all: no JSON object, or of no known mode.
std::optional<RouteDecision> readRouteAnswer(std::string_view text, const ProjectIDs& known,
                                             TurnRoutingMethod method);

}  // namespace vale
