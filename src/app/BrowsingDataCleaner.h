#pragma once

#include "browser/BrowserWindows.h"
#include "browser/PasswordStore.h"
#include "browser/ZoomLevels.h"
#include "common/RawValues.h"
#include "common/Surroundings.h"
#include "history/HistoryStore.h"

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace vale {

/// What can be cleared, in the order in which it is.
enum class DataKind {
  history,
  siteData,
  cache,
  closedTabs,
  downloads,
  permissions,
  zoomLevels,
  foldedGroups,
  earlierSessions,
  passwords,
};
/// The names as the user reads them.
template <>
inline constexpr auto rawValues<DataKind> =
    std::to_array<RawValue<DataKind>>({{DataKind::history, "History"},
                                       {DataKind::siteData, "Cookies and site data"},
                                       {DataKind::cache, "Cache"},
                                       {DataKind::closedTabs, "Closed tabs and windows"},
                                       {DataKind::downloads, "List of downloads"},
                                       {DataKind::permissions, "Permissions of sites"},
                                       {DataKind::zoomLevels, "Zoom levels"},
                                       {DataKind::foldedGroups, "Folded groups"},
                                       {DataKind::earlierSessions, "Earlier sessions"},
                                       {DataKind::passwords, "Saved passwords"}});

enum class DataRange { hour, day, week, fourWeeks, everything };
template <>
inline constexpr auto
    rawValues<DataRange> = std::to_array<RawValue<DataRange>>({{DataRange::hour, "Last hour"},
                                                               {DataRange::day, "Last day"},
                                                               {DataRange::week, "Last week"},
                                                               {DataRange::fourWeeks, "Last four weeks"},
                                                               {DataRange::everything, "Everything"}});

/// What the web engine itself keeps of the sites. Operations throw Error.
class EngineData {
 public:
  enum class Part { siteData, cache };

  struct Amount {
    std::size_t sites = 0;
    std::uint64_t bytes = 0;
  };

  virtual ~EngineData() = default;

  /// All that there is: the engine does not tell since when.
  virtual Task<Amount> amount(Part part) = 0;

  /// Clears what changed in the span until now, or all. Cookies have no such time and go only with all.
  virtual Task<bool> clear(Part part, std::optional<Seconds> span) = 0;

  /// The icons of sites that the engine keeps for itself.
  virtual void clearIcons() = 0;
};

/// Clears what Vale keeps of the user's browsing, by kind and range. Open tabs, bookmarks, settings and
/// conversations stay. Main thread only; what was cleared before a crash stays cleared.
class BrowsingDataCleaner {
 public:
  /// All of it outlives the object and what it has begun. Without a history there is none to clear.
  struct Stores {
    HistoryStore* history;
    BrowserSession& session;
    BrowserWindows& windows;
    PasswordStore& passwords;
    ZoomLevels& zoom;
    EngineData& engine;
    std::filesystem::path sessionsFolder;
  };

  BrowsingDataCleaner(Stores stores, const Surroundings& surroundings);

  /// What would go, in words: "12 pages". Never throws: what cannot be counted is said.
  Task<std::string> amount(DataKind kind, DataRange range);

  struct Result {
    std::vector<std::string> problems;        ///< sentences for the user, one for each kind that failed
    std::vector<HistoryVisit> removedVisits;  ///< can be handed to `restoreHistory`; none of everything
  };

  /// Clears one kind after the other, whatever becomes of the others; `begun` is told of each.
  Task<Result> clear(std::set<DataKind> kinds, DataRange range, std::function<void(DataKind)> begun);

  /// Brings back visits that `clear` removed; throws Error.
  Task<std::int64_t> restoreHistory(std::vector<HistoryVisit> visits);

  /// Called after visits were removed or came back.
  std::function<void()> onHistoryChange = [] {};

 private:
  Task<std::string> count(DataKind kind, DataRange range);
  Task<bool> clearKind(DataKind kind, DataRange range, Result& result);
  Task<bool> clearHistory(DataRange range, Result& result);
  Task<bool> clearPasswords(std::optional<Date> since);
  std::optional<Date> since(DataRange range) const;

  Stores stores_;
  Clock& clock_;
  SerialQueue queue_;
};

}  // namespace vale
