#pragma once

#include <string>
#include <string_view>

namespace vale::gtk {

/// The host of an address, with its port where that is not the scheme's own, as it can be told to a person:
/// letters of other scripts only where they cannot be taken for others. "This file" or "This page" for what
/// has no host.
std::string siteName(std::string_view address);

}  // namespace vale::gtk
