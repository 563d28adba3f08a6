#include "browser/TabSleepPolicy.h"

#include <algorithm>
#include <iterator>

namespace vale {

namespace {

double threshold(double delay, MemoryPressure pressure) {
  switch (pressure) {
  case MemoryPressure::normal:
    return delay;
  case MemoryPressure::warning:
    return std::min(delay, 300.0);
  case MemoryPressure::critical:
    return std::min(delay, 60.0);
  }
  return delay;
}

}  // namespace

std::vector<Uuid> TabSleepPolicy::candidates(const std::vector<Tab>& tabs, Date now,
                                             MemoryPressure pressure) const {
  const Seconds wait(threshold(delay, pressure));
  std::vector<Tab> kept;
  std::ranges::copy_if(tabs, std::back_inserter(kept), [&](const Tab& tab) {
    return tab.hasPage && !tab.isSelected && !tab.pinned && !tab.isAgentTab && !tab.keepsPage &&
           !tab.isPlayingAudio && !tab.isCapturing && tab.hiddenSince && now - *tab.hiddenSince >= wait;
  });
  std::ranges::stable_sort(kept, {}, [](const Tab& tab) { return *tab.hiddenSince; });
  std::vector<Uuid> ids;
  std::ranges::transform(kept, std::back_inserter(ids), &Tab::id);
  return ids;
}

}  // namespace vale
