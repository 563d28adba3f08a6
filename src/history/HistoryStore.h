#pragma once

#include "common/Queues.h"
#include "history/HistoryArchive.h"

#include <memory>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

namespace vale {

/// The history archive for asynchronous callers: every operation runs on a serial queue of its own, in the
/// order of the calls, and resumes the caller on its own executor. What an operation does and throws is said
/// at HistoryArchive. An operation under way ends even when the store is destroyed.
class HistoryStore {
 public:
  /// `workers` must outlive the object and the operations under way.
  HistoryStore(ValeLibrary library, WorkerPool& workers);

  const ValeLibrary& library() const { return library_; }

  Task<bool> prepare();
  Task<HistoryVisit> append(PageOpening opening);
  Task<std::optional<HistoryVisit>> revise(PageRevision revision);
  Task<std::vector<HistoryVisit>> markSensitive(std::string origin, std::optional<Date> since,
                                                std::optional<Date> until);
  Task<std::vector<HistoryVisit>> addForeground(ForegroundTimes times);
  Task<HistoryImportBatch> importVisits(std::vector<ImportedVisit> visits, std::string source,
                                        LocalCalendar calendar);
  Task<std::vector<HistoryVisit>> visits(LocalDay day, LocalCalendar calendar);
  Task<std::vector<HistoryVisit>> lexicalSearch(std::string query, std::size_t limit);
  Task<std::vector<AddressIndexRow>> addressRows();
  Task<std::unordered_map<Uuid, HistoryVisit>> visitsWithIDs(std::set<Uuid> ids);
  Task<std::vector<HistoryDay>> storedDays(LocalCalendar calendar);
  Task<std::vector<std::string>> archiveNames();
  Task<std::vector<HistoryVisit>> records(std::string archive);
  Task<HistoryRemoval> removeAll();
  Task<HistoryRemoval> removeVisitsSince(Date since, LocalCalendar calendar);
  Task<HistoryRemoval> removeVisitsBefore(Date before, LocalCalendar calendar);
  Task<HistoryRemoval> removeDay(LocalDay day, LocalCalendar calendar);
  Task<HistoryRemoval> removeVisitsOfSite(std::string site);
  Task<AddressRemoval> removeLinesOfSite(std::string site);
  Task<AddressRemoval> removeVisitsOfAddress(std::string address);
  Task<AddressRemoval> removeVisit(Uuid id, Date visitedAt);
  Task<std::int64_t> restoreVisits(std::vector<HistoryVisit> visits);
  Task<std::optional<DaySummary>> daySummary(LocalDay day);
  Task<bool> saveDaySummary(DaySummary summary);

 private:
  ValeLibrary library_;
  SerialQueue queue_;
  std::shared_ptr<HistoryArchive> archive_;
};

}  // namespace vale
