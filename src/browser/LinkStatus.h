#pragma once

#include <string>
#include <string_view>

namespace vale {

/// What is told of a link under the pointer: where it leads, in one line of about 100 characters. Its host is
/// always readable; what is too long is cut in the middle, a host that is itself too long at its beginning,
/// where it says least. Empty for an empty address.
std::string linkStatus(std::string_view address);

}  // namespace vale
