#pragma once

#include "agents/AgentHub.h"
#include "app/ctl/Ctl.h"

#include <string>

/// The hub of conversations for the verbs that need it: it works on what the browser works on, but for the
/// requests that wait there.
namespace vale::ctl {

inline constexpr const char* noSuchThread = "There is no such conversation. See “valectl threads list”.";

AgentHub::Places hubPlaces(const CommonOptions& common);

/// Throws UsageError for a word that is no UUID.
Uuid readThread(const std::string& word);

/// `valectl threads changes` and `valectl threads undo`.
void addThreadChangesVerbs(CLI::App& threads, const CommonOptions& common, Work& work);

}  // namespace vale::ctl
