#include "history/SearchQuery.h"

#include "common/Text.h"
#include "history/HistoryLineFields.h"

#include <unicode/uchar.h>
#include <unicode/utf8.h>

#include <algorithm>
#include <array>

namespace vale {
namespace {

/// The words and phrases of a query as they were typed.
std::vector<std::string> wordsOf(std::string_view text) {
  std::vector<std::string> words;
  std::string word;
  bool quoted = false;
  const auto end = [&] {
    if (!trimmed(word).empty()) words.push_back(std::move(word));
    word.clear();
  };
  for (std::int32_t i = 0; i < std::int32_t(text.size());) {
    const auto start = std::size_t(i);
    UChar32 c = 0;
    U8_NEXT_OR_FFFD(text.data(), i, std::int32_t(text.size()), c);
    if (c == '"') {
      end();
      quoted = !quoted;
    } else if (!quoted && u_isUWhiteSpace(c)) {
      end();
    } else {
      word.append(text, start, std::size_t(i) - start);
    }
  }
  end();
  return words;
}

}  // namespace

SearchQuery::SearchQuery(std::string_view text) {
  for (const auto& word : wordsOf(text)) {
    auto folded = foldedCase(word);
    if (std::ranges::find(words_, folded, &SearchWord::folded) == words_.end())
      words_.emplace_back(std::move(folded));
  }
  std::ranges::stable_sort(words_, {}, &SearchWord::commonness);
}

std::size_t SearchQuery::findPossible(std::string_view lines, std::size_t from) const {
  return words_.empty() ? lines.size() : words_.front().findPossible(lines, from);
}

bool SearchQuery::mayMatch(std::string_view line) const {
  const auto fields = lineFields(line);
  if (!fields) return true;
  const std::array searched = {fields->url, fields->title, fields->textExcerpt};
  return std::ranges::all_of(words_, [&searched](const SearchWord& word) {
    return std::ranges::any_of(
        searched, [&word](std::string_view field) { return word.findPossible(field, 0) < field.size(); });
  });
}

bool SearchQuery::matches(const HistoryVisit& visit) const {
  const std::array folded = {foldedCase(visit.url), foldedCase(visit.title), foldedCase(visit.textExcerpt)};
  return !words_.empty() && std::ranges::all_of(words_, [&folded](const SearchWord& word) {
    return std::ranges::any_of(folded, [&word](const std::string& field) { return word.isIn(field); });
  });
}

}  // namespace vale
