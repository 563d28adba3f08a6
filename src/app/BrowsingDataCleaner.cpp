#include "app/BrowsingDataCleaner.h"

#include "app/HistoryRange.h"
#include "browser/SessionGenerations.h"
#include "common/Error.h"
#include "common/QueuedCall.h"
#include "history/LocalCalendar.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <utility>

namespace vale {

namespace {

std::string counted(std::uint64_t count, const char* one, const char* many) {
  return count == 0 ? "Nothing" : fmt::format("{} {}", count, count == 1 ? one : many);
}

std::string inUnits(std::uint64_t bytes) {
  if (bytes < 1'000'000) return fmt::format("{} kB", (bytes + 999) / 1'000);
  return fmt::format("{:.1f} MB", static_cast<double>(bytes) / 1e6);
}

std::optional<Seconds> spanOf(DataRange range) {
  using std::chrono::hours;
  switch (range) {
  case DataRange::hour:
    return hours(1);
  case DataRange::day:
    return hours(24);
  case DataRange::week:
    return hours(7 * 24);
  case DataRange::fourWeeks:
    return hours(28 * 24);
  case DataRange::everything:
    break;
  }
  return std::nullopt;
}

}  // namespace

BrowsingDataCleaner::BrowsingDataCleaner(Stores stores, const Surroundings& surroundings)
    : stores_(std::move(stores)), clock_(surroundings.clock), queue_(surroundings.workers, "Vale.cleaner") {}

std::optional<Date> BrowsingDataCleaner::since(DataRange range) const {
  const auto span = spanOf(range);
  return span ? std::optional(clock_.now() - *span) : std::nullopt;
}

Task<std::string> BrowsingDataCleaner::amount(DataKind kind, DataRange range) {
  std::string text;
  try {
    text = co_await count(kind, range);
  } catch (const Error& error) {
    text = error.message;
  }
  co_return text;
}

Task<std::string> BrowsingDataCleaner::count(DataKind kind, DataRange range) {
  const auto first = since(range);
  const auto of = [&](const auto& list, auto date) {
    return std::uint64_t(std::ranges::count_if(
        list, [&](const auto& one) { return !first || std::invoke(date, one) >= *first; }));
  };
  std::uint64_t number = 0;
  switch (kind) {
  case DataKind::history: {
    if (!stores_.history) co_return "Nothing";
    const auto visits = co_await countHistorySince(*stores_.history, first.value_or(Date()), clock_.now(),
                                                   LocalCalendar::system());
    co_return counted(std::uint64_t(visits), "page", "pages");
  }
  case DataKind::siteData: {
    const auto found = co_await stores_.engine.amount(EngineData::Part::siteData);
    auto text = found.sites == 0 ? "Nothing" : "Of " + counted(found.sites, "site", "sites");
    if (first && found.sites > 0) text += " in all. Cookies go only with “Everything”.";
    co_return text;
  }
  case DataKind::cache: {
    const auto found = co_await stores_.engine.amount(EngineData::Part::cache);
    co_return found.bytes == 0 ? "Nothing" : inUnits(found.bytes) + (first ? " in all" : "");
  }
  case DataKind::closedTabs: {
    for (const auto& entry : stores_.windows.entries()) {
      number += of(entry.model->closedTabs(), &ClosedTab::closedAt);
    }
    const auto windows = of(stores_.windows.closedWindows().value(), &ClosedWindow::closedAt);
    if (windows == 0) co_return counted(number, "tab", "tabs");
    if (number == 0) co_return counted(windows, "window", "windows");
    co_return counted(number, "tab", "tabs") + ", " + counted(windows, "window", "windows");
  }
  case DataKind::downloads:
    for (const auto& download : stores_.session.downloads()->downloads().value()) {
      if (download.hasEnded() && (!first || download.startedAt >= *first)) ++number;
    }
    co_return number == 0 ? "Nothing" : counted(number, "entry", "entries") + "; the files stay";
  case DataKind::permissions:
    co_return counted(of(stores_.session.permissions()->permissions().value(), &SitePermission::decidedAt),
                      "decision", "decisions");
  case DataKind::zoomLevels:
    // Without a date they are older than any range.
    co_return counted(of(stores_.zoom.sites().value(),
                         [](const SiteZoom& one) { return one.changedAt.value_or(Date::min()); }),
                      "site", "sites");
  case DataKind::foldedGroups:
    co_return counted(of(stores_.session.folded().value(), &FoldedTabGroup::foldedAt), "group", "groups");
  case DataKind::earlierSessions: {
    const auto list = [folder = stores_.sessionsFolder] { return SessionGenerations(folder).list(); };
    const auto kept = co_await callOn(queue_, list);
    co_return counted(of(kept, &SessionGeneration::date), "session", "sessions");
  }
  case DataKind::passwords: {
    const auto found = co_await stores_.passwords.find(std::nullopt, Unlocking::no);
    if (found.locked) co_return "Locked: you will be asked to unlock them";
    co_return counted(of(found.logins, &SavedLogin::changedAt), "password", "passwords");
  }
  }
  co_return "Nothing";
}

Task<BrowsingDataCleaner::Result> BrowsingDataCleaner::clear(std::set<DataKind> kinds, DataRange range,
                                                             std::function<void(DataKind)> begun) {
  Result result;
  for (const auto kind : kinds) {
    begun(kind);
    try {
      co_await clearKind(kind, range, result);
    } catch (const Error& error) {
      result.problems.push_back(fmt::format("{}: {}", rawValue(kind), error.message));
    }
  }
  co_return result;
}

Task<bool> BrowsingDataCleaner::clearKind(DataKind kind, DataRange range, Result& result) {
  const auto first = since(range);
  switch (kind) {
  case DataKind::history:
    co_await clearHistory(range, result);
    break;
  case DataKind::siteData:
    co_await stores_.engine.clear(EngineData::Part::siteData, spanOf(range));
    break;
  case DataKind::cache:
    co_await stores_.engine.clear(EngineData::Part::cache, spanOf(range));
    break;
  case DataKind::closedTabs:
    for (const auto& entry : stores_.windows.entries()) entry.model->forgetClosedTabs(first);
    stores_.windows.forgetClosedWindows(first);
    break;
  case DataKind::downloads: {
    auto& downloads = *stores_.session.downloads();
    const auto list = downloads.downloads().value();
    for (const auto& download : list) {
      if (!first || download.startedAt >= *first) downloads.remove(download.id);
    }
    break;
  }
  case DataKind::permissions:
    stores_.session.permissions()->forgetSince(first);
    break;
  case DataKind::zoomLevels:
    stores_.zoom.forgetSince(first);
    break;
  case DataKind::foldedGroups: {
    const auto groups = stores_.session.folded().value();
    for (const auto& group : groups) {
      if (!first || group.foldedAt >= *first) stores_.session.takeFolded(group.id);
    }
    break;
  }
  case DataKind::earlierSessions: {
    const auto remove = [folder = stores_.sessionsFolder, first] {
      return SessionGenerations(folder).removeSince(first);
    };
    co_await callOn(queue_, remove);
    break;
  }
  case DataKind::passwords:
    co_await clearPasswords(first);
    break;
  }
  co_return true;
}

Task<bool> BrowsingDataCleaner::clearHistory(DataRange range, Result& result) {
  stores_.session.favicons()->forgetSince(since(range));
  if (range == DataRange::everything) stores_.engine.clearIcons();
  if (!stores_.history) co_return true;
  RemovedHistory removed;
  if (const auto first = since(range)) {
    removed = co_await removeHistorySince(*stores_.history, *first, clock_.now(), LocalCalendar::system());
  } else {
    removed.removal = co_await stores_.history->removeAll();
  }
  result.removedVisits = std::move(removed.lines);
  onHistoryChange();
  if (!removed.removal.problems.empty()) throw Error(removed.removal.problems.front());
  co_return true;
}

Task<bool> BrowsingDataCleaner::clearPasswords(std::optional<Date> since) {
  const auto found = co_await stores_.passwords.find(std::nullopt, Unlocking::ask);
  for (const auto& login : found.logins) {
    if (!since || login.changedAt >= *since) co_await stores_.passwords.remove(login);
  }
  if (found.locked) throw Error("The desktop’s keyring is locked. Unlock it and try again.");
  co_return true;
}

Task<std::int64_t> BrowsingDataCleaner::restoreHistory(std::vector<HistoryVisit> visits) {
  const auto restored = co_await stores_.history->restoreVisits(std::move(visits));
  onHistoryChange();
  co_return restored;
}

}  // namespace vale
