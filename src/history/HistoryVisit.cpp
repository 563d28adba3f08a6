#include "history/HistoryVisit.h"

#include "common/Date.h"
#include "history/HistoryLineReader.h"

#include <boost/json/serializer.hpp>
#include <fmt/format.h>

namespace vale {
namespace {

/// The text as a JSON string, its slashes as they are.
void appendText(std::string& line, std::string_view text) {
  thread_local boost::json::serializer serializer;
  serializer.reset(boost::json::string_view(text));
  while (!serializer.done()) {
    constexpr std::size_t step = 1'024;
    const std::size_t used = line.size();
    line.resize_and_overwrite(used + std::max(step, text.size() + text.size() / 8),
                              [&](char* data, std::size_t size) {
                                return used + serializer.read(data + used, size - used).size();
                              });
    text = {};
  }
}

}  // namespace

std::string jsonLine(const HistoryVisit& visit) {
  std::string line =
      fmt::format(R"({{"id":"{}","visitedAt":"{}","lastVisitedAt":"{}","visitCount":{},"url":)",
                  visit.id.text(), iso8601(visit.visitedAt), iso8601(visit.lastVisitedAt), visit.visitCount);
  appendText(line, visit.url);
  line += R"(,"title":)";
  appendText(line, visit.title);
  const auto simple = [&line](std::string_view key, std::string_view value) {
    fmt::format_to(std::back_inserter(line), R"(,"{}":"{}")", key, value);
  };
  if (visit.transition) simple("transition", rawValue(*visit.transition));
  if (visit.tabID) simple("tabID", visit.tabID->text());
  if (visit.openerTabID) simple("openerTabID", visit.openerTabID->text());
  if (visit.source) {
    line += R"(,"source":)";
    appendText(line, *visit.source);
  }
  if (visit.sensitive) line += R"(,"sensitive":true)";
  if (visit.foregroundSeconds) line += fmt::format(R"(,"foregroundSeconds":{})", *visit.foregroundSeconds);
  line += R"(,"textExcerpt":)";
  appendText(line, visit.textExcerpt);
  line += '}';
  return line;
}

std::optional<HistoryVisit> decodeVisit(std::string_view line) {
  std::optional<HistoryVisit> visit(std::in_place);
  if (!HistoryLineReader().read(line, *visit)) visit.reset();
  return visit;
}

}  // namespace vale
