#include "intelligence/TabGroupingHints.h"

#include <algorithm>
#include <unordered_set>
#include <utility>

namespace vale::TabGroupingHints {
namespace {

bool saysNothing(const ManualGroupPreference& hint) { return hint.urls.size() < 2; }

void keepNewest(Hints& hints) {
  std::erase_if(hints, saysNothing);
  while (hints.size() > mostHints) {
    hints.erase(std::ranges::min_element(hints, {}, &ManualGroupPreference::updatedAt));
  }
}

void boundAddresses(ManualGroupPreference& hint) {
  std::unordered_set<std::string> seen;
  std::erase_if(hint.urls, [&](const std::string& address) { return !seen.insert(address).second; });
  if (hint.urls.size() > mostAddresses) hint.urls.resize(mostAddresses);
}

}  // namespace

void remember(Hints& hints, ManualGroupPreference hint) {
  boundAddresses(hint);
  const auto known = std::ranges::find(hints, hint.key, &ManualGroupPreference::key);
  if (known == hints.end()) {
    hints.push_back(std::move(hint));
  } else if (known->name != hint.name || known->urls != hint.urls) {
    *known = std::move(hint);
  }
  keepNewest(hints);
}

void separate(Hints& hints, const std::string& address, const std::string& key) {
  for (auto& hint : hints) {
    if (hint.key != key) std::erase(hint.urls, address);
  }
  std::erase_if(hints, saysNothing);
}

void mend(Hints& hints) {
  std::unordered_set<std::string> seen;
  std::erase_if(hints, [&](const ManualGroupPreference& hint) { return !seen.insert(hint.key).second; });
  std::ranges::for_each(hints, boundAddresses);
  std::ranges::stable_sort(hints, std::ranges::greater(), &ManualGroupPreference::updatedAt);
  keepNewest(hints);
}

}  // namespace vale::TabGroupingHints
