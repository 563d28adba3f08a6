#pragma once

#include "common/Json.h"
#include "common/WebAddress.h"
#include "intelligence/GroupableTab.h"
#include "intelligence/TabGroupingState.h"

#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

/// The stateless half of tab grouping: open tabs into prompts, an agent's answer back into a result in which
/// every tab is accounted for exactly once, whatever the answer was. Safe on every thread.
namespace vale::TabClustering {

/// One tab as the agent sees it.
struct ClusterTabPayload {
  int id = 0;  ///< stands for the tab in this one request
  std::string title;
  std::string url;
  std::string hostname;
  std::optional<int> openerTabId = {};
  std::optional<std::string> openerTitle = {};
  std::optional<int> openerGroupId = {};    ///< assignment only
  std::optional<int> previousGroupId = {};  ///< assignment only
  bool incremental = false;                 ///< of an assignment

  /// Its JSON text, keys in their fixed order.
  std::string json() const;

  bool operator==(const ClusterTabPayload&) const = default;
};

struct Payload {
  std::vector<ClusterTabPayload> payload;
  std::map<int, Uuid> ids;
};

/// An existing group as an assignment is told of it; `id` is numbered from 1001.
struct NumberedGroup {
  int id = 0;
  std::string name;
  std::string intent;
  std::vector<std::string> titles;
};

/// A validated cluster.
struct ProposedCluster {
  std::string name;
  std::string intent;
  std::string rationale;
  std::vector<int> tabIDs;
  bool comparable = false;

  bool operator==(const ProposedCluster&) const = default;
};

struct Clusters {
  std::vector<ProposedCluster> clusters;
  std::vector<int> unassigned;

  bool operator==(const Clusters&) const = default;
};

struct TabAssignment {
  int tabID = 0;
  int groupID = 0;

  bool operator==(const TabAssignment&) const = default;
};

struct Assignment {
  std::vector<TabAssignment> assignments;
  std::vector<ProposedCluster> newClusters;
  std::vector<int> unassigned;

  bool operator==(const Assignment&) const = default;
};

/// What the answers must match.
extern const std::string clusteringSchema;
extern const std::string assignmentSchema;

/// The number that an assignment's first existing group has.
inline constexpr int firstGroupNumber = 1001;

/// Numbers the tabs from 1 in the order given. An assignment's caller adds the group numbers and sets
/// `incremental`.
Payload payload(std::span<const GroupableTab> tabs);

std::string clusteringPrompt(std::span<const ClusterTabPayload> payload, const std::string& hints);
std::string assignmentPrompt(std::span<const NumberedGroup> groups,
                             std::span<const ClusterTabPayload> payload, const std::string& hints);

/// The block that tells of the user's own groupings; empty when none of them applies to these tabs.
std::string manualHints(std::span<const GroupableTab> tabs,
                        std::span<const ManualGroupPreference> preferences);

/// None when the text is not a JSON object.
std::optional<json::object> extractJSONObject(std::string_view text);

/// Every number of `validIDs` comes back once: in the first cluster that names it, or in `unassigned`.
Clusters normalizeClusters(const json::object& object, std::span<const int> validIDs);

/// The same for an assignment; groups that were not sent do not count.
Assignment normalizeAssignment(const json::object& object, std::span<const int> validTabIDs,
                               std::span<const int> validGroupIDs);

/// SHA-256, in lower-case hexadecimal, of the tabs, their addresses and openers; the same in any order.
std::string signature(std::span<const GroupableTab> tabs);

using vale::normalizeURL;
using vale::sameSite;

}  // namespace vale::TabClustering
