#pragma once

#include <filesystem>
#include <functional>
#include <string>
#include <string_view>

namespace vale {

/// What a text typed into the address entry asks for.
struct AddressRequest {
  enum class Kind {
    nothing,  ///< the text was blank
    page,     ///< `address` is to be opened
    search,   ///< `address` is the result page of a web search for the text
    refused,  ///< `message` tells the user why not
  };

  Kind kind = Kind::nothing;
  std::string address;
  std::string message;
  std::string engine = {};  ///< of a search: whom it asks; empty where nobody in particular
  std::string words = {};   ///< of a search

  bool operator==(const AddressRequest&) const = default;
};

/// A search for words: whom it asks, for what, and where.
struct WebSearch {
  std::string engine;
  std::string words;
  std::string address;
};

/// A search address with the words in the place of AddressInput::searchTerms.
std::string filledSearchAddress(std::string_view searchAddress, std::string_view words);

/// Reads typed text: a web address with or without its scheme, a file's path, a built-in page, or else words
/// to search the web for. Looks at nothing but the text: no disk, no network.
class AddressInput {
 public:
  /// The text's place in a search address, as OpenSearch 1.1 names it.
  static constexpr std::string_view searchTerms = "{searchTerms}";
  static constexpr std::string_view defaultSearchAddress = "https://duckduckgo.com/?q={searchTerms}";

  /// `home` is what "~" stands for. Throws Error when `searchAddress` has no place for the search terms.
  explicit AddressInput(std::filesystem::path home,
                        std::string searchAddress = std::string(defaultSearchAddress));

  /// The search is asked for anew each time, so that it follows the user's choice.
  using SearchFor = std::function<WebSearch(std::string_view words)>;
  AddressInput(std::filesystem::path home, SearchFor searchFor);

  /// Never throws. Texts over 64 KiB, and words to search for over 4 KiB, are refused; so are addresses that
  /// would run a script in the page that is open.
  AddressRequest interpret(std::string_view typed) const;

  /// Words to search the web for, whatever else they could be. Refused over 4 KiB.
  AddressRequest search(std::string_view words) const;

 private:
  std::filesystem::path home_;
  SearchFor searchFor_;
};

}  // namespace vale
