#include "common/WebAddress.h"
#include "history/ArchiveName.h"
#include "history/HistoryArchive.h"
#include "history/HistoryLineReader.h"

#include <algorithm>
#include <utility>

namespace vale {
namespace {

using std::chrono::days;
using std::chrono::sys_seconds;

constexpr TimeSpan allTime{sys_seconds::min(), sys_seconds::max()};

/// The first whole second that is not before the moment.
sys_seconds upToSecond(Date moment) {
  const auto whole = wholeSeconds(moment);
  return whole < moment ? whole + std::chrono::seconds(1) : whole;
}

/// What to delete, and what came of it.
using Condition = std::function<bool(const HistoryVisit&)>;

/// The id of a line that may be no visit.
std::optional<Uuid> idOf(std::string_view line, HistoryLineReader& reader) {
  constexpr std::string_view start = R"({"id":")";
  constexpr std::size_t uuidLength = 36;
  if (line.starts_with(start)) {
    if (const auto id = Uuid::parse(line.substr(start.size(), uuidLength))) return id;
  }
  HistoryVisit visit;
  return reader.read(line, visit) ? std::optional(visit.id) : std::nullopt;
}

}  // namespace

struct HistoryArchive::Deletion {
  Condition condition = {};
  HistoryRemoval removal = {};
  std::vector<HistoryVisit>* removed = nullptr;  ///< takes the lines themselves, when asked for
};

void HistoryArchive::removeLines(const std::string& archive, Deletion& deletion) try {
  Shard left;
  std::vector<HistoryVisit> removed;
  for (const auto& visit : shards_.load(archive, HistoryShards::Indexing::none).visits)
    (deletion.condition(visit) ? removed : left.visits).push_back(visit);
  if (removed.empty()) return;
  shards_.rewrite(archive, std::move(left));
  deletion.removal.visits += std::int64_t(removed.size());
  for (const auto& visit : removed) deletion.removal.ids.insert(visit.id);
  if (deletion.removed) std::ranges::move(removed, std::back_inserter(*deletion.removed));
} catch (const Error& error) {
  deletion.removal.problems.push_back(error.message);
}

/// Deletes an archive without decoding it, so that one with broken lines goes too. Its lines are only counted
/// and their ids picked out of the bytes, for the timelines and for indexes.
void HistoryArchive::removeWhole(const std::string& archive, Deletion& deletion) try {
  std::set<Uuid> ids;
  std::int64_t lines = 0;
  try {
    const auto bytes = ArchiveBytes::read(shards_.file(archive));
    HistoryLineReader reader;
    for (std::size_t position = 0; const auto line = bytes.nextLine(position);) {
      ++lines;
      if (const auto id = idOf(*line, reader)) ids.insert(*id);
    }
  } catch (const FileError&) {
    // What cannot be read can still be deleted.
  }
  shards_.deleteArchive(archive);
  deletion.removal.visits += lines;
  deletion.removal.ids.merge(ids);
} catch (const Error& error) {
  deletion.removal.problems.push_back(error.message);
}

HistoryRemoval HistoryArchive::removeWithin(const TimeSpan& gone, const LocalCalendar& calendar) {
  const auto guard = lock_.exclusive();
  Deletion deletion{.condition = [&gone](const HistoryVisit& visit) {
    return visit.visitedAt >= gone.begin && visit.visitedAt < gone.end;
  }};
  for (const auto& archive : archivesWithin(dayArchives(), gone)) {
    const sys_seconds day = *utcDay(archive);
    // A day that a deletion begins with is filtered, even from its first second on.
    const bool whole = day > gone.begin && day + days(1) <= gone.end;
    whole ? removeWhole(archive, deletion) : removeLines(archive, deletion);
  }
  timelines_.prune(deletion.removal, gone, calendar);
  return std::move(deletion.removal);
}

HistoryRemoval HistoryArchive::removeAll() { return removeWithin(allTime, LocalCalendar::utc()); }

HistoryRemoval HistoryArchive::removeVisitsSince(Date since, const LocalCalendar& calendar) {
  return removeWithin({upToSecond(since), allTime.end}, calendar);
}

HistoryRemoval HistoryArchive::removeVisitsBefore(Date before, const LocalCalendar& calendar) {
  return removeWithin({allTime.begin, upToSecond(before)}, calendar);
}

HistoryRemoval HistoryArchive::removeDay(LocalDay day, const LocalCalendar& calendar) {
  const auto guard = lock_.exclusive();
  const auto span = calendar.span(day);
  Deletion deletion{
      .condition = [&](const HistoryVisit& visit) { return calendar.day(visit.visitedAt) == day; }};
  for (const auto& archive : archivesWithin(dayArchives(), span)) removeLines(archive, deletion);
  timelines_.prune(deletion.removal, span, calendar);
  return std::move(deletion.removal);
}

/// The caller holds the lock.
AddressRemoval HistoryArchive::removeMatching(const std::vector<std::string>& archives,
                                              const std::function<bool(const HistoryVisit&)>& condition) {
  AddressRemoval result;
  Deletion deletion{.condition = condition, .removed = &result.removed};
  for (const auto& archive : archives) removeLines(archive, deletion);
  timelines_.prune(deletion.removal, std::nullopt, std::nullopt);
  result.removal = std::move(deletion.removal);
  return result;
}

HistoryRemoval HistoryArchive::removeVisitsOfSite(std::string_view site) {
  return removeLinesOfSite(site).removal;
}

AddressRemoval HistoryArchive::removeLinesOfSite(std::string_view site) {
  std::string wanted(site);
  std::ranges::transform(wanted, wanted.begin(), [](char c) { return c >= 'A' && c <= 'Z' ? c + 32 : c; });
  if (wanted.empty()) return {};
  const auto guard = lock_.exclusive();
  return removeMatching(dayArchives(), [&wanted, ending = "." + wanted](const HistoryVisit& visit) {
    const std::string found = host(visit.url);
    return found == wanted || found.ends_with(ending);
  });
}

AddressRemoval HistoryArchive::removeVisitsOfAddress(std::string_view address) {
  const auto guard = lock_.exclusive();
  return removeMatching(dayArchives(), [&](const HistoryVisit& visit) { return visit.url == address; });
}

AddressRemoval HistoryArchive::removeVisit(const Uuid& id, Date visitedAt) {
  const auto guard = lock_.exclusive();
  return removeMatching({archiveName(wholeSeconds(visitedAt))},
                        [&](const HistoryVisit& visit) { return visit.id == id; });
}

}  // namespace vale
