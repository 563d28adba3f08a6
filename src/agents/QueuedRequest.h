#pragma once

#include "agents/AgentProvider.h"
#include "agents/AgentTurnOptions.h"
#include "common/Json.h"

#include <optional>
#include <string>

namespace vale {

/// Which session of the CLI a turn goes on with.
enum class TurnSession {
  resumed,  ///< the conversation's own, where it has one
  fresh,    ///< a new one that knows nothing of the turns before
};
template <>
inline constexpr auto rawValues<TurnSession> =
    std::to_array<RawValue<TurnSession>>({{TurnSession::resumed, "resumed"}, {TurnSession::fresh, "fresh"}});

/// A request that the user has sent and that has not begun yet. Kept on disk as it is.
struct QueuedRequest {
  /// The id that its turn will have.
  Uuid id;
  /// What it waits for: the project's folder, or the id of a page conversation. Empty while nobody knows
  /// where it belongs.
  std::string queue;
  std::optional<Uuid> threadID;  ///< the conversation it belongs to; none while `queue` is empty
  std::string prompt;
  AgentTurnOptions options;
  std::optional<AgentProvider> provider;  ///< for a conversation that is yet to be made; none: the usual one
  std::optional<std::string> model;
  std::optional<std::string> effort;
  TurnSession session = TurnSession::resumed;
  Date sentAt;

  bool operator==(const QueuedRequest&) const = default;
};
BOOST_DESCRIBE_STRUCT(QueuedRequest, (),
                      (id, queue, threadID, prompt, options, provider, model, effort, session, sentAt))

}  // namespace vale
