#pragma once

#include "common/Json.h"

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace vale {

/// A grouping that the user made by hand, kept to steer later ones.
struct ManualGroupPreference {
  std::string key;
  std::string name;
  std::vector<std::string> urls;  ///< normalised
  Date updatedAt{};

  bool operator==(const ManualGroupPreference&) const = default;
};
BOOST_DESCRIBE_STRUCT(ManualGroupPreference, (), (key, name, urls, updatedAt))

/// Who made a group.
enum class TabGroupSource { ai, manual };
template <>
inline constexpr auto rawValues<TabGroupSource> =
    std::to_array<RawValue<TabGroupSource>>({{TabGroupSource::ai, "ai"}, {TabGroupSource::manual, "manual"}});

/// One group of tabs by what the user is doing.
struct TabGroup {
  using Source = TabGroupSource;

  Uuid id;
  std::string name;
  std::string intent;
  std::string rationale;
  std::vector<Uuid> tabIDs;  ///< in display order
  Source source = Source::ai;
  bool userNamed = false;  ///< a regroup keeps the name
  bool collapsed = false;
  /// The tabs are alternatives that the user chooses between.
  std::optional<bool> comparable;

  bool operator==(const TabGroup&) const = default;
};
BOOST_DESCRIBE_STRUCT(TabGroup, (),
                      (id, name, intent, rationale, tabIDs, source, userNamed, collapsed, comparable))

/// The grouping as it is kept in its file.
struct TabGroupingState {
  /// The layout that this program writes.
  static constexpr int currentVersion = 2;

  int version = currentVersion;
  std::vector<TabGroup> groups;
  std::vector<Uuid> unassigned;                   ///< what the last pass left out of every group
  std::map<std::string, std::string> placedURLs;  ///< by tab id: the normalised address when it was placed
  std::map<std::string, Uuid> formerGroups;       ///< by tab id: its group before its address changed
  std::vector<ManualGroupPreference> hints;
  std::optional<std::string> signature;  ///< of the tabs of the last full grouping
  std::optional<Date> groupedAt;
  /// The tabs that the user placed by hand, in a group or outside of all: no pass moves them.
  std::optional<std::vector<Uuid>> userPlaced = {};

  bool operator==(const TabGroupingState&) const = default;
};
BOOST_DESCRIBE_STRUCT(TabGroupingState, (),
                      (version, groups, unassigned, placedURLs, formerGroups, hints, signature, groupedAt,
                       userPlaced))

}  // namespace vale
