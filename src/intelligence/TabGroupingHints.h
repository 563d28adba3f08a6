#pragma once

#include "intelligence/TabGroupingState.h"

#include <cstddef>
#include <string>
#include <vector>

/// The list of the user's own groupings that steers later ones. Bounded: the newest are kept.
namespace vale::TabGroupingHints {

inline constexpr std::size_t mostHints = 50;
inline constexpr std::size_t mostAddresses = 100;

using Hints = std::vector<ManualGroupPreference>;

/// Adds a hint in place of the one with its key; `updatedAt` stays when nothing else changes. One that tells
/// of fewer than two pages says nothing and is dropped.
void remember(Hints& hints, ManualGroupPreference hint);

/// The page no longer belongs to other groups than that of `key`.
void separate(Hints& hints, const std::string& address, const std::string& key);

/// Hints as they may stand in a file that somebody has edited: bounded, each key once.
void mend(Hints& hints);

}  // namespace vale::TabGroupingHints
