#pragma once

#include <boost/json.hpp>

#include <array>
#include <cstddef>
#include <optional>
#include <string_view>

namespace vale {

/// Parses one JSON object a line into memory that the next line uses again. Lines of a CLI that is not
/// careful with its text are repaired rather than lost: bytes that are no UTF-8 and halves of surrogate pairs
/// (JavaScript writes both when it cuts a text) become U+FFFD. Nesting is limited to 200 levels.
class JsonLineReader {
 public:
  /// The line's object, valid until the next call; null when the line is anything else.
  const boost::json::object* read(std::string_view line);

 private:
  bool parse(std::string_view line);
  void renewMemory();

  std::array<unsigned char, 64 * 1024> values_;
  std::array<unsigned char, 16 * 1024> scratch_;
  std::optional<boost::json::monotonic_resource> memory_;
  std::optional<boost::json::parser> parser_;
  std::optional<boost::json::value> value_;
  bool grown_ = true;
};

}  // namespace vale
