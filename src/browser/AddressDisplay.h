#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace vale {

/// A stretch of a text, in bytes.
struct TextRange {
  std::size_t begin = 0;
  std::size_t end = 0;

  bool empty() const { return begin == end; }
  bool operator==(const TextRange&) const = default;
};

/// Where the host stands in an address: without user name and port, an IPv6 address with its brackets. Empty
/// for addresses without one, and where Boost.URL finds the authority malformed.
TextRange hostRange(std::string_view address);

/// True when the address's host is this machine itself (RFC 6761, RFC 5735, RFC 4291): what comes from there
/// crosses no network.
bool isLoopback(std::string_view address);

/// An address as a reader wants it, and the part of it to show strong.
struct DisplayedAddress {
  std::string text;
  TextRange host;

  bool operator==(const DisplayedAddress&) const = default;
};

/// Leaves out what says nothing or misleads: "https://", a user name before the host, a lone slash at the
/// end. Addresses over 2,000 bytes are cut.
DisplayedAddress displayedAddress(std::string_view address);

/// The title of a window: the page's, else its address, else "Vale". One line of at most 300 bytes, without
/// control characters: window systems set limits that a page must not reach.
std::string windowTitle(std::string_view pageTitle, std::string_view address);

/// At most `limit` bytes of UTF-8 text; when something was cut, "…" stands for it.
std::string clampedText(std::string_view text, std::size_t limit);

}  // namespace vale
