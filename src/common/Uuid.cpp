#include "common/Uuid.h"

#include <boost/uuid/random_generator.hpp>
#include <boost/uuid/uuid_io.hpp>

#include <algorithm>

namespace vale {

Uuid Uuid::random() {
  Uuid result;
  result.value_ = boost::uuids::random_generator_pure{}();
  return result;
}

std::optional<Uuid> Uuid::parse(std::string_view text) {
  const auto digit = [](char c) -> int {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
  };
  if (text.size() != 36) return std::nullopt;
  Uuid result;
  std::size_t nibble = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const bool dash = i == 8 || i == 13 || i == 18 || i == 23;
    if (dash) {
      if (text[i] != '-') return std::nullopt;
      continue;
    }
    const int value = digit(text[i]);
    if (value < 0) return std::nullopt;
    auto& byte = result.value_.data[nibble / 2];
    byte = static_cast<std::uint8_t>(byte << 4 | value);
    ++nibble;
  }
  return result;
}

std::string Uuid::text() const {
  std::string text = boost::uuids::to_string(value_);
  std::ranges::transform(text, text.begin(),
                         [](char c) { return c >= 'a' && c <= 'f' ? char(c - 'a' + 'A') : c; });
  return text;
}

}  // namespace vale
