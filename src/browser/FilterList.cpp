#include "browser/FilterList.h"

#include "browser/FilterLine.h"
#include "common/Text.h"

#include <fmt/format.h>

#include <algorithm>
#include <variant>

namespace vale {

namespace {

constexpr std::size_t longestTitle = 80;
constexpr std::size_t titleLines = 60;

std::string grouped(std::size_t number) {
  auto text = std::to_string(number);
  for (auto at = static_cast<std::ptrdiff_t>(text.size()) - 3; at > 0; at -= 3) {
    text.insert(static_cast<std::size_t>(at), ",");
  }
  return text;
}

std::string titleOf(std::string_view line) {
  constexpr std::string_view mark = "! Title:";
  if (!line.starts_with(mark)) return {};
  const auto text = validUtf8(std::string(trimmed(line.substr(mark.size()))));
  return std::string(trimmed(singleLine(firstCharacters(text, longestTitle))));
}

}  // namespace

FilterList FilterList::parse(std::string_view text) {
  FilterList list;
  if (text.starts_with("\xEF\xBB\xBF")) text.remove_prefix(3);
  std::size_t number = 0;
  int conditions = 0;
  while (!text.empty()) {
    const auto end = std::min(text.find_first_of("\r\n"), text.size());
    auto line = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
    while (line.starts_with(' ') || line.starts_with('\t')) line.remove_prefix(1);
    while (line.ends_with(' ') || line.ends_with('\t')) line.remove_suffix(1);
    if (line.empty()) continue;
    if (++number <= titleLines && list.title.empty()) list.title = titleOf(line.substr(0, longestLine));
    // What stands under a condition is for another program.
    if (line.starts_with("!#if")) ++conditions;
    if (line.starts_with("!#endif")) conditions = std::max(conditions - 1, 0);
    if (isFilterComment(line)) continue;
    if (conditions > 0 || line.size() > longestLine) {
      ++list.notUnderstood;
      continue;
    }
    auto filter = readFilterLine(line);
    if (std::holds_alternative<std::monostate>(filter)) {
      ++list.notUnderstood;
    } else if (list.used() >= mostFilters) {
      ++list.leftOut;
    } else if (auto* request = std::get_if<RequestFilter>(&filter)) {
      list.requests.push_back(std::move(*request));
    } else {
      list.hidings.push_back(std::get<HidingFilter>(std::move(filter)));
    }
  }
  return list;
}

std::string describeFilters(std::size_t used, std::size_t notUnderstood) {
  auto text = fmt::format("{} {} used", grouped(used), used == 1 ? "rule" : "rules");
  if (notUnderstood > 0) text += fmt::format(", {} not understood", grouped(notUnderstood));
  return text;
}

}  // namespace vale
