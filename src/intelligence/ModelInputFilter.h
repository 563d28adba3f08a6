#pragma once

#include "common/RawValues.h"

#include <cstddef>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vale {

/// Where text of pages enters a prompt.
enum class ModelInputSite {
  tabGrouping,
  tabAssignment,
  timeline,
  dayHeadline,
  historySearch,
  routing,
  deepRouting,
  projectAreas,
  taskContext,
  pointedElement,
  readingContext,
  sinceSummary,
  compareTable,
};
template <>
inline constexpr auto rawValues<ModelInputSite> = std::to_array<RawValue<ModelInputSite>>({
    {ModelInputSite::tabGrouping, "tabGrouping"},
    {ModelInputSite::tabAssignment, "tabAssignment"},
    {ModelInputSite::timeline, "timeline"},
    {ModelInputSite::dayHeadline, "dayHeadline"},
    {ModelInputSite::historySearch, "historySearch"},
    {ModelInputSite::routing, "routing"},
    {ModelInputSite::deepRouting, "deepRouting"},
    {ModelInputSite::projectAreas, "projectAreas"},
    {ModelInputSite::taskContext, "taskContext"},
    {ModelInputSite::pointedElement, "pointedElement"},
    {ModelInputSite::readingContext, "readingContext"},
    {ModelInputSite::sinceSummary, "sinceSummary"},
    {ModelInputSite::compareTable, "compareTable"},
});

/// A page as a feature would put it into a prompt.
struct PageContext {
  std::string url;
  std::string title;
  std::string text = {};
  std::optional<std::string> selection = {};
  bool sensitive = false;  ///< it has fields for passwords or payment
  bool responded = true;   ///< false: only address and title are known

  bool operator==(const PageContext&) const = default;
};

/// Decides what of a page may go into a prompt, and in which wrapper. Main thread only.
class ModelInputFilter {
 public:
  struct Ledger {
    std::size_t passes = 0;
    std::size_t filtered = 0;
  };
  struct Pages {
    std::vector<PageContext> kept;
    std::vector<PageContext> leftOut;
  };

  /// Whether a page has fields for passwords or payment, as far as this program knows: what the page itself
  /// reported, and what was seen at its address before.
  std::function<bool(const PageContext&)> detector = [](const PageContext& page) { return page.sensitive; };

  /// What of the page may be sent: of one with such fields its title and its address without query and
  /// fragment, no text, and `sensitive` is set. The address never holds a user name or password. None for a
  /// page without a web address. Counted for the site.
  std::optional<PageContext> page(PageContext page, ModelInputSite site);
  /// The same for each: `kept` as they may be sent, `leftOut` as they were given.
  Pages pages(std::vector<PageContext> pages, ModelInputSite site);

  /// The block that stands for the page in a prompt: its address, its selection, text or the note why there
  /// is none, wrapped as untrusted. Nothing in the page can close the wrapper. Takes the page as it is, not
  /// one that came from `page`, and counts it. Empty for a page without a web address.
  std::string pageBlock(const PageContext& page, ModelInputSite site);

  /// The address without query and fragment.
  static std::string withoutQuery(std::string_view address);

  std::size_t filteredCount() const { return filteredCount_; }
  const std::map<ModelInputSite, Ledger>& ledger() const { return ledger_; }

 private:
  std::size_t filteredCount_ = 0;
  std::map<ModelInputSite, Ledger> ledger_;
};

}  // namespace vale
