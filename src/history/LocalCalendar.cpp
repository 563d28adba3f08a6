#include "history/LocalCalendar.h"

#include <fmt/format.h>
#include <unicode/basictz.h>
#include <unicode/timezone.h>
#include <unicode/tztrans.h>

#include <algorithm>
#include <utility>

namespace vale {
namespace {

using namespace std::chrono;

constexpr LocalDay firstDay{local_days{0y / January / 1}};
constexpr LocalDay lastDay{local_days{9999y / December / 31}};

UDate milliseconds(sys_seconds moment) { return double(moment.time_since_epoch().count()) * 1'000; }

/// What a clock on the wall shows then is this much later than UTC.
seconds offset(const icu::TimeZone& zone, sys_seconds moment) {
  std::int32_t standard = 0;
  std::int32_t summer = 0;
  UErrorCode status = U_ZERO_ERROR;
  zone.getOffset(milliseconds(moment), false, standard, summer, status);
  return seconds(U_SUCCESS(status) ? (standard + summer) / 1'000 : 0);
}

/// The first change of the offset after a moment.
sys_seconds nextChange(const icu::TimeZone& zone, sys_seconds moment) {
  const auto* changing = dynamic_cast<const icu::BasicTimeZone*>(&zone);
  icu::TimeZoneTransition change;
  if (!changing || !changing->getNextTransition(milliseconds(moment), false, change))
    return sys_seconds::max();
  return sys_seconds(seconds(std::int64_t(change.getTime() / 1'000)));
}

}  // namespace

struct LocalCalendar::Zone {
  std::unique_ptr<icu::TimeZone> zone;
};

std::string dayKey(LocalDay day) {
  const year_month_day date(day);
  return fmt::format("{:04}-{:02}-{:02}", int(date.year()), unsigned(date.month()), unsigned(date.day()));
}

std::optional<LocalDay> parseDayKey(std::string_view key) {
  if (key.size() != std::string_view("2026-11-22").size()) return std::nullopt;
  const auto midnight = parseISO8601(std::string(key) + "T00:00:00Z");
  if (!midnight) return std::nullopt;
  return LocalDay(floor<days>(*midnight).time_since_epoch());
}

LocalCalendar::LocalCalendar(std::shared_ptr<const Zone> zone) : zone_(std::move(zone)) {
  icu::UnicodeString name;
  zone_->zone->getID(name).toUTF8String(timeZone_);
}

LocalCalendar LocalCalendar::utc() {
  return LocalCalendar(
      std::make_shared<const Zone>(std::unique_ptr<icu::TimeZone>(icu::TimeZone::getGMT()->clone())));
}

LocalCalendar LocalCalendar::system() {
  return LocalCalendar(
      std::make_shared<const Zone>(std::unique_ptr<icu::TimeZone>(icu::TimeZone::detectHostTimeZone())));
}

std::optional<LocalCalendar> LocalCalendar::named(std::string_view zone) {
  std::unique_ptr<icu::TimeZone> found(icu::TimeZone::createTimeZone(icu::UnicodeString::fromUTF8(zone)));
  // What ICU does not know is GMT by another name.
  if (!found || *found == icu::TimeZone::getUnknown()) return std::nullopt;
  return LocalCalendar(std::make_shared<const Zone>(std::move(found)));
}

LocalDay LocalCalendar::day(Date moment) const {
  const Date bounded = std::clamp<Date>(moment, sys_days(firstDay.time_since_epoch()),
                                        sys_days(lastDay.time_since_epoch() + days(1)) - 1s);
  const auto whole = floor<seconds>(bounded);
  const auto shown = whole + offset(*zone_->zone, whole);
  return std::clamp(LocalDay(floor<days>(shown).time_since_epoch()), firstDay, lastDay);
}

TimeSpan LocalCalendar::span(LocalDay day) const {
  // As if the offset were none. No zone was ever further than a day away from that.
  const sys_seconds midnight(day.time_since_epoch());
  const sys_seconds end = midnight + days(2);
  TimeSpan span{midnight, midnight};
  bool found = false;
  for (sys_seconds from = midnight - days(1); from < end;) {
    const auto to = std::min(nextChange(*zone_->zone, from), end);
    const auto shift = offset(*zone_->zone, from);
    const auto first = std::max(from, midnight - shift);
    const auto last = std::min(to, midnight + days(1) - shift);
    if (first < last) {
      if (!found) span.begin = first;
      span.end = last;
      found = true;
    }
    from = to;
  }
  return span;
}

}  // namespace vale
