#pragma once

#include "common/RawValues.h"

namespace vale {

/// What the browser's own intelligence is asked for. Models and efforts are chosen by it.
enum class IntelligenceOperation {
  routing,
  deepRouting,
  tabGrouping,
  tabAssignment,
  projectAreas,
  timeline,
  historySearch,
  sinceSummary,
  compareTable,
  general,
};
template <>
inline constexpr auto rawValues<IntelligenceOperation> = std::to_array<RawValue<IntelligenceOperation>>({
    {IntelligenceOperation::routing, "routing"},
    {IntelligenceOperation::deepRouting, "deepRouting"},
    {IntelligenceOperation::tabGrouping, "tabGrouping"},
    {IntelligenceOperation::tabAssignment, "tabAssignment"},
    {IntelligenceOperation::projectAreas, "projectAreas"},
    {IntelligenceOperation::timeline, "timeline"},
    {IntelligenceOperation::historySearch, "historySearch"},
    {IntelligenceOperation::sinceSummary, "sinceSummary"},
    {IntelligenceOperation::compareTable, "compareTable"},
    {IntelligenceOperation::general, "general"},
});

}  // namespace vale
