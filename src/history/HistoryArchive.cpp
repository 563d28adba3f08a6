#include "history/HistoryArchive.h"

#include "common/Text.h"
#include "common/WebAddress.h"
#include "history/ArchiveName.h"
#include "history/FirstFailure.h"
#include "history/LexicalSearch.h"

#include <algorithm>
#include <limits>
#include <ranges>
#include <utility>

namespace vale {
namespace {

using std::chrono::sys_seconds;

std::string cut(std::string text, std::size_t characters) {
  text = validUtf8(std::move(text));
  text.resize(firstCharacters(text, characters).size());
  return text;
}

HistoryVisit newVisit(const PageOpening& opening) {
  HistoryVisit visit;
  visit.visitedAt = visit.lastVisitedAt = wholeSeconds(opening.visitedAt);
  visit.url = cut(opening.url, HistoryVisit::maximumURLLength);
  visit.title = cut(opening.title, HistoryVisit::maximumTitleLength);
  visit.transition = opening.transition;
  visit.tabID = opening.tabID;
  visit.openerTabID = opening.openerTabID;
  visit.sensitive = opening.sensitive;
  if (!opening.sensitive) {
    std::string text = opening.text;
    std::erase(text, '\0');
    visit.textExcerpt = cut(std::move(text), HistoryVisit::maximumExcerptLength);
  }
  return visit;
}

bool folds(const HistoryVisit& line, const HistoryVisit& visit) {
  const auto byAgent = [](const HistoryVisit& one) { return one.transition == VisitTransition::agent; };
  return std::chrono::abs(visit.visitedAt - line.lastVisitedAt) <= HistoryArchive::foldingTime &&
         byAgent(line) == byAgent(visit);
}

void takeContent(HistoryVisit& line, HistoryVisit visit) {
  if (!visit.title.empty()) line.title = std::move(visit.title);
  line.sensitive |= visit.sensitive;
  if (line.sensitive) {
    // Once the page was sensitive its text stays away, whatever a later open shows.
    line.textExcerpt.clear();
  } else if (!visit.textExcerpt.empty()) {
    line.textExcerpt = std::move(visit.textExcerpt);
  }
}

/// The line keeps everything else, its address too.
void fold(HistoryVisit& line, HistoryVisit visit) {
  if (line.visitCount < std::numeric_limits<std::int64_t>::max()) ++line.visitCount;
  line.lastVisitedAt = std::max(line.lastVisitedAt, visit.visitedAt);
  takeContent(line, std::move(visit));
}

}  // namespace

HistoryArchive::HistoryArchive(ValeLibrary library, WorkerPool* workers)
    : library_(std::move(library)), workers_(workers), lock_(library_.history()), shards_(library_.history()),
      timelines_(library_.dayTimelines()) {}

void HistoryArchive::prepare() {
  if (prepared_) return;
  library_.prepare();
  prepared_ = true;
}

HistoryVisit HistoryArchive::append(const PageOpening& opening) {
  if (!isWebAddress(opening.url)) throw HistoryStoreError::invalidURL();
  prepare();
  HistoryVisit visit = newVisit(opening);
  const std::string key = normalizeURL(visit.url);
  const auto guard = lock_.exclusive();
  const std::string today = archiveName(visit.visitedAt);
  std::vector<std::string> candidates = {today};
  if (auto before = archiveName(visit.visitedAt - foldingTime); before != today)
    candidates.push_back(std::move(before));
  for (const auto& archive : candidates) {
    auto& shard = shards_.load(archive, HistoryShards::Indexing::byAddress);
    const auto found = shard.latest->find(key);
    if (found == shard.latest->end()) continue;
    const std::size_t index = found->second;
    if (!folds(shard.visits[index], visit)) continue;
    Shard changed = std::move(shard);
    fold(changed.visits[index], std::move(visit));
    HistoryVisit folded = changed.visits[index];
    shards_.rewrite(archive, std::move(changed));
    return folded;
  }
  visit.id = Uuid::random();
  shards_.append(today, visit);
  return visit;
}

/// Rewrites the archives in which `change` changes lines, and gives these lines.
std::vector<HistoryVisit> HistoryArchive::change(const std::vector<std::string>& archives,
                                                 const std::function<bool(HistoryVisit&)>& change) {
  std::vector<HistoryVisit> changed;
  FirstFailure failure;
  for (const auto& archive : archives) {
    failure.guard([&] {
      Shard shard = shards_.load(archive, HistoryShards::Indexing::none);
      std::vector<HistoryVisit> here;
      for (auto& visit : shard.visits) {
        if (change(visit)) here.push_back(visit);
      }
      if (here.empty()) return;
      shards_.rewrite(archive, std::move(shard));
      std::ranges::move(here, std::back_inserter(changed));
    });
  }
  failure.rethrow();
  return changed;
}

std::vector<HistoryVisit> HistoryArchive::markSensitive(std::string_view origin, std::optional<Date> since,
                                                        std::optional<Date> until) {
  const std::string given = webOrigin(origin);
  if (given.empty()) return {};
  const auto guard = lock_.exclusive();
  constexpr std::chrono::seconds oneSecond(1);
  const TimeSpan span{since ? wholeSeconds(*since) - foldingTime : sys_seconds::min(),
                      until ? wholeSeconds(*until) + oneSecond : sys_seconds::max()};
  return change(archivesWithin(dayArchives(), span), [&](HistoryVisit& visit) {
    // Of a folded line nobody knows which of its opens the excerpt is from.
    if ((since && visit.lastVisitedAt < *since) || (until && visit.visitedAt > *until)) return false;
    if ((visit.sensitive && visit.textExcerpt.empty()) || webOrigin(visit.url) != given) return false;
    visit.textExcerpt.clear();
    visit.sensitive = true;
    return true;
  });
}

std::optional<HistoryVisit> HistoryArchive::revise(const PageRevision& revision) {
  const HistoryVisit shown = newVisit({.url = {},
                                       .title = revision.title,
                                       .text = revision.text,
                                       .visitedAt = revision.visitedAt,
                                       .sensitive = revision.sensitive});
  const auto guard = lock_.exclusive();
  auto changed = change({archiveName(shown.visitedAt)}, [&](HistoryVisit& visit) {
    if (visit.id != revision.id) return false;
    const HistoryVisit before = visit;
    takeContent(visit, shown);
    return visit != before;
  });
  return changed.empty() ? std::nullopt : std::optional(std::move(changed.front()));
}

std::vector<HistoryVisit> HistoryArchive::addForeground(const ForegroundTimes& times) {
  const auto guard = lock_.exclusive();
  std::set<std::string> archives;
  for (const auto& [id, time] : times) archives.insert(archiveName(wholeSeconds(time.visitedAt)));
  return change({archives.begin(), archives.end()}, [&times](HistoryVisit& visit) {
    const auto found = times.find(visit.id);
    if (found == times.end() || found->second.seconds <= 0) return false;
    auto& sum = visit.foregroundSeconds.emplace(visit.foregroundSeconds.value_or(0));
    if (__builtin_add_overflow(sum, found->second.seconds, &sum))
      sum = std::numeric_limits<std::int64_t>::max();
    return true;
  });
}

std::vector<HistoryVisit> HistoryArchive::visits(LocalDay day, const LocalCalendar& calendar) {
  const auto guard = lock_.shared();
  std::vector<HistoryVisit> found;
  for (const auto& archive : archivesWithin(dayArchives(), calendar.span(day))) {
    const auto& all = shards_.load(archive, HistoryShards::Indexing::none).visits;
    std::ranges::copy_if(all, std::back_inserter(found),
                         [&](const HistoryVisit& visit) { return calendar.day(visit.visitedAt) == day; });
  }
  return found;
}

std::vector<HistoryVisit> HistoryArchive::lexicalSearch(std::string_view query, std::size_t limit) {
  const auto guard = lock_.shared();
  return vale::lexicalSearch(library_.history(), query, limit, workers_);
}

std::vector<AddressIndexRow> HistoryArchive::addressRows() {
  const auto guard = lock_.shared();
  return vale::addressRows(library_.history(), workers_);
}

std::unordered_map<Uuid, HistoryVisit> HistoryArchive::visitsWithIDs(const std::set<Uuid>& ids) {
  const auto guard = lock_.shared();
  std::unordered_map<Uuid, HistoryVisit> found;
  for (const auto& archive : std::views::reverse(dayArchives())) {
    if (found.size() == ids.size()) break;
    shards_.forEachVisit(archive, [&](const HistoryVisit& visit) {
      if (ids.contains(visit.id)) found.emplace(visit.id, visit);
      return found.size() < ids.size();
    });
  }
  return found;
}

std::map<LocalDay, std::int64_t> HistoryArchive::countDays(const std::string& archive,
                                                           const LocalCalendar& calendar) {
  std::map<LocalDay, std::int64_t> counts;
  shards_.forEachVisit(archive, [&](const HistoryVisit& visit) {
    ++counts[calendar.day(visit.visitedAt)];
    return true;
  });
  return counts;
}

std::vector<HistoryDay> HistoryArchive::storedDays(const LocalCalendar& calendar) {
  const auto guard = lock_.shared();
  auto& known = dayCounts_[calendar.timeZone()].archives;
  const auto archives = dayArchives();
  std::erase_if(known, [&](const auto& one) { return !std::ranges::binary_search(archives, one.first); });
  std::map<LocalDay, std::int64_t> sums;
  for (const auto& archive : archives) {
    const auto stamp = Stamp::of(shards_.file(archive));
    if (!stamp) continue;
    const auto found = known.find(archive);
    if (found == known.end() || found->second.stamp != *stamp)
      known[archive] = {*stamp, countDays(archive, calendar)};
    for (const auto& [day, count] : known[archive].counts) sums[day] += count;
  }
  std::vector<HistoryDay> days;
  for (const auto& [day, count] : sums) days.push_back({day, count});
  return days;
}

std::vector<std::string> HistoryArchive::archiveNames() const {
  std::vector<std::string> names;
  std::error_code error;
  for (std::filesystem::directory_iterator entry(library_.history(), error), end; !error && entry != end;
       entry.increment(error)) {
    std::error_code unknown;
    if (std::string name = entry->path().filename(); isArchiveName(name) && !entry->is_directory(unknown))
      names.push_back(std::move(name));
  }
  if (error && error != std::errc::no_such_file_or_directory)
    throw FileError("read the folder", library_.history(), error.value());
  std::ranges::sort(names);
  return names;
}

std::vector<std::string> HistoryArchive::dayArchives() const {
  auto names = archiveNames();
  std::erase_if(names, [](const std::string& name) { return !utcDay(name); });
  return names;
}

std::vector<HistoryVisit> HistoryArchive::records(const std::string& archive) {
  if (!isArchiveName(archive)) throw HistoryStoreError::invalidArchiveName();
  const auto guard = lock_.shared();
  return shards_.load(archive, HistoryShards::Indexing::none).visits;
}

std::optional<DaySummary> HistoryArchive::daySummary(LocalDay day) const { return timelines_.summary(day); }

bool HistoryArchive::saveDaySummary(const DaySummary& summary) {
  prepare();
  return timelines_.save(summary);
}

}  // namespace vale
