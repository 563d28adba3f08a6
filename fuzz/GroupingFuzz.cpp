#include "app/TabListGrouping.h"
#include "intelligence/TabClustering.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <set>

/// Feeds any bytes to the grouping of tabs, as an agent's answer, as what pages call themselves and as a file
/// of tabs, and checks that every tab is accounted for exactly once.
namespace {

using namespace vale;

constexpr int tabs = 7;

void require(bool holds, const char* rule) {
  if (holds) return;
  std::fprintf(stderr, "Broken: %s.\n", rule);
  std::abort();
}

void checkAccount(std::vector<int> found, const std::vector<TabClustering::ProposedCluster>& clusters) {
  for (const auto& cluster : clusters) {
    require(!cluster.tabIDs.empty() && !cluster.name.empty() && !cluster.intent.empty() &&
                !cluster.rationale.empty(),
            "a cluster has tabs and words");
    found.insert(found.end(), cluster.tabIDs.begin(), cluster.tabIDs.end());
  }
  std::ranges::sort(found);
  require(found == std::vector{1, 2, 3, 4, 5, 6, 7}, "every tab is accounted for once");
}

void checkAnswer(std::string_view text) {
  const auto object = TabClustering::extractJSONObject(text);
  if (!object) return;
  const std::vector sent{1, 2, 3, 4, 5, 6, 7};
  const auto full = TabClustering::normalizeClusters(*object, sent);
  checkAccount(full.unassigned, full.clusters);
  const auto placed = TabClustering::normalizeAssignment(*object, sent, std::vector{1001, 1002});
  auto found = placed.unassigned;
  for (const auto& [tab, group] : placed.assignments) {
    require(group == 1001 || group == 1002, "a tab is assigned to a group that was sent");
    found.push_back(tab);
  }
  checkAccount(found, placed.newClusters);
}

/// Whatever pages are called, the prompt ends in a JSON list of them.
void checkPrompt(const std::string& text) {
  std::vector<GroupableTab> pages;
  for (int i = 0; i < tabs; ++i) {
    const auto part = text.substr(std::min(text.size(), text.size() / tabs * std::size_t(i)));
    pages.push_back({.id = Uuid::random(), .url = "https://" + part, .title = part});
    if (i > 0) pages.back().openerID = pages.front().id;
  }
  const std::vector<ManualGroupPreference> preferences{
      {.key = {}, .name = text, .urls = {normalizeURL(pages[0].url), normalizeURL(pages[1].url)}}};
  const auto hints = TabClustering::manualHints(pages, preferences);
  require(std::ranges::count(hints, '\n') <= 1, "a hint is one line");
  const auto prompt = TabClustering::clusteringPrompt(TabClustering::payload(pages).payload, hints);
  const auto list = tryParseJson(std::string_view(prompt).substr(prompt.rfind('\n') + 1));
  require(list && list->is_array() && list->get_array().size() == pages.size(), "the tabs are one JSON list");
  require(TabClustering::signature(pages).size() == 64, "there is a signature");
}

void checkList(const std::string& text) {
  try {
    ModelInputFilter filter;
    TabListGrouping grouping({.tabs = text}, filter);
    if (grouping.request()) grouping.apply(R"({"clusters":[{"tab_ids":[1,3]}]})");
    std::set<std::string> ids;
    const auto count = [&](const json::value& list) {
      for (const auto& id : list.as_array())
        require(ids.emplace(std::string_view(id.as_string())).second, "no tab comes twice");
    };
    const auto result = grouping.result();
    for (const auto& group : result.at("groups").as_array()) count(group.at("tabIDs"));
    count(result.at("unassigned"));
    require(ids.size() == parseJson(text).as_array().size(), "every tab of the list is in the result");
  } catch (const Error& error) {
    require(!error.message.empty(), "an error says what is wrong");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  checkAnswer(text);
  checkPrompt(text);
  checkList(text);
  return 0;
}
