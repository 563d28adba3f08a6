#include "history/ArchiveName.h"

#include <algorithm>

namespace vale {
namespace {

using namespace std::chrono;

constexpr std::string_view suffix = ".jsonl";
constexpr sys_seconds firstSecond = sys_days{0y / January / 1};
constexpr sys_seconds lastSecond = sys_days{9999y / December / 31} + 23h + 59min + 59s;

}  // namespace

sys_seconds wholeSeconds(Date date) {
  // What is not a number must end up inside too.
  if (!(date >= firstSecond)) return firstSecond;
  if (!(date <= lastSecond)) return lastSecond;
  return time_point_cast<seconds>(date);
}

std::string archiveName(sys_seconds time) {
  const auto day = floor<days>(std::clamp(time, firstSecond, lastSecond));
  return dayKey(LocalDay(day.time_since_epoch())) + std::string(suffix);
}

std::optional<sys_days> utcDay(std::string_view archive) {
  if (!archive.ends_with(suffix)) return std::nullopt;
  const auto day = parseDayKey(archive.substr(0, archive.size() - suffix.size()));
  return day ? std::optional(sys_days(day->time_since_epoch())) : std::nullopt;
}

bool isArchiveName(std::string_view name) {
  return name.ends_with(suffix) && !name.starts_with('.') && !name.contains('/') && !name.contains('\0');
}

std::vector<std::string> archivesWithin(const std::vector<std::string>& archives, const TimeSpan& span) {
  std::vector<std::string> touched;
  std::ranges::copy_if(archives, std::back_inserter(touched), [&span](const std::string& archive) {
    const auto day = utcDay(archive);
    return day && *day<span.end&& * day + days(1)> span.begin;
  });
  return touched;
}

}  // namespace vale
