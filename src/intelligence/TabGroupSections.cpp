#include "intelligence/TabGroupSections.h"

#include "intelligence/TabGroupingPlaces.h"

#include <algorithm>
#include <unordered_set>
#include <utility>

namespace vale {

std::vector<TabGroupSection> sections(const TabGroupingState& state, std::span<const GroupingTab> tabs) {
  using Kind = TabGroupSectionKind;
  const TabGroupingPlaces places(state);
  std::unordered_set<Uuid> seen;
  std::unordered_set<Uuid> grouped;
  std::vector<TabGroupSection> agents;
  TabGroupSection pending{.id = "pending",
                          .kind = Kind::pending,
                          .title = "New or changed tabs",
                          .rationale = "Pages added or changed since the last grouping."};
  TabGroupSection unassigned{.id = "unassigned",
                             .kind = Kind::unassigned,
                             .title = "Unassigned tabs",
                             .rationale = "Pages that fit no group."};
  for (const auto& tab : tabs) {
    if (!seen.insert(tab.id).second) continue;
    if (tab.agentOwner) {
      const auto id = "agent:" + *tab.agentOwner;
      auto section = std::ranges::find(agents, id, &TabGroupSection::id);
      if (section == agents.end()) {
        section = agents.insert(agents.end(), {.id = id, .kind = Kind::agent, .title = "Agent tabs"});
      }
      section->tabIDs.push_back(tab.id);
    } else if (!tab.canBeGrouped) {
      continue;
    } else if (places.isPending(tab)) {
      pending.tabIDs.push_back(tab.id);
    } else if (places.groupOf(tab.id)) {
      grouped.insert(tab.id);
    } else {
      unassigned.tabIDs.push_back(tab.id);
    }
  }

  std::vector<TabGroupSection> all;
  for (const auto& group : state.groups) {
    TabGroupSection section{.id = "group:" + group.id.text(),
                            .kind = Kind::group,
                            .groupID = group.id,
                            .title = group.name,
                            .intent = group.intent,
                            .rationale = group.rationale,
                            .collapsed = group.collapsed,
                            .comparable = group.comparable.value_or(false)};
    std::ranges::copy_if(group.tabIDs, std::back_inserter(section.tabIDs),
                         [&](const Uuid& id) { return grouped.contains(id); });
    all.push_back(std::move(section));
  }
  std::ranges::move(agents, std::back_inserter(all));
  all.push_back(std::move(pending));
  all.push_back(std::move(unassigned));
  std::erase_if(all, [](const TabGroupSection& section) { return section.tabIDs.empty(); });
  return all;
}

}  // namespace vale
