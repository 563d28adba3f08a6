#pragma once

#include "common/Date.h"
#include "common/Uuid.h"

#include <optional>
#include <string>

namespace vale {

/// A tab as the grouping sees it at one moment.
struct GroupableTab {
  Uuid id;
  std::string url;
  std::string title;
  std::optional<Uuid> openerID = {};
  Date createdAt = {};
  Date urlChangedAt = {};
  bool pinned = false;
  /// The agent thread that works in the tab; such tabs are in no group.
  std::optional<std::string> agentOwner = {};
  bool isSelected = false;
  bool isLoading = false;

  bool operator==(const GroupableTab&) const = default;
};

}  // namespace vale
