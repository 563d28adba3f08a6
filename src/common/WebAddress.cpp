#include "common/WebAddress.h"

#include <boost/url/parse.hpp>
#include <boost/url/url_view.hpp>

#include <algorithm>
#include <cstdint>
#include <optional>

namespace vale {
namespace {

constexpr auto npos = std::string_view::npos;

char lowerCase(char c) { return c >= 'A' && c <= 'Z' ? char(c - 'A' + 'a') : c; }

/// Where path, query and fragment begin: after the authority when there is one, else after the scheme's
/// colon.
std::size_t pathStart(std::string_view address) {
  const auto colon = address.find(':');
  if (colon == npos) return address.size();
  if (!address.substr(colon + 1).starts_with("//")) return colon + 1;
  return std::min(address.find_first_of("/?#", colon + 3), address.size());
}

/// The same address, byte for byte as long, in characters that RFC 3986 knows. Web pages have addresses such
/// as
/// "?ids[]=1&sale=50%|new" whose further characters the URL Standard (§ 1.3, percent-encode sets) keeps as
/// they are.
std::string strictForm(std::string_view address) {
  std::string form(address);
  bool inFragment = false;
  for (std::size_t i = pathStart(address); i < form.size(); ++i) {
    char& c = form[i];
    if (c == '#' && !inFragment) {
      inFragment = true;
    } else if (std::string_view("%[]\\^`{|}#").contains(c)) {
      c = 'x';
    }
  }
  return form;
}

std::optional<boost::urls::url_view> parse(std::string_view address) {
  const auto parsed = boost::urls::parse_uri(address);
  if (!parsed) return std::nullopt;
  // Boost.URL 1.81 takes "http://host:port/" for a host and the path "port/", which RFC 3986 § 3.3 rules out.
  const auto path = parsed->encoded_path();
  if (parsed->has_authority() && !path.empty() && !path.starts_with('/')) return std::nullopt;
  return *parsed;
}

std::string_view withoutWww(std::string_view host) {
  if (host.starts_with("www.")) host.remove_prefix(4);
  return host;
}

}  // namespace

std::string normalizeURL(std::string_view address) {
  const std::string strict = strictForm(address);
  const auto parsed = parse(strict);
  if (!parsed) return std::string(address);

  std::string result(address);
  const auto lower = [&](auto part) {
    const auto start = result.begin() + (part.data() - strict.data());
    std::transform(start, start + std::ptrdiff_t(part.size()), start, lowerCase);
  };
  lower(parsed->scheme());
  lower(parsed->encoded_host());
  // From the end to the front, so that positions stay right.
  if (parsed->has_fragment()) result.resize(result.find('#'));
  const auto path = parsed->encoded_path();
  if (path.ends_with('/')) result.erase(std::size_t(path.data() + path.size() - strict.data()) - 1, 1);
  return result;
}

std::string host(std::string_view address) {
  // What follows the authority does not matter to it, and need not be well-formed.
  const auto parsed = parse(address.substr(0, pathStart(address)));
  if (!parsed) return {};
  std::string result(parsed->encoded_host());
  std::ranges::transform(result, result.begin(), lowerCase);
  return result;
}

std::string webOrigin(std::string_view address) {
  const auto parsed = parse(address.substr(0, pathStart(address)));
  if (!parsed || parsed->encoded_host().empty()) return {};
  std::string origin(parsed->scheme());
  std::ranges::transform(origin, origin.begin(), lowerCase);
  if (origin != "http" && origin != "https") return {};
  const std::uint16_t usualPort = origin == "http" ? 80 : 443;
  origin += "://" + host(address);
  if (!parsed->port().empty() && parsed->port_number() != usualPort)
    origin += ":" + std::string(parsed->port());
  return origin;
}

bool sameSite(std::string_view a, std::string_view b) {
  const std::string first = host(a);
  const std::string second = host(b);
  const auto site = withoutWww(first);
  return !site.empty() && site == withoutWww(second);
}

bool isWebAddress(std::string_view address) { return !webOrigin(address).empty(); }

}  // namespace vale
