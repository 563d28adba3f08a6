#include "history/HistoryLineFields.h"

#include <array>
#include <cstddef>

namespace vale {
namespace {

/// The length of a JSON string's content, up to its closing quote.
std::size_t contentLength(std::string_view text) {
  for (std::size_t at = text.find('"'); at != text.npos; at = text.find('"', at + 1)) {
    std::size_t backslashes = 0;
    while (backslashes < at && text[at - 1 - backslashes] == '\\') ++backslashes;
    if (backslashes % 2 == 0) return at;
  }
  return text.npos;
}

}  // namespace

std::optional<HistoryLineFields> lineFields(std::string_view line) {
  HistoryLineFields fields;
  struct Key {
    std::string_view name;
    std::string_view HistoryLineFields::*field = nullptr;
  };
  static constexpr auto keys = std::to_array<Key>({{"id"},
                                                   {"visitedAt", &HistoryLineFields::visitedAt},
                                                   {"lastVisitedAt", &HistoryLineFields::lastVisitedAt},
                                                   {"visitCount", &HistoryLineFields::visitCount},
                                                   {"url", &HistoryLineFields::url},
                                                   {"title", &HistoryLineFields::title},
                                                   {"transition", &HistoryLineFields::transition},
                                                   {"tabID"},
                                                   {"openerTabID"},
                                                   {"source"},
                                                   {"sensitive"},
                                                   {"foregroundSeconds"},
                                                   {"textExcerpt", &HistoryLineFields::textExcerpt}});
  std::size_t next = 0;
  for (char before = '{'; line.starts_with(before); before = ',') {
    line.remove_prefix(1);
    if (!line.starts_with('"')) return std::nullopt;
    line.remove_prefix(1);
    // A line whose keys come in another order, or twice, is left to those who decode it.
    while (next < keys.size() &&
           !(line.starts_with(keys[next].name) && line.substr(keys[next].name.size()).starts_with("\":")))
      ++next;
    if (next == keys.size()) return std::nullopt;
    line.remove_prefix(keys[next].name.size() + 2);
    const auto field = keys[next++].field;
    if (next == keys.size()) {
      if (line.size() < 3 || !line.starts_with('"') || !line.ends_with("\"}")) return std::nullopt;
      fields.textExcerpt = line.substr(1, line.size() - 3);
      const bool complete =
          !fields.visitedAt.empty() && !fields.lastVisitedAt.empty() && !fields.visitCount.empty();
      return complete ? std::optional(fields) : std::nullopt;
    }
    std::string_view value;
    if (line.starts_with('"')) {
      line.remove_prefix(1);
      const auto length = contentLength(line);
      if (length == line.npos) return std::nullopt;
      value = line.substr(0, length);
      line.remove_prefix(length + 1);
    } else {
      value = line.substr(0, line.find_first_of(",}\""));
      line.remove_prefix(value.size());
    }
    if (field) fields.*field = value;
  }
  return std::nullopt;
}

}  // namespace vale
