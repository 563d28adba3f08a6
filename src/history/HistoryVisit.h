#pragma once

#include "common/RawValues.h"
#include "common/Uuid.h"

#include <array>
#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace vale {

/// How a page was reached. `typed` is the address bar, a bookmark or a list in the browser; `restored` a tab
/// of the last session; `agent` a page that an agent opened.
enum class VisitTransition { link, typed, form, reload, backForward, restored, agent };

template <>
inline constexpr auto rawValues<VisitTransition> =
    std::to_array<RawValue<VisitTransition>>({{VisitTransition::link, "link"},
                                              {VisitTransition::typed, "typed"},
                                              {VisitTransition::form, "form"},
                                              {VisitTransition::reload, "reload"},
                                              {VisitTransition::backForward, "backForward"},
                                              {VisitTransition::restored, "restored"},
                                              {VisitTransition::agent, "agent"}});

/// One line of a history archive: a page that was opened, and the opens soon after it that were folded into
/// the line. Lengths are in user-perceived characters.
struct HistoryVisit {
  static constexpr std::size_t maximumURLLength = 16'384;
  static constexpr std::size_t maximumTitleLength = 1'000;
  static constexpr std::size_t maximumExcerptLength = 8'000;

  Uuid id;  ///< kept when further opens are folded in
  std::chrono::sys_seconds visitedAt;
  std::chrono::sys_seconds lastVisitedAt;  ///< of the latest open that was folded in
  std::int64_t visitCount = 1;             ///< how many opens this line stands for
  std::string url;
  std::string title;
  std::optional<VisitTransition> transition;
  std::optional<Uuid> tabID;
  std::optional<Uuid> openerTabID;
  std::optional<std::string> source;  ///< of an imported visit: browser and profile, "chrome/Default"
  bool sensitive = false;             ///< the page's text must not be kept; the line then has no key or true
  std::optional<std::int64_t> foregroundSeconds;
  std::string textExcerpt;  ///< visible text; empty for sensitive and imported visits

  bool operator==(const HistoryVisit&) const = default;
};

/// The visit as one line of an archive, without its line feed: JSON in UTF-8, the keys in the order of the
/// members above, optional ones only when present, times as ISO 8601 in UTC.
std::string jsonLine(const HistoryVisit& visit);

/// Reads one line back, its keys in any order, unknown ones ignored; none when it is no visit. For many lines
/// `HistoryLineReader` is faster.
std::optional<HistoryVisit> decodeVisit(std::string_view line);

}  // namespace vale
