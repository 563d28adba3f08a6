#pragma once

#include "history/DaySummary.h"
#include "history/HistoryRecords.h"

#include <filesystem>
#include <optional>
#include <set>

namespace vale {

/// The timelines of days, one file each, "YYYY-MM-DD.json" by the day of the user's time zone. Files of other
/// names are left alone.
class DayTimelines {
 public:
  explicit DayTimelines(std::filesystem::path folder) : folder_(std::move(folder)) {}

  /// None when the day has no file. Throws FileError and DecodeError.
  std::optional<DaySummary> summary(LocalDay day) const;

  /// False when the file holds this already. Throws FileError.
  bool save(const DaySummary& summary) const;

  /// Takes what was removed out of the timelines: deletes those whose day lies within `gone`, in the time
  /// zone that the file names, else in that of `calendar`; out of the others drops the ids, the episodes that
  /// are left without any, and the file when it is left without episodes. All else in a file stays. Adds to
  /// `removal` the number of files changed and what could not be done.
  void prune(HistoryRemoval& removal, const std::optional<TimeSpan>& gone,
             const std::optional<LocalCalendar>& calendar) const;

 private:
  std::filesystem::path file(LocalDay day) const;

  std::filesystem::path folder_;
};

}  // namespace vale
