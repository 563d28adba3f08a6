#pragma once

#include "history/ByteSearch.h"
#include "history/HistoryVisit.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace vale {

/// One word or phrase that is searched in any case, and what it looks like in JSON that is not decoded.
class SearchWord {
 public:
  /// `folded` is not empty and went through foldedCase.
  explicit SearchWord(std::string folded);

  /// True when text that went through foldedCase holds the word.
  bool isIn(std::string_view foldedText) const { return foldedText.contains(folded_); }

  const std::string& folded() const { return folded_; }

  /// The next position from `from` on in a piece of an archive at which the word may stand, in some case or
  /// escaped; the piece's size when it is surely not in the rest. Never misses the word, and may find what is
  /// none. `searchPadding` bytes must be readable behind the piece.
  std::size_t findPossible(std::string_view json, std::size_t from) const;

  /// How often `findPossible` will find something, as a rank: the smaller the rarer.
  int commonness() const { return commonness_; }

 private:
  std::string folded_;
  /// A part of the word that is written the same wherever it is not escaped, but for the bits that differ
  /// between cases; empty when the word has none.
  std::vector<MaskedByte> stretch_;
  std::size_t pairAt_ = 0;  ///< where in `stretch_` the rare pair begins
  /// The rarest bytes of the stretch; the beginning of an escape that may stand for any character; and the
  /// characters that fold to several letters or to ASCII ones, as far as they may hide a part of the word.
  BytePairs pairs_;
  int commonness_ = 0;
};

/// What is searched: words and quoted phrases, each of which must occur in a visit's address, title or
/// excerpt, in any order and any case. White space parts words; a phrase whose quote is not closed goes to
/// the end.
class SearchQuery {
 public:
  explicit SearchQuery(std::string_view text);

  /// True when it holds no word; such a query matches nothing.
  bool empty() const { return words_.empty(); }

  const std::vector<SearchWord>& words() const { return words_; }

  /// The next position in whole lines of an archive that may belong to a line that matches: see SearchWord.
  std::size_t findPossible(std::string_view lines, std::size_t from) const;

  /// False only when the line surely does not match. It lies in a text with `searchPadding` bytes behind it.
  bool mayMatch(std::string_view line) const;

  bool matches(const HistoryVisit& visit) const;

 private:
  std::vector<SearchWord> words_;  ///< the rarest first
};

}  // namespace vale
