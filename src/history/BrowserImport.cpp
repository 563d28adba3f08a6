#include "history/BrowserImport.h"

#include "common/FileError.h"
#include "history/ArchiveName.h"
#include "history/PrivateCopy.h"
#include "history/SQLiteFile.h"

#include <fmt/format.h>

#include <cerrno>
#include <optional>
#include <string_view>
#include <utility>

namespace vale {
namespace {

using std::chrono::microseconds;
using std::chrono::sys_days;
using namespace std::chrono_literals;

/// What reading a kind of history takes. The first statement gives the number of rows, the second address,
/// title, time and kind of visit.
struct Format {
  std::string_view name;
  std::string_view count;
  std::string_view visits;
  sys_days epoch;  ///< times are microseconds since then
  /// True for visits of pages that the user saw.
  bool (*isPage)(std::int64_t kind);
  std::optional<VisitTransition> (*transition)(std::int64_t kind);
};

/// Firefox's kinds of visits: nsINavHistoryService.idl, TRANSITION_*.
namespace firefox {
enum Kind { link = 1, typed, bookmark, embed, permanentRedirect, temporaryRedirect, download, frame, reload };

bool isPage(std::int64_t kind) { return kind != embed && kind != download && kind != frame; }

std::optional<VisitTransition> transition(std::int64_t kind) {
  if (kind == typed || kind == bookmark) return VisitTransition::typed;
  if (kind == reload) return VisitTransition::reload;
  if (kind == link || kind == permanentRedirect || kind == temporaryRedirect) return VisitTransition::link;
  return std::nullopt;
}
}  // namespace firefox

/// Chromium's kinds of visits, a core kind and bits: ui/base/page_transition_types.h.
namespace chromium {
constexpr std::int64_t coreMask = 0xFF;
constexpr std::int64_t forwardBack = 0x0100'0000;
constexpr std::int64_t chainEnd = 0x2000'0000;
constexpr std::int64_t chainOrRedirect = 0xF000'0000;
enum Core {
  link,
  typed,
  bookmark,
  automaticFrame,
  manualFrame,
  generated,
  startPage,
  form,
  reload,
  keyword,
  keywordGenerated
};

bool isPage(std::int64_t kind) {
  const auto core = kind & coreMask;
  // Of a chain of redirects only the last address shows a page.
  const bool redirects = (kind & chainOrRedirect) != 0 && (kind & chainEnd) == 0;
  return core != automaticFrame && core != manualFrame && !redirects;
}

std::optional<VisitTransition> transition(std::int64_t kind) {
  if (kind & forwardBack) return VisitTransition::backForward;
  switch (kind & coreMask) {
  case link:
    return VisitTransition::link;
  case typed:
  case bookmark:
  case generated:
  case keyword:
  case keywordGenerated:
    return VisitTransition::typed;
  case form:
    return VisitTransition::form;
  case reload:
    return VisitTransition::reload;
  default:
    return std::nullopt;
  }
}
}  // namespace chromium

const Format& formatOf(ForeignBrowser browser) {
  static const Format places = {"Firefox",
                                "SELECT count(*) FROM moz_historyvisits",
                                "SELECT p.url, p.title, v.visit_date, v.visit_type FROM moz_historyvisits v "
                                "JOIN moz_places p ON p.id = v.place_id ORDER BY v.visit_date",
                                1970y / std::chrono::January / 1,
                                firefox::isPage,
                                firefox::transition};
  static const Format history = {"Chromium",
                                 "SELECT count(*) FROM visits",
                                 "SELECT u.url, u.title, v.visit_time, v.transition FROM visits v "
                                 "JOIN urls u ON u.id = v.url ORDER BY v.visit_time",
                                 1601y / std::chrono::January / 1,
                                 chromium::isPage,
                                 chromium::transition};
  return browser == ForeignBrowser::firefox ? places : history;
}

/// Collects visits and hands them on a batch at a time, each day's archive in one where possible: it is
/// written anew for every batch.
class Batches {
 public:
  explicit Batches(const BrowserImport& import) : import_(import) {}

  void add(ImportedVisit visit) {
    const auto day = std::chrono::floor<std::chrono::days>(wholeSeconds(visit.visitedAt));
    const bool enough = visits_.size() >= maximumBatch || (visits_.size() >= usualBatch && day != day_);
    if (enough) handOn();
    day_ = day;
    visits_.push_back(std::move(visit));
  }

  void handOn() {
    if (!visits_.empty()) import_.take(std::exchange(visits_, {}));
  }

 private:
  const BrowserImport& import_;
  std::vector<ImportedVisit> visits_;
  sys_days day_;
};

ImportEnd readVisits(SQLiteFile& database, const Format& format, const BrowserImport& import) {
  auto count = database.select(std::string(format.count));
  const std::int64_t total = count.next() ? count.number(0) : 0;
  auto rows = database.select(std::string(format.visits));
  Batches batches(import);
  std::int64_t read = 0;
  constexpr std::int64_t progressStep = 1'000;
  for (; rows.next(); ++read) {
    if (import.cancelled && import.cancelled->load()) return ImportEnd::cancelled;
    if (import.progress && read % progressStep == 0) import.progress(read, total);
    const auto time = rows.number(2);
    const auto kind = rows.number(3);
    if (time <= 0 || !format.isPage(kind)) continue;
    batches.add({.url = rows.text(0),
                 .title = rows.text(1),
                 .visitedAt = Date(format.epoch) + microseconds(time),
                 .transition = format.transition(kind)});
  }
  batches.handOn();
  if (import.progress) import.progress(read, total);
  return ImportEnd::complete;
}

}  // namespace

ImportEnd importBrowserHistory(const BrowserProfile& profile, const BrowserImport& import) try {
  const PrivateCopy copy(profile.file(), import.cancelled);
  if (import.cancelled && import.cancelled->load()) return ImportEnd::cancelled;
  SQLiteFile database(copy.file());
  return readVisits(database, formatOf(profile.browser), import);
} catch (const FileError& error) {
  if (error.path != profile.file() || error.code != ENOENT) throw;
  throw Error(fmt::format("There is no history of {} in “{}”: it holds no file “{}”.",
                          formatOf(profile.browser).name, profile.folder.string(),
                          profile.file().filename().string()));
} catch (const SQLiteError& error) {
  throw Error(fmt::format("“{}” could not be read as a history of {} ({}). What was read before is imported.",
                          profile.file().string(), formatOf(profile.browser).name, error.message));
}

}  // namespace vale
