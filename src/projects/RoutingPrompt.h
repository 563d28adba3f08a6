#pragma once

#include "common/Date.h"
#include "projects/ProjectRoutingCatalog.h"
#include "projects/RouteDecision.h"
#include "projects/RouteRequest.h"

#include <span>
#include <string>
#include <string_view>

/// The prompts that a request is routed with. Whatever others wrote (pages, projects, candidates' reasons)
/// stands in one line behind its label, so that nothing in it can be taken for the heading of another part.
/// Pure; safe on every thread.
namespace vale::RoutingPrompt {

/// What both answers must match.
extern const std::string schema;

/// The quick pass: which of the catalogue's projects. The request's page must have been through the input
/// filter. `today` is written out, as `date` gives it.
std::string quick(const RouteRequest& request, const ProjectRoutingCatalog& catalog, std::string_view today);

/// The deep search, in the library folder. `candidates` are those that a quick pass named.
std::string deep(const RouteRequest& request, std::span<const RouteCandidate> candidates,
                 std::string_view today);

/// "Monday, November 23, 2026": the day that the moment belongs to in a time zone (an IANA name).
std::string date(Date moment, const std::string& timeZone);

}  // namespace vale::RoutingPrompt
