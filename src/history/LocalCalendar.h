#pragma once

#include "common/Date.h"

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace vale {

/// A day of some calendar, no matter of which time zone.
using LocalDay = std::chrono::local_days;

/// "2026-11-22". Years 0 to 9999.
std::string dayKey(LocalDay day);

/// Reads such a key, and nothing else; none for a day that no calendar has.
std::optional<LocalDay> parseDayKey(std::string_view key);

/// A span of time, from `begin` up to but without `end`.
struct TimeSpan {
  std::chrono::sys_seconds begin;
  std::chrono::sys_seconds end;
};

/// The Gregorian calendar of one time zone. A moment belongs to the day that a clock on the wall shows, so
/// days of 23 and 25 hours, and days that a zone left out, need no care elsewhere. Cheap to copy; safe on
/// every thread.
class LocalCalendar {
 public:
  static LocalCalendar utc();
  /// The machine's time zone ($TZ, else the system's setting).
  static LocalCalendar system();
  /// Of an IANA name such as "Europe/Vienna", or of "GMT+14:00"; none when there is no such zone.
  static std::optional<LocalCalendar> named(std::string_view zone);

  /// The zone's name.
  const std::string& timeZone() const { return timeZone_; }

  LocalDay day(Date moment) const;

  /// From the day's first moment to its last. Empty for a day that the zone left out.
  TimeSpan span(LocalDay day) const;

 private:
  struct Zone;
  explicit LocalCalendar(std::shared_ptr<const Zone> zone);

  std::shared_ptr<const Zone> zone_;
  std::string timeZone_;
};

}  // namespace vale
