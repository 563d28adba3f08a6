#include "intelligence/TabClustering.h"

#include "common/Sha256.h"
#include "common/Text.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <cmath>
#include <limits>
#include <unordered_set>
#include <utility>

namespace vale::TabClustering {
namespace {

constexpr std::size_t longestName = 100;
constexpr std::size_t longestRationale = 600;

/// Any JSON number, cut to its integer value; none for what is no number, or one that no tab could have.
std::optional<int> readID(const json::value& value) {
  constexpr auto largest = std::numeric_limits<int>::max();
  if (const auto* number = value.if_int64())
    return std::in_range<int>(*number) ? std::optional(int(*number)) : std::nullopt;
  if (const auto* number = value.if_uint64())
    return std::in_range<int>(*number) ? std::optional(int(*number)) : std::nullopt;
  if (const auto* number = value.if_double()) {
    const double whole = std::trunc(*number);
    return std::abs(whole) <= largest ? std::optional(int(whole)) : std::nullopt;
  }
  return std::nullopt;
}

std::optional<int> readID(const json::object& object, std::string_view key) {
  const auto* value = object.if_contains(key);
  return value ? readID(*value) : std::nullopt;
}

/// The numbers that were sent and that nothing in the answer has claimed yet.
class Unclaimed {
 public:
  explicit Unclaimed(std::span<const int> sent) : sent_(sent), left_(sent.begin(), sent.end()) {}

  bool claim(int id) { return left_.erase(id) > 0; }

  /// Claims what the list of the answer names.
  std::vector<int> claim(const json::array* list) {
    std::vector<int> claimed;
    if (!list) return claimed;
    for (const auto& value : *list) {
      if (const auto id = readID(value); id && claim(*id)) claimed.push_back(*id);
    }
    return claimed;
  }

  /// Claims all that is left, in the order sent.
  void claimRest(std::vector<int>& claimed) {
    for (const int id : sent_) {
      if (claim(id)) claimed.push_back(id);
    }
  }

 private:
  std::span<const int> sent_;
  std::unordered_set<int> left_;
};

std::string readText(const json::object& object, std::string_view key, std::size_t longest,
                     std::string_view fallback) {
  const auto text = trimmed(stringMember(object, key).value_or(""));
  return std::string(text.empty() ? fallback : firstCharacters(text, longest));
}

std::vector<ProposedCluster> readClusters(const json::array* list, Unclaimed& unclaimed) {
  std::vector<ProposedCluster> clusters;
  if (!list) return clusters;
  for (const auto& value : *list) {
    const auto* object = value.if_object();
    if (!object) continue;
    auto ids = unclaimed.claim(arrayMember(*object, "tab_ids"));
    if (ids.empty()) continue;
    clusters.push_back(
        {.name = readText(*object, "name", longestName, "Tab cluster"),
         .intent = readText(*object, "intent", longestName, "General"),
         .rationale = readText(*object, "rationale", longestRationale, "Grouped by related intent."),
         .tabIDs = std::move(ids),
         .comparable = boolMember(*object, "comparable").value_or(false)});
  }
  return clusters;
}

}  // namespace

std::optional<json::object> extractJSONObject(std::string_view text) {
  auto value = tryParseJson(text);
  auto* object = value ? value->if_object() : nullptr;
  return object ? std::optional(std::move(*object)) : std::nullopt;
}

Clusters normalizeClusters(const json::object& object, std::span<const int> validIDs) {
  Unclaimed unclaimed(validIDs);
  Clusters result;
  result.clusters = readClusters(arrayMember(object, "clusters"), unclaimed);
  result.unassigned = unclaimed.claim(arrayMember(object, "unassigned"));
  unclaimed.claimRest(result.unassigned);
  return result;
}

Assignment normalizeAssignment(const json::object& object, std::span<const int> validTabIDs,
                               std::span<const int> validGroupIDs) {
  const std::unordered_set<int> groups(validGroupIDs.begin(), validGroupIDs.end());
  Unclaimed unclaimed(validTabIDs);
  Assignment result;
  if (const auto* list = arrayMember(object, "assignments")) {
    for (const auto& value : *list) {
      const auto* entry = value.if_object();
      const auto tab = entry ? readID(*entry, "tab_id") : std::nullopt;
      const auto group = entry ? readID(*entry, "group_id") : std::nullopt;
      if (tab && group && groups.contains(*group) && unclaimed.claim(*tab))
        result.assignments.push_back({.tabID = *tab, .groupID = *group});
    }
  }
  result.newClusters = readClusters(arrayMember(object, "new_clusters"), unclaimed);
  for (auto& cluster : result.newClusters) cluster.comparable = false;  // not asked for there
  result.unassigned = unclaimed.claim(arrayMember(object, "unassigned"));
  unclaimed.claimRest(result.unassigned);
  return result;
}

std::string signature(std::span<const GroupableTab> tabs) {
  std::vector<std::string> lines;
  lines.reserve(tabs.size());
  for (const auto& tab : tabs) {
    lines.push_back(fmt::format("{}\t{}\t{}", tab.id.text(), normalizeURL(tab.url),
                                tab.openerID ? tab.openerID->text() : std::string()));
  }
  std::ranges::sort(lines);
  return sha256Hex(fmt::format("{}", fmt::join(lines, "\n")));
}

}  // namespace vale::TabClustering
