#include "intelligence/TabGroupingRequest.h"

#include "common/WebAddress.h"
#include "intelligence/TabClustering.h"

#include <fmt/format.h>

#include <ranges>
#include <unordered_map>
#include <utility>

namespace vale {
namespace {

constexpr const char* unreadableAnswer = "The answer was not valid JSON.";

void refuseTooMany(std::size_t count) {
  if (count <= TabGroupingRequest::mostTabs) return;
  throw Error(fmt::format("Grouping takes up to {} pages at a time. Close some tabs, then group again.",
                          TabGroupingRequest::mostTabs));
}

std::optional<PageContext> filtered(const GroupableTab& tab, ModelInputFilter& filter, ModelInputSite site) {
  return filter.page({.url = tab.url, .title = tab.title}, site);
}

TabClustering::Payload makePayload(std::span<const GroupableTab> tabs, ModelInputFilter& filter,
                                   ModelInputSite site) {
  std::vector<GroupableTab> sent;
  sent.reserve(tabs.size());
  for (const auto& tab : tabs) {
    auto page = filtered(tab, filter, site);
    if (!page) continue;
    auto& copy = sent.emplace_back(tab);
    copy.url = std::move(page->url);
    copy.title = std::move(page->title);
  }
  return TabClustering::payload(sent);
}

std::string makeHints(std::span<const GroupableTab> tabs, std::span<const ManualGroupPreference> preferences,
                      ModelInputFilter& filter, ModelInputSite site) {
  if (preferences.empty()) return {};
  std::vector<GroupableTab> shown(tabs.begin(), tabs.end());
  for (auto& tab : shown) {
    if (!tab.title.empty()) continue;
    // The whole address is compared with the preferences'; what is shown instead of a title is filtered.
    if (const auto page = filtered(tab, filter, site); page && page->url != tab.url) tab.title = page->url;
  }
  return TabClustering::manualHints(shown, preferences);
}

std::vector<int> numbers(const std::map<int, Uuid>& ids) {
  const auto keys = std::views::keys(ids);
  return {keys.begin(), keys.end()};
}

std::vector<Uuid> tabIDs(const std::vector<int>& numbers, const std::map<int, Uuid>& ids) {
  std::vector<Uuid> result;
  result.reserve(numbers.size());
  for (const int number : numbers) result.push_back(ids.at(number));
  return result;
}

std::vector<TabGroup> newGroups(std::vector<TabClustering::ProposedCluster> clusters,
                                const std::map<int, Uuid>& ids) {
  std::vector<TabGroup> groups;
  groups.reserve(clusters.size());
  for (auto& cluster : clusters) {
    groups.push_back({.id = Uuid::random(),
                      .name = std::move(cluster.name),
                      .intent = std::move(cluster.intent),
                      .rationale = std::move(cluster.rationale),
                      .tabIDs = tabIDs(cluster.tabIDs, ids),
                      .comparable = cluster.comparable});
  }
  return groups;
}

/// The groups as they are told of, and who is in them.
struct ToldGroups {
  std::vector<TabClustering::NumberedGroup> groups;
  std::map<int, Uuid> ids;
  std::unordered_map<Uuid, int> numberOf;       ///< by group id
  std::unordered_map<Uuid, int> numberHolding;  ///< by tab id

  ToldGroups(const TabAssignmentContext& context, ModelInputFilter& filter) {
    std::unordered_map<Uuid, const GroupableTab*> open;
    for (const auto& tab : context.tabs) open.emplace(tab.id, &tab);
    for (const auto& group : context.groups) {
      const int number = TabClustering::firstGroupNumber + int(groups.size());
      ids.emplace(number, group.id);
      numberOf.emplace(group.id, number);
      auto& told = groups.emplace_back(number, group.name, group.intent);
      for (const auto& id : group.tabIDs) {
        numberHolding.emplace(id, number);
        const auto tab = open.find(id);
        if (tab == open.end()) continue;
        if (auto page = filtered(*tab->second, filter, ModelInputSite::tabAssignment))
          told.titles.push_back(std::move(page->title));
      }
    }
  }
};

std::optional<int> find(const std::unordered_map<Uuid, int>& numbers, const std::optional<Uuid>& id) {
  const auto found = id ? numbers.find(*id) : numbers.end();
  return found == numbers.end() ? std::nullopt : std::optional(found->second);
}

}  // namespace

const std::string& TabGroupingRequest::schema() const {
  return operation == IntelligenceOperation::tabAssignment ? TabClustering::assignmentSchema
                                                           : TabClustering::clusteringSchema;
}

TabGroupingAnswer TabGroupingRequest::read(std::string_view answer) const {
  const auto object = TabClustering::extractJSONObject(answer);
  if (!object) throw UnreadableAnswer(unreadableAnswer, std::string(answer));
  TabGroupingAnswer result;
  if (operation == IntelligenceOperation::tabAssignment) {
    auto read = TabClustering::normalizeAssignment(*object, numbers(tabs), numbers(groups));
    for (const auto& [tab, group] : read.assignments)
      result.assignments.push_back({tabs.at(tab), groups.at(group)});
    result.groups = newGroups(std::move(read.newClusters), tabs);
    result.unassigned = tabIDs(read.unassigned, tabs);
  } else {
    auto read = TabClustering::normalizeClusters(*object, numbers(tabs));
    result.groups = newGroups(std::move(read.clusters), tabs);
    result.unassigned = tabIDs(read.unassigned, tabs);
  }
  return result;
}

bool isGroupable(const GroupableTab& tab) { return !tab.agentOwner && isWebAddress(tab.url); }

TabGroupingRequest makeRegroupRequest(std::span<const GroupableTab> tabs,
                                      std::span<const ManualGroupPreference> preferences,
                                      ModelInputFilter& filter) {
  refuseTooMany(tabs.size());
  constexpr auto site = ModelInputSite::tabGrouping;
  auto [payload, ids] = makePayload(tabs, filter, site);
  return {.operation = IntelligenceOperation::tabGrouping,
          .prompt = TabClustering::clusteringPrompt(payload, makeHints(tabs, preferences, filter, site)),
          .tabs = std::move(ids)};
}

TabGroupingRequest makeAssignmentRequest(std::span<const GroupableTab> newTabs,
                                         const TabAssignmentContext& context, ModelInputFilter& filter) {
  refuseTooMany(newTabs.size());
  constexpr auto site = ModelInputSite::tabAssignment;
  ToldGroups told(context, filter);
  auto [payload, ids] = makePayload(newTabs, filter, site);
  std::unordered_map<Uuid, std::optional<Uuid>> openers;
  for (const auto& tab : newTabs) openers.emplace(tab.id, tab.openerID);
  for (auto& sent : payload) {
    const auto& id = ids.at(sent.id);
    sent.incremental = true;
    sent.openerGroupId = find(told.numberHolding, openers.at(id));
    if (!context.formerGroups) continue;
    if (const auto former = context.formerGroups->find(id.text()); former != context.formerGroups->end())
      sent.previousGroupId = find(told.numberOf, former->second);
  }
  const auto hints = makeHints(context.tabs, context.preferences, filter, site);
  return {.operation = IntelligenceOperation::tabAssignment,
          .prompt = TabClustering::assignmentPrompt(told.groups, payload, hints),
          .tabs = std::move(ids),
          .groups = std::move(told.ids)};
}

std::string groupingFailureMessage(const Error& error) {
  const bool unreadable = dynamic_cast<const UnreadableAnswer*>(&error) != nullptr;
  return "Tabs were not grouped. " + (unreadable ? unreadableAnswer : error.message);
}

}  // namespace vale
