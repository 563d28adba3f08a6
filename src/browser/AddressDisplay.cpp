#include "browser/AddressDisplay.h"

#include "common/Text.h"

#include <boost/url.hpp>

#include <algorithm>

namespace vale {

namespace {

constexpr std::size_t displayLimit = 2000;
constexpr std::size_t titleLimit = 300;

/// Where the authority of "scheme://authority/..." stands; empty for other addresses.
TextRange authorityRange(std::string_view address) {
  const auto slashes = address.find("://");
  if (slashes == std::string_view::npos || slashes == 0) return {};
  // A scheme has none of these: "about:x?y=http://z" has no authority.
  if (address.substr(0, slashes).find_first_of(":/?#") != std::string_view::npos) return {};
  const auto begin = slashes + 3;
  return {begin, std::min(address.find_first_of("/?#\\", begin), address.size())};
}

}  // namespace

TextRange hostRange(std::string_view address) {
  const auto range = authorityRange(address);
  // Boost.URL takes ASCII only. Letters stand in for other bytes, so that its offsets are ours.
  std::string shape(address.substr(range.begin, range.end - range.begin));
  std::ranges::replace_if(
      shape, [](char c) { return static_cast<unsigned char>(c) >= 0x80; }, 'x');
  const auto authority = boost::urls::parse_authority(shape);
  if (!authority) return {};
  const auto host = authority->encoded_host();
  if (host.empty()) return {};
  const auto begin = range.begin + static_cast<std::size_t>(host.data() - shape.data());
  return {begin, begin + host.size()};
}

bool isLoopback(std::string_view address) {
  const auto range = hostRange(address);
  const auto host = foldedCase(address.substr(range.begin, range.end - range.begin));
  if (const auto v4 = boost::urls::parse_ipv4_address(host)) return v4->is_loopback();
  return host == "[::1]" || host == "localhost" || host.ends_with(".localhost");
}

DisplayedAddress displayedAddress(std::string_view address) {
  DisplayedAddress result{clampedText(address, displayLimit), hostRange(address)};
  // A host beyond the cut is an absurdity that nobody should be shown a part of.
  if (result.host.end > displayLimit) result.host = {};
  const auto remove = [&](std::size_t begin, std::size_t count) {
    result.text.erase(begin, count);
    result.host = {result.host.begin - count, result.host.end - count};
  };
  if (result.host.empty()) return result;
  const auto authority = result.text.find("://") + 3;
  remove(authority, result.host.begin - authority);
  if (result.text.starts_with("https://")) remove(0, 8);
  // Of "host:port/" the slash says nothing; anything else after the host belongs to the address.
  if (result.text.find_first_of("/?#\\", result.host.end) == result.text.size() - 1 &&
      result.text.ends_with('/')) {
    result.text.pop_back();
  }
  return result;
}

std::string windowTitle(std::string_view pageTitle, std::string_view address) {
  // Only the beginning can be shown, so only that is worth reading.
  const auto line = singleLine(validUtf8(std::string(pageTitle.substr(0, 4 * titleLimit))));
  std::string title(trimmed(line));
  if (title.empty()) title = displayedAddress(address).text;
  return title.empty() ? "Vale" : clampedText(title, titleLimit);
}

std::string clampedText(std::string_view text, std::size_t limit) {
  if (text.size() <= limit) return std::string(text);
  constexpr std::string_view ellipsis = "…";
  std::size_t length = limit - ellipsis.size();
  while (length > 0 && (static_cast<unsigned char>(text[length]) & 0xC0) == 0x80) --length;
  return std::string(text.substr(0, length)).append(ellipsis);
}

}  // namespace vale
