#include "history/LexicalSearch.h"

#include "common/Date.h"
#include "common/InParallel.h"
#include "history/ArchiveScan.h"
#include "history/HistoryLineFields.h"
#include "history/HistoryLineReader.h"
#include "history/SearchQuery.h"

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <mutex>
#include <optional>

namespace vale {
namespace {

using std::chrono::sys_seconds;

/// A line that may match, in the order of its file.
struct Candidate {
  sys_seconds visitedAt;
  std::uint64_t offset = 0;
  std::size_t size = 0;
};

/// When the visit of a line was; none when the line is no visit.
std::optional<sys_seconds> visitedAt(std::string_view line, HistoryLineReader& reader, HistoryVisit& visit) {
  if (const auto fields = lineFields(line)) {
    const auto date = parseISO8601(fields->visitedAt);
    return date ? std::optional(std::chrono::time_point_cast<std::chrono::seconds>(*date)) : std::nullopt;
  }
  return reader.read(line, visit) ? std::optional(visit.visitedAt) : std::nullopt;
}

/// The newest matches of one archive. The raw bytes tell which lines may match; only as many of these are
/// decoded as it takes to fill `limit`. `stop` ends it early, with any result.
std::vector<HistoryVisit> searchArchive(const std::filesystem::path& file, const SearchQuery& query,
                                        std::size_t limit, const std::function<bool()>& stop) {
  ArchiveBlocks blocks(file);
  HistoryLineReader reader;
  HistoryVisit visit;
  std::vector<Candidate> candidates;
  while (const auto block = blocks.next()) {
    if (stop()) return {};
    for (std::size_t at = query.findPossible(*block, 0); at < block->size();
         at = query.findPossible(*block, at)) {
      const auto feed = block->rfind('\n', at == 0 ? 0 : at - 1);
      const auto begin = at == 0 || feed == block->npos ? 0 : feed + 1;
      const auto line = block->substr(begin, block->find('\n', at) - begin);
      at = std::min(block->size(), begin + line.size() + 1);
      if (line.empty() || !query.mayMatch(line.substr(0, line.size() - line.ends_with('\r')))) continue;
      if (const auto time = visitedAt(line, reader, visit))
        candidates.push_back({*time, blocks.offset() + begin, line.size()});
    }
  }
  // Of one second the line that was written last is the newest.
  std::ranges::reverse(candidates);
  std::ranges::stable_sort(candidates, std::greater(), &Candidate::visitedAt);
  std::vector<HistoryVisit> found;
  for (const auto& candidate : candidates) {
    if (found.size() == limit || stop()) break;
    if (reader.read(blocks.line(candidate.offset, candidate.size), visit) && query.matches(visit))
      found.push_back(std::move(visit));
  }
  return found;
}

}  // namespace

std::vector<HistoryVisit> lexicalSearch(const std::filesystem::path& historyFolder, std::string_view text,
                                        std::size_t limit, WorkerPool* workers) {
  const SearchQuery query(text);
  if (query.empty() || limit == 0) return {};
  const auto archives = newestArchives(historyFolder);
  std::vector<std::optional<std::vector<HistoryVisit>>> found(archives.size());
  std::mutex lock;
  std::size_t complete = 0;  // the archives before it are all done
  std::size_t matches = 0;   // in these
  std::atomic needed = archives.size();
  inParallel(archives.size(), workers, [&](std::size_t number) {
    const auto stop = [&] { return number >= needed.load(std::memory_order_relaxed); };
    if (stop()) return;
    auto here = searchArchive(archives[number], query, limit, stop);
    const std::lock_guard guard(lock);
    found[number] = std::move(here);
    for (; complete < needed && found[complete]; ++complete) {
      matches += found[complete]->size();
      if (matches >= limit) needed = complete + 1;
    }
  });
  std::vector<HistoryVisit> newest;
  for (std::size_t i = 0; i < needed; ++i) {
    const auto end = found[i]->begin() + std::ptrdiff_t(std::min(found[i]->size(), limit - newest.size()));
    std::move(found[i]->begin(), end, std::back_inserter(newest));
  }
  return newest;
}

}  // namespace vale
