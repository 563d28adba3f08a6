#pragma once

#include "common/Queues.h"
#include "history/AddressIndex.h"
#include "history/DayTimelines.h"
#include "history/HistoryLock.h"
#include "history/HistoryRecords.h"
#include "history/HistoryShards.h"
#include "history/ValeLibrary.h"

#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace vale {

/// The history archive: one file of JSON lines for each UTC day, in the library's folder "history".
/// Synchronous, for one thread at a time; several objects and several programs may work on the same folder.
/// What it keeps in memory is checked against the files before each use. A crash loses at most the line being
/// appended, and may leave a part of it at the end of one file.
///
/// Operations throw FileError as files refuse, and HistoryStoreError::corruptArchive for an archive with a
/// line that is no visit; such a file is never changed, but operations on several files finish the others
/// first.
class HistoryArchive {
 public:
  /// Opens that follow each other by no more are one line.
  static constexpr std::chrono::seconds foldingTime{1'800};

  /// Nothing is read or made before the first operation. `workers`, when given, helps to search, and must
  /// outlive the object.
  explicit HistoryArchive(ValeLibrary library, WorkerPool* workers = nullptr);

  const ValeLibrary& library() const { return library_; }

  /// Makes the library's folders and instructions, as the first writing operation would.
  void prepare();

  /// Records one open of a page, in a line of its own or folded into the line of an open at most
  /// `foldingTime` away; gives the line as stored. Throws HistoryStoreError::invalidURL.
  HistoryVisit append(const PageOpening& opening);

  /// Puts a later title and text into a line, without counting an open; gives the line when it changed. The
  /// text of a sensitive line stays away.
  std::optional<HistoryVisit> revise(const PageRevision& revision);

  /// Takes the excerpts away from the lines of this origin ("https://example.org") with an open in the range,
  /// ends included, and gives the lines that changed.
  std::vector<HistoryVisit> markSensitive(std::string_view origin, std::optional<Date> since,
                                          std::optional<Date> until);

  /// Adds seconds to the lines' `foregroundSeconds` and gives the lines that changed; unknown ids are passed
  /// over.
  std::vector<HistoryVisit> addForeground(const ForegroundTimes& times);

  /// Merges visits of another browser, `source` naming it and its profile.
  HistoryImportBatch importVisits(const std::vector<ImportedVisit>& visits, std::string_view source,
                                  const LocalCalendar& calendar);

  /// The lines of one day, in the order of their files.
  std::vector<HistoryVisit> visits(LocalDay day, const LocalCalendar& calendar);

  /// See history/LexicalSearch.
  std::vector<HistoryVisit> lexicalSearch(std::string_view query, std::size_t limit);

  /// See history/AddressIndex.
  std::vector<AddressIndexRow> addressRows();

  /// The lines with these ids; those that do not exist are left out.
  std::unordered_map<Uuid, HistoryVisit> visitsWithIDs(const std::set<Uuid>& ids);

  /// The days that have visits, oldest first.
  std::vector<HistoryDay> storedDays(const LocalCalendar& calendar);

  /// The files in the history folder that end in ".jsonl", by name; those whose name is no day are not
  /// touched by anything but `records`.
  std::vector<std::string> archiveNames() const;

  /// All lines of one archive, none when it is missing. Throws HistoryStoreError::invalidArchiveName.
  std::vector<HistoryVisit> records(const std::string& archive);

  /// Deletions. Each also takes what it removed out of the day timelines, whose files go when their day is
  /// gone.
  HistoryRemoval removeAll();
  HistoryRemoval removeVisitsSince(Date since, const LocalCalendar& calendar);
  HistoryRemoval removeVisitsBefore(Date before, const LocalCalendar& calendar);
  HistoryRemoval removeDay(LocalDay day, const LocalCalendar& calendar);
  /// The site and all its subdomains.
  HistoryRemoval removeVisitsOfSite(std::string_view site);
  /// The same, and gives the lines back.
  AddressRemoval removeLinesOfSite(std::string_view site);
  AddressRemoval removeVisitsOfAddress(std::string_view address);
  /// One line, by its id and its own time.
  AddressRemoval removeVisit(const Uuid& id, Date visitedAt);

  /// Puts lines back that were removed; those whose id is there again are left out. Gives how many came back.
  std::int64_t restoreVisits(const std::vector<HistoryVisit>& visits);

  /// A day's timeline; none when it has none.
  std::optional<DaySummary> daySummary(LocalDay day) const;
  /// False when the file holds it already.
  bool saveDaySummary(const DaySummary& summary);

 private:
  /// The lines of each archive on each day of a calendar, with the file's stamp that they were counted at.
  struct DayCounts {
    struct Archive {
      Stamp stamp;
      std::map<LocalDay, std::int64_t> counts;
    };
    std::map<std::string, Archive> archives;
  };

  std::vector<std::string> dayArchives() const;
  std::vector<HistoryVisit> change(const std::vector<std::string>& archives,
                                   const std::function<bool(HistoryVisit&)>& change);
  void merge(const std::string& archive, std::vector<HistoryVisit> added);
  std::map<LocalDay, std::int64_t> countDays(const std::string& archive, const LocalCalendar& calendar);

  struct Deletion;
  void removeLines(const std::string& archive, Deletion& deletion);
  void removeWhole(const std::string& archive, Deletion& deletion);
  AddressRemoval removeMatching(const std::vector<std::string>& archives,
                                const std::function<bool(const HistoryVisit&)>& condition);
  HistoryRemoval removeWithin(const TimeSpan& gone, const LocalCalendar& calendar);

  ValeLibrary library_;
  WorkerPool* workers_;
  HistoryLock lock_;
  HistoryShards shards_;
  DayTimelines timelines_;
  bool prepared_ = false;
  std::map<std::string, DayCounts> dayCounts_;  ///< by time zone
};

}  // namespace vale
