#pragma once

#include "common/Date.h"
#include "common/Error.h"
#include "history/HistoryVisit.h"
#include "history/LocalCalendar.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

/// What goes into the history archive and what comes out of it, besides visits.
namespace vale {

struct HistoryStoreError : Error {
  enum class Reason { invalidURL, invalidArchiveName, corruptArchive };

  static HistoryStoreError invalidURL();
  static HistoryStoreError invalidArchiveName();
  /// `record` counts from 1; empty lines are none.
  static HistoryStoreError corruptArchive(std::string_view name, std::size_t record);

  Reason reason;

 private:
  HistoryStoreError(Reason reason, std::string message) : Error(std::move(message)), reason(reason) {}
};

/// One open of a page, as the window or a program reports it.
struct PageOpening {
  std::string url;
  std::string title = {};
  std::string text = {};  ///< what is visible on the page
  Date visitedAt = {};    ///< clamped to the years 0 to 9999 and cut to whole seconds
  std::optional<Uuid> tabID = {};
  std::optional<Uuid> openerTabID = {};
  std::optional<VisitTransition> transition = {};
  bool sensitive = false;
};

/// What a page shows later in the visit whose line this is.
struct PageRevision {
  Uuid id;
  Date visitedAt;          ///< the line's own
  std::string title = {};  ///< empty: as it was
  std::string text = {};   ///< empty: as it was
  bool sensitive = false;
};

/// One visit that another browser recorded.
struct ImportedVisit {
  std::string url;
  std::string title = {};
  Date visitedAt = {};
  std::optional<VisitTransition> transition = {};
};

/// What one import did. Every visit given counts in exactly one of the first three.
struct HistoryImportBatch {
  std::int64_t added = 0;
  std::int64_t duplicates = 0;  ///< the archive has a line of this address and second
  std::int64_t skipped = 0;     ///< no web address
  std::int64_t filesTouched = 0;
  std::set<LocalDay> days = {};  ///< of the user's calendar, with visits added
};

/// How long a visit's page was on screen.
struct ForegroundTime {
  Date visitedAt;  ///< the line's own
  std::int64_t seconds = 0;
};
using ForegroundTimes = std::unordered_map<Uuid, ForegroundTime>;

struct HistoryDay {
  LocalDay day;
  std::int64_t visitCount = 0;  ///< lines

  bool operator==(const HistoryDay&) const = default;
};

/// What a deletion did. It goes on past files that cannot be handled: `problems` names each, a sentence for
/// the user.
struct HistoryRemoval {
  std::int64_t visits = 0;     ///< lines removed
  std::int64_t timelines = 0;  ///< day timelines deleted or pruned
  std::vector<std::string> problems = {};
  std::set<Uuid> ids = {};  ///< of the visits removed, for indexes built on them
};

/// `removed` can be handed to `restoreVisits`.
struct AddressRemoval {
  HistoryRemoval removal;
  std::vector<HistoryVisit> removed;
};

}  // namespace vale
