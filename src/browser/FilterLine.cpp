#include "browser/FilterLine.h"

#include "browser/FilterPattern.h"
#include "common/Text.h"

#include <algorithm>
#include <array>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace vale {

namespace {

constexpr std::size_t longestSelector = 4 * 1024;

std::vector<std::string_view> parts(std::string_view text, char separator) {
  std::vector<std::string_view> found;
  for (;;) {
    const auto end = text.find(separator);
    found.push_back(text.substr(0, end));
    if (end == std::string_view::npos) return found;
    text.remove_prefix(end + 1);
  }
}

bool isNameCharacter(char c) {
  return (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-' || c == '_';
}

/// The host in lower case, or none for what is no plain name.
std::optional<std::string> siteName(std::string_view text) {
  std::string name(text);
  std::ranges::transform(name, name.begin(),
                         [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
  if (name.ends_with('.')) name.pop_back();
  const bool fits = !name.empty() && name.size() <= 253 && name.front() != '.' && name.front() != '-' &&
                    std::ranges::all_of(name, [](char c) { return isNameCharacter(c) || c == '.'; });
  return fits ? std::optional(std::move(name)) : std::nullopt;
}

/// None when no site is left that the engine can tell, or when it would have to be told both kinds.
std::optional<FilterSites> readSites(std::string_view text, char separator) {
  FilterSites sites;
  bool namesSome = false;
  for (auto name : parts(text, separator)) {
    if (name.empty()) continue;
    const bool excluded = name.starts_with('~');
    if (excluded) name.remove_prefix(1);
    namesSome = namesSome || !excluded;
    auto site = siteName(name);
    // A site that cannot be told must not let the filter loose on it.
    if (!site && excluded) return std::nullopt;
    if (site) (excluded ? sites.allBut : sites.only).push_back(*std::move(site));
  }
  if (sites.only.empty() && (namesSome || sites.allBut.empty())) return std::nullopt;
  if (!sites.only.empty() && !sites.allBut.empty()) return std::nullopt;
  return sites;
}

// ---------------------------------------------------------------------------------------------------------
// Requests

struct NamedType {
  std::string_view name;
  FilterType type;
};
constexpr auto typeNames = std::to_array<NamedType>({
    {"script", FilterType::script},
    {"image", FilterType::image},
    {"background", FilterType::image},
    {"stylesheet", FilterType::stylesheet},
    {"css", FilterType::stylesheet},
    {"font", FilterType::font},
    {"media", FilterType::media},
    {"xmlhttprequest", FilterType::fetch},
    {"xhr", FilterType::fetch},
    {"subdocument", FilterType::frame},
    {"frame", FilterType::frame},
    {"websocket", FilterType::webSocket},
    {"ping", FilterType::ping},
    {"beacon", FilterType::ping},
    {"other", FilterType::other},
    {"object", FilterType::other},
    {"popup", FilterType::popup},
    {"document", FilterType::page},
    {"doc", FilterType::page},
    {"elemhide", FilterType::hiding},
    {"ehide", FilterType::hiding},
    {"generichide", FilterType::genericHiding},
    {"ghide", FilterType::genericHiding},
});

constexpr auto exceptionsOnly =
    static_cast<std::uint32_t>(FilterType::hiding) | static_cast<std::uint32_t>(FilterType::genericHiding);

bool isOption(std::string_view text) {
  if (text.starts_with('~')) text.remove_prefix(1);
  const auto end = text.find('=');
  const auto name = text.substr(0, end);
  return !name.empty() && std::ranges::all_of(name, isNameCharacter);
}

/// Reads the options into the filter; false when one of them cannot be kept.
class OptionReader {
 public:
  explicit OptionReader(RequestFilter& filter) : filter_(filter) {}

  bool read(std::string_view options) {
    for (const auto option : parts(options, ',')) {
      if (!readOne(option)) return false;
    }
    if (included_ && excluded_) return false;
    if (included_) filter_.types = included_;
    if (excluded_) filter_.types = resourceTypes & ~excluded_;
    return filter_.types != 0 &&
           (filter_.effect == RequestFilter::Effect::allow || !(filter_.types & exceptionsOnly));
  }

  bool narrows() const { return included_ != 0 || !filter_.sites.only.empty(); }

 private:
  bool readOne(std::string_view option) {
    const bool negated = option.starts_with('~');
    const auto name = option.substr(negated ? 1 : 0);
    const auto type = std::ranges::find(typeNames, name, &NamedType::name);
    if (type != typeNames.end()) {
      (negated ? excluded_ : included_) |= static_cast<std::uint32_t>(type->type);
      return true;
    }
    if (name == "third-party" || name == "3p")
      return setParty(negated ? FilterParty::first : FilterParty::third);
    if (name == "first-party" || name == "1p")
      return setParty(negated ? FilterParty::third : FilterParty::first);
    if (negated) return false;
    if (name == "match-case") return filter_.isCaseSensitive = true;
    if (name == "important") {
      if (filter_.effect == RequestFilter::Effect::block) filter_.effect = RequestFilter::Effect::blockAlways;
      return true;
    }
    for (const std::string_view key : {"domain=", "from="}) {
      if (!name.starts_with(key)) continue;
      auto sites = readSites(name.substr(key.size()), '|');
      if (!sites) return false;
      filter_.sites = *std::move(sites);
      return true;
    }
    // An underscore alone only separates.
    return !name.empty() && name.find_first_not_of('_') == std::string_view::npos;
  }

  bool setParty(FilterParty party) {
    filter_.party = party;
    return true;
  }

  RequestFilter& filter_;
  std::uint32_t included_ = 0;
  std::uint32_t excluded_ = 0;
};

FilterLine readRequest(std::string_view line) {
  RequestFilter filter;
  if (line.starts_with("@@")) {
    filter.effect = RequestFilter::Effect::allow;
    line.remove_prefix(2);
  }
  auto pattern = line;
  std::string_view options;
  const auto dollar = line.rfind('$');
  if (dollar != std::string_view::npos && dollar + 1 < line.size()) {
    const auto after = line.substr(dollar + 1);
    if (std::ranges::all_of(parts(after, ','), isOption)) {
      pattern = line.substr(0, dollar);
      options = after;
    }
  }
  OptionReader reader(filter);
  if (!options.empty() && !reader.read(options)) return {};
  filter.expressions = filterExpressions(pattern);
  if (filter.expressions.empty()) return {};
  // One slip of a list's author must not take the whole web.
  if (filter.expressions.front() == everyAddress && !reader.narrows()) return {};
  // The engine takes one condition a rule, and these need it for the page's address.
  constexpr auto ofPage = exceptionsOnly | static_cast<std::uint32_t>(FilterType::page);
  if (filter.effect == RequestFilter::Effect::allow && (filter.types & ofPage) &&
      filter.sites != FilterSites{}) {
    return {};
  }
  return filter;
}

// ---------------------------------------------------------------------------------------------------------
// Elements

/// What style sheets do not know, but other programs do.
constexpr auto extended = std::to_array<std::string_view>({":-abp-",
                                                           ":contains(",
                                                           ":has-text(",
                                                           ":if(",
                                                           ":if-not(",
                                                           ":matches-attr(",
                                                           ":matches-css",
                                                           ":matches-media(",
                                                           ":matches-path(",
                                                           ":matches-prop(",
                                                           ":min-text-length(",
                                                           ":nth-ancestor(",
                                                           ":others(",
                                                           ":properties(",
                                                           ":remove(",
                                                           ":remove-attr(",
                                                           ":remove-class(",
                                                           ":shadow(",
                                                           ":style(",
                                                           ":upward(",
                                                           ":watch-attr(",
                                                           ":xpath(",
                                                           "[-ext-"});

/// Whether the text is one selector, or several, as far as its brackets and quotes tell: it can neither end
/// the rule that it stands in nor begin another.
bool isClosed(std::string_view text) {
  std::string open;
  char quote = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    if (static_cast<unsigned char>(c) < 0x20 || c == 0x7F) return false;
    if (c == '\\') {
      if (++i == text.size()) return false;
    } else if (quote) {
      if (c == quote) quote = 0;
    } else if (c == '"' || c == '\'') {
      quote = c;
    } else if (c == '(' || c == '[') {
      open += c == '(' ? ')' : ']';
    } else if (c == ')' || c == ']') {
      if (open.empty() || open.back() != c) return false;
      open.pop_back();
    } else if (c == '{' || c == '}' || c == ';' || c == '@' || c == '<' || text.substr(i).starts_with("/*")) {
      return false;
    }
  }
  return quote == 0 && open.empty();
}

bool isSelector(std::string_view text) {
  return !text.empty() && text.size() <= longestSelector && isValidUtf8(text) && isClosed(text) &&
         !text.starts_with('+') && !text.starts_with('^') && !text.starts_with(',') && !text.ends_with(',') &&
         std::ranges::none_of(extended, [&](auto word) { return text.find(word) != std::string_view::npos; });
}

struct Mark {
  std::size_t begin = 0;
  std::string_view text;  ///< "##", "#@#", or one that asks for more
};

/// Where the sites end and the selector begins.
std::optional<Mark> markOf(std::string_view line) {
  for (auto at = line.find('#'); at != std::string_view::npos; at = line.find('#', at + 1)) {
    const auto end = line.find_first_not_of("@?$%", at + 1);
    if (end != std::string_view::npos && line[end] == '#') return Mark{at, line.substr(at, end + 1 - at)};
  }
  return std::nullopt;
}

FilterLine readHiding(std::string_view line, const Mark& mark) {
  if (mark.text != "##" && mark.text != "#@#") return {};
  HidingFilter filter;
  filter.isException = mark.text == "#@#";
  filter.selector = trimmed(line.substr(mark.begin + mark.text.size()));
  if (!isSelector(filter.selector)) return {};
  if (const auto names = line.substr(0, mark.begin); !names.empty() && names != "*") {
    auto sites = readSites(names, ',');
    if (!sites) return {};
    filter.sites = *std::move(sites);
  }
  return filter;
}

// ---------------------------------------------------------------------------------------------------------
// Hosts files

/// The host that a line of a hosts file names; none for any other line.
std::optional<std::string_view> hostsEntry(std::string_view line) {
  for (const std::string_view address : {"0.0.0.0", "127.0.0.1", "::1", "::"}) {
    if (!line.starts_with(address)) continue;
    const auto rest = line.substr(address.size());
    if (!rest.starts_with(' ') && !rest.starts_with('\t')) continue;
    return trimmed(rest.substr(0, rest.find('#')));
  }
  return std::nullopt;
}

}  // namespace

bool isFilterComment(std::string_view line) {
  if (line.starts_with('!') || line.starts_with('[')) return true;
  if (line.starts_with('#') && !markOf(line)) return true;
  const auto entry = hostsEntry(line);
  return entry && (entry->find('.') == std::string_view::npos || *entry == "0.0.0.0");
}

FilterLine readFilterLine(std::string_view line) {
  if (const auto entry = hostsEntry(line)) {
    const auto site = siteName(*entry);
    return site ? readRequest("||" + *site + "^") : FilterLine();
  }
  if (const auto mark = markOf(line)) return readHiding(line, *mark);
  return readRequest(line);
}

}  // namespace vale
