#pragma once

#include <optional>
#include <string>

namespace vale {

/// Where a search in a page stands. The engine only finds the next match and counts all; this keeps the
/// position as far as it can be known, and says how to go on around the ends. Main thread only.
class FindMatches {
 public:
  /// Matches are counted up to this number.
  static constexpr unsigned most = 1'000;

  /// How the engine is to look next.
  enum class Look {
    fromTop,        ///< forwards from the beginning of the page
    fromEnd,        ///< backwards from its end
    fromSelection,  ///< forwards from what is selected
    next,
    previous,
  };

  /// The engine was asked to look.
  void looking(Look look);

  /// It found a match, one of `count`, which means nothing for `next` and `previous`; above `most` it may be
  /// any number.
  void found(unsigned count);

  /// It found none in that direction: how to look instead, or nothing when there is none at all.
  std::optional<Look> notFound();

  /// There are so many matches now; when that is news, the page has changed and the position is not known.
  void counted(unsigned count);

  void forget();

  /// None while nothing is known.
  const std::optional<unsigned>& total() const { return total_; }
  const std::optional<unsigned>& position() const { return position_; }

  /// "3 of 17", "17 matches", "No results", or nothing.
  std::string text() const;

 private:
  Look look_ = Look::fromTop;
  std::optional<unsigned> total_;
  std::optional<unsigned> position_;  ///< from 1
};

}  // namespace vale
