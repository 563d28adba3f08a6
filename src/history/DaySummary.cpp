#include "history/DaySummary.h"

#include "common/Json.h"

#include <boost/describe.hpp>

namespace vale {
namespace {

struct StoredEpisode {
  std::string title;
  std::string summary;
  std::string startedAt;
  std::string endedAt;
  std::vector<Uuid> visitIDs;
};
BOOST_DESCRIBE_STRUCT(StoredEpisode, (), (title, summary, startedAt, endedAt, visitIDs))

struct StoredDay {
  std::string day;
  std::string timeZone;
  std::vector<StoredEpisode> episodes;
};
BOOST_DESCRIBE_STRUCT(StoredDay, (), (day, timeZone, episodes))

std::chrono::sys_seconds readTime(const std::string& text) {
  const auto time = parseISO8601(text);
  if (!time) throw DecodeError("The time “" + text + "” of an episode could not be read.");
  return std::chrono::floor<std::chrono::seconds>(*time);
}

}  // namespace

std::string encodeDaySummary(const DaySummary& summary) {
  StoredDay stored{dayKey(summary.day), summary.timeZone, {}};
  for (const auto& one : summary.episodes) {
    stored.episodes.push_back(
        {one.title, one.summary, iso8601(one.startedAt), iso8601(one.endedAt), one.visitIDs});
  }
  return jsonText(encode(stored)) + "\n";
}

DaySummary decodeDaySummary(LocalDay day, std::string_view text) {
  const auto stored = decodeText<StoredDay>(text);
  DaySummary summary{day, stored.timeZone, {}};
  for (const auto& one : stored.episodes) {
    summary.episodes.push_back(
        {one.title, one.summary, readTime(one.startedAt), readTime(one.endedAt), one.visitIDs});
  }
  return summary;
}

}  // namespace vale
