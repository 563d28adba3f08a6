#pragma once

#include "common/Json.h"

#include <optional>
#include <string>
#include <vector>

namespace vale {

/// How a request found its project.
enum class TurnRoutingMethod {
  automatic,   ///< settled by the quick pass
  deepSearch,  ///< settled by the search of the project index
  chosen,      ///< the user's own choice
};
template <>
inline constexpr auto rawValues<TurnRoutingMethod> =
    std::to_array<RawValue<TurnRoutingMethod>>({{TurnRoutingMethod::automatic, "automatic"},
                                                {TurnRoutingMethod::deepSearch, "deepSearch"},
                                                {TurnRoutingMethod::chosen, "chosen"}});

struct TurnRoutingAlternate {
  std::string projectID;
  std::string name;
  std::string reason;

  bool operator==(const TurnRoutingAlternate&) const = default;
};
BOOST_DESCRIBE_STRUCT(TurnRoutingAlternate, (), (projectID, name, reason))

/// Where one request of a conversation was sent, and why, as the conversation keeps it.
struct TurnRouting {
  using Method = TurnRoutingMethod;
  using Alternate = TurnRoutingAlternate;

  Method method = Method::chosen;
  std::optional<std::string> projectID;  ///< the project's folder, an absolute path
  std::string destination;               ///< its name for the user; empty for a page conversation
  std::string reason;
  std::optional<double> confidence;  ///< 0 to 1
  std::vector<Alternate> alternates;

  /// What is shown under the turn.
  std::string note() const;

  bool operator==(const TurnRouting&) const = default;
};
BOOST_DESCRIBE_STRUCT(TurnRouting, (), (method, projectID, destination, reason, confidence, alternates))

}  // namespace vale
