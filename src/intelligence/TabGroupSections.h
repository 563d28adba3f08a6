#pragma once

#include "intelligence/GroupingTab.h"
#include "intelligence/TabGroupingState.h"

#include <optional>
#include <span>
#include <string>
#include <vector>

namespace vale {

/// What the start page draws of the grouping, in order.
enum class TabGroupSectionKind { group, agent, pending, unassigned };
template <>
inline constexpr auto rawValues<TabGroupSectionKind> =
    std::to_array<RawValue<TabGroupSectionKind>>({{TabGroupSectionKind::group, "group"},
                                                  {TabGroupSectionKind::agent, "agent"},
                                                  {TabGroupSectionKind::pending, "pending"},
                                                  {TabGroupSectionKind::unassigned, "unassigned"}});
struct TabGroupSection {
  using Kind = TabGroupSectionKind;

  std::string id;
  Kind kind = Kind::group;
  std::optional<Uuid> groupID = {};
  std::string title;
  std::string intent;
  std::string rationale;  ///< or the note of a section that is no group
  std::vector<Uuid> tabIDs;
  bool collapsed = false;
  bool comparable = false;

  bool operator==(const TabGroupSection&) const = default;
};
BOOST_DESCRIBE_STRUCT(TabGroupSection, (),
                      (id, kind, groupID, title, intent, rationale, tabIDs, collapsed, comparable))

/// The groups that have open tabs, in their order; the tabs of each agent thread, whatever they show; the new
/// and changed tabs; those that fit no group. Every tab is in one section at most, and empty sections are
/// left out. A tab without a web address is in none.
std::vector<TabGroupSection> sections(const TabGroupingState& state, std::span<const GroupingTab> tabs);

}  // namespace vale
