#include "app/TabListGrouping.h"

#include "common/WebAddress.h"

#include <fmt/format.h>

#include <iterator>
#include <unordered_map>
#include <unordered_set>
#include <utility>

namespace vale {
namespace {

struct ListedTab {
  std::optional<Uuid> id;
  std::string url;
  std::string title;
  std::optional<Uuid> openerID;
  std::optional<bool> pinned;
};
BOOST_DESCRIBE_STRUCT(ListedTab, (), (id, url, title, openerID, pinned))

struct ListedGroup {
  std::string name;
  std::optional<std::string> intent;
  std::optional<std::string> rationale;
  std::optional<bool> comparable;
  std::vector<Uuid> tabIDs;
};
BOOST_DESCRIBE_STRUCT(ListedGroup, (), (name, intent, rationale, comparable, tabIDs))

struct ListedGrouping {
  std::vector<ListedGroup> groups;
  std::optional<std::vector<Uuid>> unassigned;
};
BOOST_DESCRIBE_STRUCT(ListedGrouping, (), (groups, unassigned))

struct ListedPreference {
  std::optional<std::string> name;
  std::vector<std::string> urls;
};
BOOST_DESCRIBE_STRUCT(ListedPreference, (), (name, urls))

/// Where an id was first seen, for a list in which each may stand once.
class Places {
 public:
  void add(const Uuid& id, std::string place) {
    const auto [found, isNew] = places_.emplace(id, place);
    if (!isNew) throw DecodeError(fmt::format("“{}” and “{}” have the same id.", found->second, place));
  }

 private:
  std::unordered_map<Uuid, std::string> places_;
};

std::vector<GroupableTab> readTabs(const std::string& text) {
  std::vector<GroupableTab> tabs;
  Places places;
  for (auto& listed : decodeText<std::vector<ListedTab>>(text)) {
    if (listed.id) places.add(*listed.id, fmt::format("[{}]", tabs.size()));
    tabs.push_back({.id = listed.id.value_or(Uuid::random()),
                    .url = std::move(listed.url),
                    .title = std::move(listed.title),
                    .openerID = listed.openerID,
                    .pinned = listed.pinned.value_or(false)});
  }
  return tabs;
}

std::vector<TabGroup> readGroups(const std::string& text) {
  std::vector<TabGroup> groups;
  Places places;
  for (auto& listed : decodeText<ListedGrouping>(text).groups) {
    for (std::size_t i = 0; i < listed.tabIDs.size(); ++i)
      places.add(listed.tabIDs[i], fmt::format("groups[{}].tabIDs[{}]", groups.size(), i));
    groups.push_back({.id = Uuid::random(),
                      .name = std::move(listed.name),
                      .intent = listed.intent.value_or(""),
                      .rationale = listed.rationale.value_or(""),
                      .tabIDs = std::move(listed.tabIDs),
                      .comparable = listed.comparable});
  }
  return groups;
}

std::vector<ManualGroupPreference> readPreferences(const std::string& text) {
  std::vector<ManualGroupPreference> preferences;
  for (auto& listed : decodeText<std::vector<ListedPreference>>(text)) {
    for (auto& url : listed.urls) url = normalizeURL(url);
    preferences.push_back({.key = {}, .name = listed.name.value_or(""), .urls = std::move(listed.urls)});
  }
  return preferences;
}

/// Reads one of the texts; its error says which.
template <typename Result>
Result read(const std::optional<std::string>& text, Result (*reader)(const std::string&),
            std::string_view what) {
  if (!text) return {};
  try {
    return reader(*text);
  } catch (const DecodeError& error) {
    throw Error(fmt::format("The {} could not be read. {}", what, error.message));
  }
}

}  // namespace

TabListGrouping::TabListGrouping(const Texts& texts, ModelInputFilter& filter)
    : groups_(read(texts.existing, readGroups, "groups")) {
  const auto tabs = read(std::optional(texts.tabs), readTabs, "list of tabs");
  const auto preferences = read(texts.preferences, readPreferences, "preferences");

  std::unordered_set<Uuid> held;
  for (const auto& group : groups_) held.insert(group.tabIDs.begin(), group.tabIDs.end());
  std::vector<GroupableTab> groupable;
  std::ranges::copy_if(tabs, std::back_inserter(groupable), isGroupable);
  std::vector<GroupableTab> free;
  std::ranges::copy_if(groupable, std::back_inserter(free),
                       [&](const auto& tab) { return !held.contains(tab.id); });

  if (groupable.size() >= TabGroupingRequest::fewestTabs && !free.empty()) {
    request_ = groups_.empty()
                   ? makeRegroupRequest(free, preferences, filter)
                   : makeAssignmentRequest(
                         free, {.tabs = groupable, .groups = groups_, .preferences = preferences}, filter);
  }
  for (const auto& tab : tabs) {
    if (!held.contains(tab.id) && !(request_ && isGroupable(tab))) unassigned_.push_back(tab.id);
  }
}

void TabListGrouping::apply(std::string_view answer) {
  auto read = request_.value().read(answer);
  std::unordered_map<Uuid, TabGroup*> groups;
  for (auto& group : groups_) groups.emplace(group.id, &group);
  for (const auto& [tab, group] : read.assignments) groups.at(group)->tabIDs.push_back(tab);
  std::ranges::move(read.groups, std::back_inserter(groups_));
  unassigned_.insert(unassigned_.begin(), read.unassigned.begin(), read.unassigned.end());
}

json::value TabListGrouping::result() const {
  ListedGrouping listed{.unassigned = unassigned_};
  for (const auto& group : groups_) {
    listed.groups.push_back({.name = group.name,
                             .intent = group.intent,
                             .rationale = group.rationale,
                             .comparable = group.comparable.value_or(false),
                             .tabIDs = group.tabIDs});
  }
  return encode(listed);
}

}  // namespace vale
