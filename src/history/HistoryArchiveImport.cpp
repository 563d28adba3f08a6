#include "common/Text.h"
#include "common/WebAddress.h"
#include "history/ArchiveName.h"
#include "history/FirstFailure.h"
#include "history/HistoryArchive.h"

#include <algorithm>
#include <unordered_set>
#include <utility>

namespace vale {
namespace {

using std::chrono::sys_seconds;

/// What makes two imported visits the same one.
using ExactVisit = std::pair<std::string, sys_seconds>;

HistoryVisit newVisit(const ImportedVisit& imported, std::string_view source) {
  const auto cut = [](const std::string& text, std::size_t characters) {
    const std::string valid = validUtf8(text);
    return std::string(firstCharacters(valid, characters));
  };
  HistoryVisit visit;
  visit.id = Uuid::random();
  visit.visitedAt = visit.lastVisitedAt = wholeSeconds(imported.visitedAt);
  visit.url = cut(imported.url, HistoryVisit::maximumURLLength);
  visit.title = cut(imported.title, HistoryVisit::maximumTitleLength);
  visit.transition = imported.transition;
  visit.source = validUtf8(std::string(source));
  return visit;
}

std::set<ExactVisit> exactVisits(const std::vector<HistoryVisit>& visits) {
  std::set<ExactVisit> exact;
  for (const auto& visit : visits) exact.emplace(visit.url, visit.visitedAt);
  return exact;
}

}  // namespace

/// Puts lines among those of an archive by their time; the lines that are there keep their order.
void HistoryArchive::merge(const std::string& archive, std::vector<HistoryVisit> added) {
  std::ranges::stable_sort(added, {}, &HistoryVisit::visitedAt);
  const auto& present = shards_.load(archive, HistoryShards::Indexing::none).visits;
  Shard merged;
  merged.visits.reserve(present.size() + added.size());
  auto next = added.begin();
  for (const auto& visit : present) {
    while (next != added.end() && next->visitedAt < visit.visitedAt)
      merged.visits.push_back(std::move(*next++));
    merged.visits.push_back(visit);
  }
  std::move(next, added.end(), std::back_inserter(merged.visits));
  shards_.rewrite(archive, std::move(merged));
}

HistoryImportBatch HistoryArchive::importVisits(const std::vector<ImportedVisit>& visits,
                                                std::string_view source, const LocalCalendar& calendar) {
  prepare();
  HistoryImportBatch batch;
  std::map<std::string, std::vector<const ImportedVisit*>> byArchive;
  for (const auto& visit : visits) {
    if (isWebAddress(visit.url)) {
      byArchive[archiveName(wholeSeconds(visit.visitedAt))].push_back(&visit);
    } else {
      ++batch.skipped;
    }
  }
  const auto guard = lock_.exclusive();
  FirstFailure failure;
  for (const auto& [archive, imported] : byArchive) {
    failure.guard([&] {
      auto known = exactVisits(shards_.load(archive, HistoryShards::Indexing::none).visits);
      std::vector<HistoryVisit> added;
      for (const auto* one : imported) {
        auto visit = newVisit(*one, source);
        if (known.emplace(visit.url, visit.visitedAt).second) added.push_back(std::move(visit));
      }
      batch.duplicates += std::int64_t(imported.size() - added.size());
      if (added.empty()) return;
      merge(archive, added);
      ++batch.filesTouched;
      batch.added += std::int64_t(added.size());
      for (const auto& visit : added) batch.days.insert(calendar.day(visit.visitedAt));
    });
  }
  failure.rethrow();
  return batch;
}

std::int64_t HistoryArchive::restoreVisits(const std::vector<HistoryVisit>& visits) {
  prepare();
  std::map<std::string, std::vector<HistoryVisit>> byArchive;
  for (const auto& visit : visits) byArchive[archiveName(visit.visitedAt)].push_back(visit);
  const auto guard = lock_.exclusive();
  std::int64_t restored = 0;
  FirstFailure failure;
  for (auto& [archive, back] : byArchive) {
    failure.guard([&] {
      std::unordered_set<Uuid> present;
      for (const auto& visit : shards_.load(archive, HistoryShards::Indexing::none).visits)
        present.insert(visit.id);
      std::erase_if(back, [&present](const HistoryVisit& visit) { return !present.insert(visit.id).second; });
      if (back.empty()) return;
      merge(archive, back);
      restored += std::int64_t(back.size());
    });
  }
  failure.rethrow();
  return restored;
}

}  // namespace vale
