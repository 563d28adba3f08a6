#pragma once

#include "browser/FilterList.h"

#include <cstddef>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace vale {

/// One content blocker in the engine's form: a JSON list of rules, of which later ones undo earlier ones. It
/// is a part of the filters, with the exceptions that hold for every part. A value.
struct ContentRules {
  using Rules = std::vector<std::string>;  ///< each a JSON object

  Rules own;
  std::shared_ptr<const Rules> exceptions = std::make_shared<Rules>();

  std::string text() const;

  /// The same in two, for an engine that did not take it whole; there must be at least two own rules.
  std::pair<ContentRules, ContentRules> halves() const;

  /// The engine takes 150,000 rules at once; a blocker has at most half of it, so that it never needs long.
  static constexpr std::size_t mostRules = 75'000;
  /// Of all lists together: exceptions for requests, those of each other kind, and rules of each kind.
  static constexpr std::size_t mostExceptions = 20'000;
  static constexpr std::size_t mostSpecial = 4'000;
  static constexpr std::size_t mostOwnRules = 500'000;
  /// Rules whose expressions may begin anywhere and have wildcards: the engine needs long for many at once.
  static constexpr std::size_t mostOpen = 6'000;
  static constexpr std::size_t mostOpenTogether = 500;

  struct Made {
    std::vector<ContentRules> blockers;
    std::size_t leftOut = 0;  ///< rules beyond the limits
  };

  /// What lists say together: an exception of one holds for the others, too. The page itself is blocked only
  /// by filters that name it. Takes long for long lists.
  static Made make(const std::vector<FilterList>& lists);
};

}  // namespace vale
