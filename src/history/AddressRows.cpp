#include "common/Date.h"
#include "common/InParallel.h"
#include "common/Json.h"
#include "common/Text.h"
#include "common/WebAddress.h"
#include "history/AddressIndex.h"
#include "history/ArchiveScan.h"
#include "history/HistoryLineFields.h"
#include "history/HistoryLineReader.h"

#include <charconv>
#include <utility>

namespace vale {
namespace {

using std::chrono::sys_seconds;

struct DatedRow {
  AddressIndexRow row;
  sys_seconds titledAt;  ///< the visit that the title is of
};
using Rows = std::unordered_map<std::string, DatedRow>;

/// Of two rows of one second the later one given counts.
void mergeInto(Rows& rows, std::string address, DatedRow added) {
  const auto [found, isNew] = rows.try_emplace(std::move(address), std::move(added));
  if (isNew) return;
  auto& [row, titledAt] = found->second;
  row.visitCount += added.row.visitCount;
  row.typedCount += added.row.typedCount;
  if (added.row.lastVisitedAt >= row.lastVisitedAt) {
    row.lastVisitedAt = added.row.lastVisitedAt;
    row.url = std::move(added.row.url);
  }
  if (!added.row.title.empty() && (row.title.empty() || added.titledAt >= titledAt)) {
    row.title = std::move(added.row.title);
    titledAt = added.titledAt;
  }
}

/// A JSON string of a line that is not decoded; none when it is not well formed.
std::optional<std::string> decoded(std::string_view content) {
  if (!isValidUtf8(content)) return std::nullopt;
  if (!content.contains('\\')) return std::string(content);
  const auto value = tryParseJson('"' + std::string(content) + '"');
  if (!value || !value->is_string()) return std::nullopt;
  return std::string(value->get_string());
}

std::optional<DatedRow> rowOf(const HistoryLineFields& fields) {
  const auto time = parseISO8601(fields.lastVisitedAt);
  auto url = decoded(fields.url);
  auto title = decoded(fields.title);
  std::int64_t count = 0;
  const auto* end = fields.visitCount.data() + fields.visitCount.size();
  const auto number = std::from_chars(fields.visitCount.data(), end, count);
  if (!time || !url || !title || number.ec != std::errc() || number.ptr != end) return std::nullopt;
  const auto at = std::chrono::time_point_cast<std::chrono::seconds>(*time);
  const bool typed = fields.transition == rawValue(VisitTransition::typed);
  return DatedRow{{std::move(*url), std::move(*title), count, typed, at}, at};
}

DatedRow rowOf(const HistoryVisit& visit) {
  return {{visit.url, visit.title, visit.visitCount, visit.transition == VisitTransition::typed,
           visit.lastVisitedAt},
          visit.lastVisitedAt};
}

Rows rowsOf(const std::filesystem::path& archive) {
  ArchiveBlocks blocks(archive);
  HistoryLineReader reader;
  HistoryVisit visit;
  Rows rows;
  while (const auto block = blocks.next()) {
    forEachLine(*block, [&](std::string_view line) {
      std::optional<DatedRow> row;
      if (const auto fields = lineFields(line)) {
        row = rowOf(*fields);
      } else if (reader.read(line, visit)) {
        row = rowOf(visit);
      }
      if (!row) return;
      auto address = normalizeURL(row->row.url);
      mergeInto(rows, std::move(address), std::move(*row));
    });
  }
  return rows;
}

}  // namespace

std::vector<AddressIndexRow> addressRows(const std::filesystem::path& historyFolder, WorkerPool* workers) {
  const auto archives = newestArchives(historyFolder);
  std::vector<Rows> parts(archives.size());
  inParallel(archives.size(), workers, [&](std::size_t number) { parts[number] = rowsOf(archives[number]); });
  Rows all;
  for (std::size_t number = parts.size(); number-- > 0; parts[number].clear()) {
    for (auto& [address, row] : parts[number]) mergeInto(all, address, std::move(row));
  }
  std::vector<AddressIndexRow> rows;
  rows.reserve(all.size());
  for (auto& [address, row] : all) rows.push_back(std::move(row.row));
  return rows;
}

}  // namespace vale
