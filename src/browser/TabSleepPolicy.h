#pragma once

#include "browser/MemoryPressure.h"
#include "common/Date.h"
#include "common/Uuid.h"

#include <optional>
#include <vector>

namespace vale {

/// Which tabs may go to sleep. A pure function of what is known of them.
struct TabSleepPolicy {
  /// How long a tab must have been hidden while memory is plenty, in seconds.
  double delay = 1800;

  struct Tab {
    Uuid id;
    std::optional<Date> hiddenSince;  ///< none while on screen, and when it was never shown
    bool isSelected = false;          ///< its window's selected tab
    bool hasPage = false;             ///< there is something to unload
    bool pinned = false;
    bool isAgentTab = false;
    bool keepsPage = false;
    bool isPlayingAudio = false;
    bool isCapturing = false;
  };

  /// The tabs to put to sleep, the longest hidden first. Pressure shortens the wait to 300 seconds (warning)
  /// or 60 (critical), and never lengthens it.
  std::vector<Uuid> candidates(const std::vector<Tab>& tabs, Date now, MemoryPressure pressure) const;
};

}  // namespace vale
