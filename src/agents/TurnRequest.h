#pragma once

#include "agents/AgentRequest.h"
#include "agents/QueuedRequest.h"

#include <string>
#include <string_view>

/// From a request that waited to the turn that it becomes and the run that answers it. Pure.
namespace vale {

/// The line that requests of a conversation wait in: the project's folder, or the page conversation itself.
std::string queueOf(const AgentThread& thread);

/// A conversation's title from its first request: of its first line at most `titleLength` characters.
std::string titleFrom(std::string_view prompt);
inline constexpr std::size_t titleLength = 60;

/// The turn as it begins.
AgentTurn turnFrom(const QueuedRequest& request, Date now);

/// The request to be sent once more, under an id of its own.
QueuedRequest requestFrom(const AgentThread& thread, const AgentTurn& turn, TurnSession session, Date now);

/// What the CLI reads: the user's words and, below them and marked as data, what was sent along.
std::string promptText(const AgentTurn& turn);

/// The run that answers `turn` in `folder`.
AgentRequest runRequest(const AgentThread& thread, const AgentTurn& turn, const QueuedRequest& request,
                        std::filesystem::path folder);

/// A line more below what is shown with the turn.
void addNote(AgentTurn& turn, std::string_view line);

}  // namespace vale
