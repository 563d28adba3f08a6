#pragma once

#include "common/Uuid.h"
#include "history/LocalCalendar.h"

#include <chrono>
#include <string>
#include <string_view>
#include <vector>

namespace vale {

/// One contiguous activity of a day.
struct DayEpisode {
  std::string title;
  std::string summary;
  std::chrono::sys_seconds startedAt;
  std::chrono::sys_seconds endedAt;
  std::vector<Uuid> visitIDs;

  bool operator==(const DayEpisode&) const = default;
};

/// The timeline of one day in the user's time zone.
struct DaySummary {
  LocalDay day;
  std::string timeZone;
  std::vector<DayEpisode> episodes;

  bool operator==(const DaySummary&) const = default;
};

/// The content of a timeline file, its times as ISO 8601 in UTC. Reading it throws DecodeError; the day is
/// the one that the file is named for.
std::string encodeDaySummary(const DaySummary& summary);
DaySummary decodeDaySummary(LocalDay day, std::string_view text);

}  // namespace vale
