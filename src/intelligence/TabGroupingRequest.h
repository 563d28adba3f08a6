#pragma once

#include "intelligence/GroupableTab.h"
#include "intelligence/IntelligenceClient.h"
#include "intelligence/IntelligenceOperation.h"
#include "intelligence/ModelInputFilter.h"
#include "intelligence/TabGroupingState.h"

#include <cstddef>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace vale {

/// An answer in the tabs' own ids: every tab of the request is in it exactly once.
struct TabGroupingAnswer {
  struct Assignment {
    Uuid tabID;
    Uuid groupID;

    bool operator==(const Assignment&) const = default;
  };

  std::vector<Assignment> assignments;  ///< to groups that the request told of
  std::vector<TabGroup> groups;         ///< new ones, under fresh ids
  std::vector<Uuid> unassigned;
};

/// One question about open tabs, and how its answer is read. A value; the functions that make one ask the
/// filter, hence main thread only.
struct TabGroupingRequest {
  /// Fewer tabs than this are not worth a question.
  static constexpr std::size_t fewestTabs = 3;
  /// A request with more than this is refused.
  static constexpr std::size_t mostTabs = 300;

  IntelligenceOperation operation = IntelligenceOperation::tabGrouping;
  std::string prompt;
  std::map<int, Uuid> tabs;    ///< by the numbers that stand for them
  std::map<int, Uuid> groups;  ///< of an assignment, likewise

  /// What the answer must match.
  const std::string& schema() const;

  /// Throws UnreadableAnswer for a text that is not a JSON object; nothing else in an answer is an error.
  TabGroupingAnswer read(std::string_view answer) const;
};

/// True for a tab that may be grouped: it has a web address, and no agent works in it.
bool isGroupable(const GroupableTab& tab);

/// Asks for groups of all these tabs, from scratch. The tabs are groupable ones. Throws Error, a sentence for
/// the user, when they are too many.
TabGroupingRequest makeRegroupRequest(std::span<const GroupableTab> tabs,
                                      std::span<const ManualGroupPreference> preferences,
                                      ModelInputFilter& filter);

/// What is known when new tabs are to be placed.
struct TabAssignmentContext {
  std::span<const GroupableTab> tabs;  ///< all that are open and groupable, the new ones too
  std::span<const TabGroup> groups;    ///< their members need not be open
  const std::map<std::string, Uuid>* formerGroups = nullptr;  ///< by tab id; see TabGroupingState
  std::span<const ManualGroupPreference> preferences;
};

/// Asks into which of the groups, or new ones, these tabs belong. Throws like makeRegroupRequest.
TabGroupingRequest makeAssignmentRequest(std::span<const GroupableTab> newTabs,
                                         const TabAssignmentContext& context, ModelInputFilter& filter);

/// The sentence for a user whose tabs were not grouped because of this error.
std::string groupingFailureMessage(const Error& error);

}  // namespace vale
