#pragma once

#include "common/Json.h"
#include "intelligence/TabGroupingRequest.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vale {

/// Groups a list of tabs that stands in no window: JSON texts in, one question, a JSON text out. Main thread
/// only.
class TabListGrouping {
 public:
  struct Texts {
    /// [{"id"?, "url", "title", "openerID"?, "pinned"?}]; a tab without an id gets a fresh one.
    std::string tabs;
    /// A grouping of the form that `result` has: then only the tabs that none of its groups holds are asked
    /// about. Its groups may hold tabs that are not in the list.
    std::optional<std::string> existing = {};
    /// A list of manual group preferences, of which "name" and "urls" are read.
    std::optional<std::string> preferences = {};
  };

  /// Throws Error for a text that cannot be read, naming the place, and for more tabs than one request takes.
  TabListGrouping(const Texts& texts, ModelInputFilter& filter);

  /// The question that is to be asked; none when there are too few tabs, or none left to place.
  const std::optional<TabGroupingRequest>& request() const { return request_; }

  /// Takes the request's answer in, once. Throws UnreadableAnswer.
  void apply(std::string_view answer);

  /// {"groups": [{"name", "intent", "rationale", "comparable", "tabIDs"}], "unassigned"}: every tab of the
  /// list once, besides what the existing groups held.
  json::value result() const;

 private:
  std::vector<TabGroup> groups_;
  std::vector<Uuid> unassigned_;
  std::optional<TabGroupingRequest> request_;
};

}  // namespace vale
