#include "history/DayTimelines.h"

#include "common/FileDescriptor.h"
#include "common/Json.h"
#include "common/PrivateFiles.h"

#include <algorithm>
#include <cerrno>
#include <unistd.h>
#include <vector>

namespace vale {
namespace {

constexpr std::string_view suffix = ".json";

bool isWithin(const TimeSpan& inner, const TimeSpan& outer) {
  return inner.begin >= outer.begin && inner.end <= outer.end;
}

bool isRemoved(const json::value& id, const std::set<Uuid>& ids) {
  const auto uuid = id.is_string() ? Uuid::parse(std::string_view(id.get_string())) : std::nullopt;
  return uuid && ids.contains(*uuid);
}

json::array* arrayOf(json::value& value, std::string_view key) {
  auto* object = value.if_object();
  auto* member = object ? object->if_contains(key) : nullptr;
  return member ? member->if_array() : nullptr;
}

enum class Change { none, pruned, emptied };

Change dropVisits(json::value& timeline, const std::set<Uuid>& ids) {
  auto* episodes = arrayOf(timeline, "episodes");
  if (!episodes) return Change::none;
  json::array kept;
  bool changed = false;
  for (auto& episode : *episodes) {
    auto* visits = arrayOf(episode, "visitIDs");
    if (visits) {
      json::array left;
      for (const auto& id : *visits) {
        if (!isRemoved(id, ids)) left.push_back(id);
      }
      if (left.size() != visits->size()) {
        changed = true;
        if (left.empty()) continue;
        *visits = std::move(left);
      }
    }
    kept.push_back(episode);
  }
  if (!changed) return Change::none;
  const bool empty = kept.empty();
  *episodes = std::move(kept);
  return empty ? Change::emptied : Change::pruned;
}

void deleteFile(const std::filesystem::path& file) {
  if (unlink(file.c_str()) != 0 && errno != ENOENT) throw FileError("delete", file, errno);
}

/// True when the file was changed or deleted.
bool pruneFile(const std::filesystem::path& file, LocalDay day, const std::set<Uuid>& ids,
               const std::optional<TimeSpan>& gone, const std::optional<LocalCalendar>& calendar) {
  const auto bytes = readFile(file);
  auto timeline = bytes ? tryParseJson(*bytes) : std::nullopt;
  const auto* object = timeline ? timeline->if_object() : nullptr;
  const auto zone = object ? stringMember(*object, "timeZone") : std::nullopt;
  const auto named = zone ? LocalCalendar::named(*zone) : std::nullopt;
  const auto& zoned = named ? named : calendar;
  if (gone && zoned && isWithin(zoned->span(day), *gone)) {
    deleteFile(file);
    return true;
  }
  if (!bytes) throw bytes.error();
  if (!object)
    throw Error("The day timeline “" + file.string() + "” could not be read. It was left as it is.");
  switch (dropVisits(*timeline, ids)) {
  case Change::none:
    return false;
  case Change::pruned:
    PrivateFiles::write(jsonText(*timeline) + "\n", file);
    return true;
  case Change::emptied:
    deleteFile(file);
    return true;
  }
  return false;
}

}  // namespace

std::filesystem::path DayTimelines::file(LocalDay day) const {
  return folder_ / (dayKey(day) + std::string(suffix));
}

std::optional<DaySummary> DayTimelines::summary(LocalDay day) const {
  const auto bytes = readFile(file(day));
  if (bytes) return decodeDaySummary(day, *bytes);
  if (bytes.error().code == ENOENT) return std::nullopt;
  throw bytes.error();
}

bool DayTimelines::save(const DaySummary& summary) const {
  return PrivateFiles::writeIfChanged(encodeDaySummary(summary), file(summary.day));
}

void DayTimelines::prune(HistoryRemoval& removal, const std::optional<TimeSpan>& gone,
                         const std::optional<LocalCalendar>& calendar) const {
  if (removal.ids.empty() && !gone) return;
  std::error_code error;
  std::vector<std::filesystem::path> files;
  for (std::filesystem::directory_iterator entry(folder_, error), end; !error && entry != end;
       entry.increment(error)) {
    files.push_back(entry->path());
  }
  if (error && error != std::errc::no_such_file_or_directory)
    removal.problems.push_back(FileError("read the folder", folder_, error.value()).message);
  std::ranges::sort(files);
  for (const auto& file : files) {
    const auto day = file.extension() == suffix ? parseDayKey(file.stem().native()) : std::nullopt;
    if (!day) continue;
    try {
      removal.timelines += pruneFile(file, *day, removal.ids, gone, calendar);
    } catch (const Error& problem) {
      removal.problems.push_back(problem.message);
    }
  }
}

}  // namespace vale
