#pragma once

#include "history/LocalCalendar.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// The names of archives: "YYYY-MM-DD.jsonl", by the UTC day of `visitedAt`.
namespace vale {

/// A time as lines hold it: cut to whole seconds (toward 1970) and clamped to the years 0 to 9999.
std::chrono::sys_seconds wholeSeconds(Date date);

std::string archiveName(std::chrono::sys_seconds time);

/// The UTC day of an archive; none when the name is not that of a day.
std::optional<std::chrono::sys_days> utcDay(std::string_view archive);

/// True for a plain file name that ends in ".jsonl", be it a day's or not.
bool isArchiveName(std::string_view name);

/// The archives of all UTC days that the span touches, oldest first, given those that there are.
std::vector<std::string> archivesWithin(const std::vector<std::string>& archives, const TimeSpan& span);

}  // namespace vale
