#pragma once

#include "browser/TabLines.h"

#include <cstddef>
#include <functional>
#include <optional>

namespace vale {

/// Which part of a line something is dropped on.
enum class DropSide { before, after };

/// Where a dropped tab goes: among the pinned ones, into a group, or among the loose ones.
struct TabPlace {
  enum class Kind { pinned, group, loose };

  Kind kind = Kind::loose;
  Uuid groupID;
  /// Before which it goes: in a group a member's place (none: at the end), else one in `tabs`.
  std::optional<std::size_t> index;

  bool operator==(const TabPlace&) const = default;
};

/// The place that a drop on a line means, or below all lines (`line` null); the lines of agents' tabs stand
/// for the end of the loose ones.
TabPlace dropPlace(const BrowserModel& model, const TabLine* line, DropSide side);

/// Moves a tab between windows: to `index` of the target's tabs.
using TabMover = std::function<void(const Uuid& tab, BrowserModel& target, std::size_t index)>;

/// Puts a tab to its place; `fetch` brings it first when it is in another window, and may refuse.
void putTab(BrowserModel& model, const Uuid& tab, const TabPlace& place, const TabMover& fetch);

/// The index for `BrowserModel::moveGroup` when a group is dropped on a line; none where no group can go.
std::optional<std::size_t> dropIndexOfGroup(const BrowserModel& model, const Uuid& group, const TabLine* line,
                                            DropSide side);

}  // namespace vale
