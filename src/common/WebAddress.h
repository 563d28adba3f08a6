#pragma once

#include <string>
#include <string_view>

/// Web addresses as text (RFC 3986, with the further characters that the URL Standard lets stand in a path or
/// query).
namespace vale {

/// The address by which two visits are the same page: scheme and host in lower case, no fragment, one
/// trailing "/" of the path dropped; all other bytes unchanged. An address that does not parse comes back as
/// it stands.
std::string normalizeURL(std::string_view address);

/// The host in lower case, IPv6 literals in their brackets; empty when the address has none or does not
/// parse.
std::string host(std::string_view address);

/// The origin of a web address (RFC 6454): scheme and host in lower case, and the port unless it is the
/// scheme's own: "https://example.org", "http://localhost:8080". Empty for any other address.
std::string webOrigin(std::string_view address);

/// True when both have a host, and the same one, in any case and with or without a leading "www.".
bool sameSite(std::string_view a, std::string_view b);

/// True for an http or https address with a host.
bool isWebAddress(std::string_view address);

}  // namespace vale
