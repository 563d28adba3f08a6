#include "browser/AddressInput.h"

#include "browser/AddressDisplay.h"
#include "common/Error.h"
#include "common/Text.h"

#include <boost/url.hpp>
#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <optional>
#include <utility>

namespace vale {

namespace {

namespace urls = boost::urls;
using Kind = AddressRequest::Kind;

constexpr std::size_t textLimit = 64 * 1024;
constexpr std::size_t searchLimit = 4 * 1024;

bool isDigit(char c) { return c >= '0' && c <= '9'; }
bool isLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }

char lowered(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

/// The part before the first colon in lower case, when it has the form of a scheme (RFC 3986, 3.1).
std::optional<std::string> schemeOf(std::string_view text) {
  const auto colon = text.find(':');
  if (colon == std::string_view::npos || colon == 0 || !isLetter(text.front())) return std::nullopt;
  std::string scheme(text.substr(0, colon));
  if (!std::ranges::all_of(
          scheme, [](char c) { return isLetter(c) || isDigit(c) || c == '+' || c == '-' || c == '.'; }))
    return std::nullopt;
  std::ranges::transform(scheme, scheme.begin(), lowered);
  return scheme;
}

bool contains(const auto& names, std::string_view name) {
  return std::ranges::find(names, name) != names.end();
}

std::string withoutSpaces(std::string_view text) {
  std::string result;
  for (const char c : text) c == ' ' ? result.append("%20") : result.append(1, c);
  return result;
}

/// A server's name: labels of letters, digits, hyphens and underscores, the last of them no number (a name
/// that ends in a number is a malformed IP address).
bool isServerName(std::string_view name) {
  if (name.ends_with('.')) name.remove_suffix(1);
  if (name.empty() || name.size() > 253) return false;
  std::string_view label;
  for (std::size_t begin = 0; begin <= name.size(); begin += label.size() + 1) {
    label = name.substr(begin, name.find('.', begin) - begin);
    const auto fits = [](char c) { return isLetter(c) || isDigit(c) || c == '-' || c == '_' || (c & 0x80); };
    if (label.empty() || label.size() > 63 || label.front() == '-' || !std::ranges::all_of(label, fits))
      return false;
  }
  return !std::ranges::all_of(label, isDigit);
}

/// Names of this machine and its neighbours (RFC 6761, RFC 6762), which rarely have certificates.
bool isLocalName(std::string_view name) {
  std::string text(name);
  std::ranges::transform(text, text.begin(), lowered);
  return text == "localhost" || text.ends_with(".localhost") || text.ends_with(".local");
}

bool isPrivate(const urls::ipv4_address& address) {
  const auto value = address.to_uint();
  const auto within = [&](std::uint32_t network, int bits) {
    return value >> (32 - bits) == network >> (32 - bits);
  };
  return within(0x7F000000, 8) || within(0x0A000000, 8) || within(0xAC100000, 12) || within(0xC0A80000, 16) ||
         within(0xA9FE0000, 16) || value == 0;
}

bool isPrivate(const urls::ipv6_address& address) {
  const auto bytes = address.to_bytes();
  return address.is_loopback() || address.is_unspecified() || (bytes[0] & 0xFE) == 0xFC ||
         (bytes[0] == 0xFE && (bytes[1] & 0xC0) == 0x80);
}

/// The address that "host", "host:port/path" and the like stand for; none when the text does not begin with a
/// host.
std::optional<std::string> webAddress(std::string_view text) {
  if (text.find(' ') != std::string_view::npos) return std::nullopt;
  const auto secure = fmt::format("https://{}", text);
  const auto range = hostRange(secure);
  // A user name would make any "name@host" an address; it has to be typed with the scheme.
  if (range.empty() || range.begin != std::string_view("https://").size()) return std::nullopt;
  const auto host = std::string_view(secure).substr(range.begin, range.end - range.begin);
  bool local = false;
  if (const auto v4 = urls::parse_ipv4_address(host)) {
    local = isPrivate(*v4);
  } else if (host.starts_with('[')) {
    const auto v6 = urls::parse_ipv6_address(host.substr(1, host.size() - 2));
    if (!v6) return std::nullopt;
    local = isPrivate(*v6);
  } else {
    local = isLocalName(host);
    const bool hasPort =
        range.end + 1 < secure.size() && secure[range.end] == ':' && isDigit(secure[range.end + 1]);
    if (!isServerName(host) || !(local || hasPort || host.find('.') != std::string_view::npos))
      return std::nullopt;
  }
  return local ? fmt::format("http://{}", text) : secure;
}

AddressRequest page(std::string address) { return {.kind = Kind::page, .address = std::move(address)}; }

AddressRequest refused(std::string message) { return {.kind = Kind::refused, .message = std::move(message)}; }

}  // namespace

std::string filledSearchAddress(std::string_view searchAddress, std::string_view words) {
  constexpr auto place = AddressInput::searchTerms;
  std::string address(searchAddress);
  if (const auto at = address.find(place); at != std::string::npos) {
    address.replace(at, place.size(), urls::encode(words, urls::unreserved_chars));
  }
  return address;
}

AddressInput::AddressInput(std::filesystem::path home, std::string searchAddress) : home_(std::move(home)) {
  if (searchAddress.find(searchTerms) == std::string::npos) {
    throw Error(
        fmt::format("The search address “{}” has no place for the search terms. Write {} where they belong.",
                    searchAddress, searchTerms));
  }
  searchFor_ = [address = std::move(searchAddress)](std::string_view words) {
    return WebSearch{{}, std::string(words), filledSearchAddress(address, words)};
  };
}

AddressInput::AddressInput(std::filesystem::path home, SearchFor searchFor)
    : home_(std::move(home)), searchFor_(std::move(searchFor)) {}

AddressRequest AddressInput::interpret(std::string_view typed) const {
  if (trimmed(typed).size() > textLimit) {
    return refused("This text is too long for an address. Addresses may have up to 65,536 bytes.");
  }
  // Engines drop tabs and line ends inside of an address; as spaces they cannot hide a scheme from the checks
  // below.
  const auto line = singleLine(trimmed(typed));
  auto text = std::string(trimmed(line));
  if (text.empty()) return {};

  const bool inHome = text == "~" || text.starts_with("~/");
  if (inHome || (text.starts_with('/') && !text.starts_with("//"))) {
    const auto path = inHome ? home_.native() + text.substr(1) : text;
    return page("file://" + urls::encode(path, urls::pchars + '/'));
  }
  text = validUtf8(std::move(text));

  if (const auto scheme = schemeOf(text)) {
    // These would run in the page that is open, with all its rights; such texts are pasted at a trickster's
    // request.
    if (contains(std::array{"javascript", "vbscript"}, *scheme)) {
      return refused(
          fmt::format("Addresses that begin with “{}:” run a script inside the open page, so Vale does not "
                      "open them from here.",
                      *scheme));
    }
    const auto rest = std::string_view(text).substr(scheme->size() + 1);
    const bool web = contains(std::array{"http", "https", "file"}, *scheme);
    const bool opaque = contains(std::array{"about", "data", "vale"}, *scheme);
    const bool hasSpace = text.find(' ') != std::string::npos;
    if (rest.size() > 2 && rest.starts_with("//") && (web || !hasSpace)) return page(withoutSpaces(text));
    if (opaque && !rest.empty() && (*scheme == "data" || !hasSpace)) return page(withoutSpaces(text));
  }

  const auto bare = std::string_view(text).substr(text.starts_with("//") ? 2 : 0);
  if (auto address = webAddress(bare)) return page(*std::move(address));
  return search(text);
}

AddressRequest AddressInput::search(std::string_view words) const {
  if (words.size() > searchLimit) {
    return refused("This text is too long to search for. A search may have up to 4,096 bytes.");
  }
  auto search = searchFor_(words);
  return {Kind::search, std::move(search.address), {}, std::move(search.engine), std::move(search.words)};
}

}  // namespace vale
