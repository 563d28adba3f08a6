#pragma once

#include <optional>
#include <string_view>

namespace vale {

/// The values of a line that is not decoded: strings without their quotes, escapes as they stand; empty where
/// the line has none.
struct HistoryLineFields {
  std::string_view visitedAt;
  std::string_view lastVisitedAt;
  std::string_view visitCount;
  std::string_view url;
  std::string_view title;
  std::string_view transition;
  std::string_view textExcerpt;
};

/// Splits a line in the exact form in which Vale writes it, without reading its excerpt; none for any other,
/// which must be decoded. A line that is split may still be no visit.
std::optional<HistoryLineFields> lineFields(std::string_view line);

}  // namespace vale
