#include "history/HistoryStore.h"

#include "common/QueuedCall.h"

#include <utility>

namespace vale {
namespace {

/// The archive lives until the work is done.
template <typename Work>
auto perform(const SerialQueue& queue, std::shared_ptr<HistoryArchive> archive, Work work) {
  return callOn(queue, [archive = std::move(archive), work = std::move(work)] { return work(*archive); });
}

}  // namespace

HistoryStore::HistoryStore(ValeLibrary library, WorkerPool& workers)
    : library_(std::move(library)), queue_(workers, "Vale.history"),
      archive_(std::make_shared<HistoryArchive>(library_, &workers)) {}

Task<bool> HistoryStore::prepare() {
  return perform(queue_, archive_, [](auto& archive) {
    archive.prepare();
    return true;
  });
}

Task<HistoryVisit> HistoryStore::append(PageOpening opening) {
  return perform(queue_, archive_,
                 [opening = std::move(opening)](auto& archive) { return archive.append(opening); });
}

Task<std::optional<HistoryVisit>> HistoryStore::revise(PageRevision revision) {
  return perform(queue_, archive_,
                 [revision = std::move(revision)](auto& archive) { return archive.revise(revision); });
}

Task<std::vector<HistoryVisit>> HistoryStore::markSensitive(std::string origin, std::optional<Date> since,
                                                            std::optional<Date> until) {
  return perform(queue_, archive_, [origin = std::move(origin), since, until](auto& archive) {
    return archive.markSensitive(origin, since, until);
  });
}

Task<std::vector<HistoryVisit>> HistoryStore::addForeground(ForegroundTimes times) {
  return perform(queue_, archive_,
                 [times = std::move(times)](auto& archive) { return archive.addForeground(times); });
}

Task<HistoryImportBatch> HistoryStore::importVisits(std::vector<ImportedVisit> visits, std::string source,
                                                    LocalCalendar calendar) {
  return perform(queue_, archive_,
                 [visits = std::move(visits), source = std::move(source), calendar = std::move(calendar)](
                     auto& archive) { return archive.importVisits(visits, source, calendar); });
}

Task<std::vector<HistoryVisit>> HistoryStore::visits(LocalDay day, LocalCalendar calendar) {
  return perform(queue_, archive_, [day, calendar = std::move(calendar)](auto& archive) {
    return archive.visits(day, calendar);
  });
}

Task<std::vector<HistoryVisit>> HistoryStore::lexicalSearch(std::string query, std::size_t limit) {
  return perform(queue_, archive_, [query = std::move(query), limit](auto& archive) {
    return archive.lexicalSearch(query, limit);
  });
}

Task<std::vector<AddressIndexRow>> HistoryStore::addressRows() {
  return perform(queue_, archive_, [](auto& archive) { return archive.addressRows(); });
}

Task<std::unordered_map<Uuid, HistoryVisit>> HistoryStore::visitsWithIDs(std::set<Uuid> ids) {
  return perform(queue_, archive_,
                 [ids = std::move(ids)](auto& archive) { return archive.visitsWithIDs(ids); });
}

Task<std::vector<HistoryDay>> HistoryStore::storedDays(LocalCalendar calendar) {
  return perform(queue_, archive_,
                 [calendar = std::move(calendar)](auto& archive) { return archive.storedDays(calendar); });
}

Task<std::vector<std::string>> HistoryStore::archiveNames() {
  return perform(queue_, archive_, [](auto& archive) { return archive.archiveNames(); });
}

Task<std::vector<HistoryVisit>> HistoryStore::records(std::string name) {
  return perform(queue_, archive_, [name = std::move(name)](auto& archive) { return archive.records(name); });
}

Task<HistoryRemoval> HistoryStore::removeAll() {
  return perform(queue_, archive_, [](auto& archive) { return archive.removeAll(); });
}

Task<HistoryRemoval> HistoryStore::removeVisitsSince(Date since, LocalCalendar calendar) {
  return perform(queue_, archive_, [since, calendar = std::move(calendar)](auto& archive) {
    return archive.removeVisitsSince(since, calendar);
  });
}

Task<HistoryRemoval> HistoryStore::removeVisitsBefore(Date before, LocalCalendar calendar) {
  return perform(queue_, archive_, [before, calendar = std::move(calendar)](auto& archive) {
    return archive.removeVisitsBefore(before, calendar);
  });
}

Task<HistoryRemoval> HistoryStore::removeDay(LocalDay day, LocalCalendar calendar) {
  return perform(queue_, archive_, [day, calendar = std::move(calendar)](auto& archive) {
    return archive.removeDay(day, calendar);
  });
}

Task<HistoryRemoval> HistoryStore::removeVisitsOfSite(std::string site) {
  return perform(queue_, archive_,
                 [site = std::move(site)](auto& archive) { return archive.removeVisitsOfSite(site); });
}

Task<AddressRemoval> HistoryStore::removeLinesOfSite(std::string site) {
  return perform(queue_, archive_,
                 [site = std::move(site)](auto& archive) { return archive.removeLinesOfSite(site); });
}

Task<AddressRemoval> HistoryStore::removeVisitsOfAddress(std::string address) {
  return perform(queue_, archive_, [address = std::move(address)](auto& archive) {
    return archive.removeVisitsOfAddress(address);
  });
}

Task<AddressRemoval> HistoryStore::removeVisit(Uuid id, Date visitedAt) {
  return perform(queue_, archive_,
                 [id, visitedAt](auto& archive) { return archive.removeVisit(id, visitedAt); });
}

Task<std::int64_t> HistoryStore::restoreVisits(std::vector<HistoryVisit> visits) {
  return perform(queue_, archive_,
                 [visits = std::move(visits)](auto& archive) { return archive.restoreVisits(visits); });
}

Task<std::optional<DaySummary>> HistoryStore::daySummary(LocalDay day) {
  return perform(queue_, archive_, [day](auto& archive) { return archive.daySummary(day); });
}

Task<bool> HistoryStore::saveDaySummary(DaySummary summary) {
  return perform(queue_, archive_,
                 [summary = std::move(summary)](auto& archive) { return archive.saveDaySummary(summary); });
}

}  // namespace vale
