#pragma once

#include <string>
#include <string_view>

namespace vale {

/// The SHA-256 digest (FIPS 180-4) of the bytes: 64 lower-case hexadecimal digits.
std::string sha256Hex(std::string_view bytes);

}  // namespace vale
