#include "browser/SearchEngines.h"

#include "common/Text.h"
#include "common/WebAddress.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

namespace vale {

namespace {

constexpr std::size_t longestName = 80;
constexpr std::size_t longestKeyword = 24;
constexpr std::size_t longestAddress = 2048;

const SearchEngine* withKeyword(const std::vector<SearchEngine>& engines, std::string_view keyword) {
  const auto found = std::ranges::find(engines, keyword, &SearchEngine::keyword);
  return found == engines.end() ? nullptr : &*found;
}

bool isKeyword(std::string_view text) {
  const auto fits = [](unsigned char c) {
    return (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c >= 0x80 || c == '!' || c == '@' ||
           c == '-' || c == '_';
  };
  return !text.empty() && text.size() <= longestKeyword && std::ranges::all_of(text, fits) &&
         isValidUtf8(text) && singleLine(text) == text && trimmed(text) == text;
}

std::optional<std::string> addressProblem(const std::string& address) {
  const auto at = address.find(AddressInput::searchTerms);
  if (at == std::string::npos) {
    return fmt::format("The address has no place for the words. Search for “x” at the site, copy the address "
                       "of the result, and write {} in place of the x.",
                       AddressInput::searchTerms);
  }
  if (address.size() > longestAddress) return "The address is too long. It may have up to 2,048 bytes.";
  // What is typed must not decide whom it is sent to.
  const auto one = filledSearchAddress(address, "a"), other = filledSearchAddress(address, "b");
  if (!isWebAddress(one) || webOrigin(one).empty() || webOrigin(one) != webOrigin(other) ||
      trimmed(singleLine(address)) != address || address.find(' ') != std::string::npos) {
    return "This is not the address of a web page. It begins with https:// and the name of the site.";
  }
  return std::nullopt;
}

std::optional<std::string> problemOf(const SearchEngine& engine, const std::vector<SearchEngine>& present) {
  if (engine.name.empty()) return "The search engine needs a name.";
  if (engine.name.size() > longestName) return "The name is too long. It may have up to 80 bytes.";
  if (!isKeyword(engine.keyword)) {
    return "The keyword is one short word of letters and digits, such as “w”. Typed before the words, it "
           "asks "
           "this engine.";
  }
  if (auto problem = addressProblem(engine.address)) return problem;
  if (const auto* other = withKeyword(present, engine.keyword)) {
    return fmt::format("“{}” has the keyword “{}” already. Choose another one.", other->name, engine.keyword);
  }
  if (std::ranges::find(present, engine.name, &SearchEngine::name) != present.end()) {
    return fmt::format("There is a search engine called “{}” already. Choose another name.", engine.name);
  }
  return std::nullopt;
}

std::optional<SearchEngine> readEngine(const json::value& value, const std::vector<SearchEngine>& present) {
  try {
    auto engine = decode<SearchEngine>(value);
    if (!problemOf(engine, present)) return engine;
  } catch (const DecodeError&) {
  }
  return std::nullopt;
}

}  // namespace

const std::vector<SearchEngine>& SearchEngineList::builtIn() {
  static const std::vector<SearchEngine> engines{
      {"DuckDuckGo", "ddg", std::string(AddressInput::defaultSearchAddress)},
      {"Startpage", "sp", "https://www.startpage.com/do/search?q={searchTerms}"},
      {"Ecosia", "eco", "https://www.ecosia.org/search?q={searchTerms}"},
      {"Brave Search", "bs", "https://search.brave.com/search?q={searchTerms}"},
      {"Google", "g", "https://www.google.com/search?q={searchTerms}"},
      {"Bing", "bi", "https://www.bing.com/search?q={searchTerms}"},
      {"Wikipedia", "w", "https://en.wikipedia.org/w/index.php?search={searchTerms}"}};
  return engines;
}

SearchEngineList SearchEngineList::read(const json::value* chosen, const json::value* added) {
  SearchEngineList list;
  const auto* entries = added ? added->if_array() : nullptr;
  for (std::size_t i = 0; entries && i < entries->size(); ++i) {
    if (list.engines.size() >= builtIn().size() + SearchEngines::mostAdded) break;
    if (auto engine = readEngine((*entries)[i], list.engines)) list.engines.push_back(*std::move(engine));
  }
  const auto* keyword = chosen ? chosen->if_string() : nullptr;
  if (const auto* engine = keyword ? withKeyword(list.engines, *keyword) : nullptr) {
    list.chosen = static_cast<std::size_t>(engine - list.engines.data());
  }
  return list;
}

WebSearch SearchEngineList::search(std::string_view words) const {
  const auto* engine = &preferred();
  const auto space = words.find(' ');
  if (space != std::string_view::npos && space <= longestKeyword) {
    const auto rest = trimmed(words.substr(space));
    const auto* asked = withKeyword(engines, foldedCase(words.substr(0, space)));
    if (asked && !rest.empty()) {
      engine = asked;
      words = rest;
    }
  }
  return {engine->name, std::string(words), filledSearchAddress(engine->address, words)};
}

SearchEngines::SearchEngines(Preferences& preferences) : preferences_(preferences) {
  const auto read = [this] {
    list_.set(SearchEngineList::read(preferences_.value(chosenKey), preferences_.value(addedKey)));
  };
  read();
  changes_ = Subscription(preferences.changed().connect([read](const std::string& key) {
    if (key == chosenKey || key == addedKey) read();
  }));
}

void SearchEngines::choose(std::string_view keyword) {
  if (!withKeyword(list_.value().engines, keyword)) return;
  if (keyword == SearchEngineList::builtIn().front().keyword) {
    preferences_.remove(chosenKey);
  } else {
    preferences_.set(chosenKey, json::string(keyword));
  }
}

std::optional<std::string> SearchEngines::add(SearchEngine engine) {
  engine.name = trimmed(singleLine(validUtf8(std::string(trimmed(engine.name)))));
  engine.keyword = foldedCase(trimmed(engine.keyword));
  engine.address = trimmed(engine.address);
  if (const auto at = engine.address.find("%s");
      at != std::string::npos && engine.address.find(AddressInput::searchTerms) == std::string::npos) {
    engine.address.replace(at, 2, AddressInput::searchTerms);
  }
  const auto& present = list_.value().engines;
  if (auto problem = problemOf(engine, present)) return problem;
  if (present.size() >= SearchEngineList::builtIn().size() + mostAdded) {
    return "There are 200 search engines already. Remove one before you add another.";
  }
  const auto* value = preferences_.value(addedKey);
  auto entries = value && value->is_array() ? value->get_array() : json::array();
  entries.push_back(encode(engine));
  preferences_.set(addedKey, std::move(entries));
  return std::nullopt;
}

void SearchEngines::remove(std::string_view keyword) {
  const auto* value = preferences_.value(addedKey);
  const auto* entries = value ? value->if_array() : nullptr;
  if (!entries || isBuiltIn(keyword)) return;
  const std::string wanted(keyword);  // it may be a view into what goes away
  if (preferences_.string(chosenKey) == wanted) preferences_.remove(chosenKey);
  json::array kept;
  for (const auto& entry : *entries) {
    const auto* object = entry.if_object();
    if (!object || stringMember(*object, "keyword") != wanted) kept.push_back(entry);
  }
  preferences_.set(addedKey, std::move(kept));
}

bool SearchEngines::isBuiltIn(std::string_view keyword) {
  return withKeyword(SearchEngineList::builtIn(), keyword) != nullptr;
}

}  // namespace vale
