#pragma once

#include "intelligence/TabGroupingRequest.h"
#include "intelligence/TabGroupingState.h"

#include <map>
#include <string>

/// A checked answer into the grouping. Pure. What an answer says is used only for tabs that still show the
/// address that was sent; tabs that it does not settle (closed, moved on, placed by hand) stay where they
/// are, as long as their group does.
namespace vale::TabGroupingMerge {

/// The tabs whose answer counts, with the normalised address that was sent.
using UsableTabs = std::map<Uuid, std::string>;

/// The proposed groups in their order, then the old ones that tabs stay in. A proposed group continues the
/// old one that it shares most tabs with, each old one once: it keeps that one's identity, whether it is
/// collapsed, and the name that the user gave it.
TabGroupingState applyRegroup(TabGroupingState state, const TabGroupingAnswer& answer,
                              const UsableTabs& usable);

/// Adds to the groups there are. A tab whose group has gone meanwhile stays where it was.
TabGroupingState applyAssignment(TabGroupingState state, const TabGroupingAnswer& answer,
                                 const UsableTabs& usable);

}  // namespace vale::TabGroupingMerge
