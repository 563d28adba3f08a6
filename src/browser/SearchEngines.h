#pragma once

#include "browser/AddressInput.h"
#include "common/Json.h"
#include "common/Preferences.h"
#include "common/Published.h"

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vale {

/// A place to search the web. The keyword, typed before the words, asks this one for once.
struct SearchEngine {
  std::string name;
  std::string keyword;  ///< unique, in lower case
  std::string address;  ///< with AddressInput::searchTerms where the words go

  bool operator==(const SearchEngine&) const = default;
};
BOOST_DESCRIBE_STRUCT(SearchEngine, (), (name, keyword, address))

/// The engines that can be asked, and which of them is when no keyword says so. A value; pure.
struct SearchEngineList {
  std::vector<SearchEngine> engines = builtIn();  ///< the built-in ones first
  std::size_t chosen = 0;

  const SearchEngine& preferred() const { return engines[chosen]; }

  /// Whom to ask for these words, which may begin with a keyword.
  WebSearch search(std::string_view words) const;

  /// What the settings say: the keyword of the chosen engine, and the list of those that the user added.
  /// Either may be null or anything at all.
  static SearchEngineList read(const json::value* chosen, const json::value* added);

  /// The first one is the one to begin with.
  static const std::vector<SearchEngine>& builtIn();

  bool operator==(const SearchEngineList&) const = default;
};

/// The user's search engines, kept in the preferences, and following them. Entries there that this version
/// does not understand are kept as they stand. Main thread only.
class SearchEngines {
 public:
  static constexpr std::string_view chosenKey = "ValeSearchEngine";
  static constexpr std::string_view addedKey = "ValeSearchEngines";
  static constexpr std::size_t mostAdded = 200;

  /// The preferences must outlive the object.
  explicit SearchEngines(Preferences& preferences);
  SearchEngines(const SearchEngines&) = delete;
  SearchEngines& operator=(const SearchEngines&) = delete;

  const Published<SearchEngineList>& list() const { return list_; }

  /// Nothing happens for a keyword that no engine has.
  void choose(std::string_view keyword);

  /// Adds an engine, its parts trimmed and "%s" in the address taken for the place of the words. None, or why
  /// it was not added, a sentence for the user.
  std::optional<std::string> add(SearchEngine engine);

  /// Removes an engine that the user added; the first built-in one takes its place where it was the chosen
  /// one.
  void remove(std::string_view keyword);

  static bool isBuiltIn(std::string_view keyword);

 private:
  Preferences& preferences_;
  Published<SearchEngineList> list_;
  Subscription changes_;
};

}  // namespace vale
