#include "common/JsonParser.h"

#include <boost/json/basic_parser_impl.hpp>
#include <boost/json/value_stack.hpp>

#include <charconv>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <utility>

namespace vale {
namespace {

namespace json = boost::json;

/// Builds the value. The parser's own reading of a fraction is often off by the last bit (Boost 1.84 has an
/// option for it), so that numbers would drift each time a file is read and written.
struct Handler {
  using Text = json::string_view;
  using Code = json::error_code;

  static constexpr std::size_t max_object_size = json::object::max_size();
  static constexpr std::size_t max_array_size = json::array::max_size();
  static constexpr std::size_t max_key_size = json::string::max_size();
  static constexpr std::size_t max_string_size = json::string::max_size();

  bool on_document_begin(Code&) { return true; }
  bool on_document_end(Code&) { return true; }
  bool on_object_begin(Code&) { return true; }
  bool on_object_end(std::size_t count, Code&) { return stack.push_object(count), true; }
  bool on_array_begin(Code&) { return true; }
  bool on_array_end(std::size_t count, Code&) { return stack.push_array(count), true; }
  bool on_key_part(Text text, std::size_t, Code&) { return stack.push_chars(text), true; }
  bool on_key(Text text, std::size_t, Code&) { return stack.push_key(text), true; }
  bool on_string_part(Text text, std::size_t, Code&) { return stack.push_chars(text), true; }
  bool on_string(Text text, std::size_t, Code&) { return stack.push_string(text), true; }
  bool on_number_part(Text, Code&) { return true; }
  bool on_int64(std::int64_t number, Text, Code&) { return stack.push_int64(number), true; }
  bool on_uint64(std::uint64_t number, Text, Code&) { return stack.push_uint64(number), true; }
  bool on_double(double number, Text digits, Code&) {
    // Leaves the parser's infinity or zero where the number is out of range.
    std::from_chars(digits.data(), digits.data() + digits.size(), number);
    return stack.push_double(number), true;
  }
  bool on_bool(bool flag, Code&) { return stack.push_bool(flag), true; }
  bool on_null(Code&) { return stack.push_null(), true; }
  bool on_comment_part(Text, Code&) { return true; }
  bool on_comment(Text, Code&) { return true; }

  Handler(unsigned char* buffer, std::size_t size, json::storage_ptr storage)
      : stack(json::storage_ptr(), buffer, size) {
    stack.reset(std::move(storage));
  }
  json::value_stack stack;
};

json::value parseExactly(std::string_view text, json::error_code& error, const json::storage_ptr& storage) {
  json::parse_options options;
  options.max_depth = 64;
  unsigned char buffer[4096];
  json::basic_parser<Handler> parser(options, buffer, sizeof buffer, storage);
  const std::size_t taken = parser.write_some(false, text.data(), text.size(), error);
  if (!error && taken < text.size()) error = json::error::extra_data;
  return error ? json::value() : parser.handler().stack.release();
}

/// The UTF-16 unit of a "\uXXXX" at `position`, or none.
std::optional<unsigned> escapedUnit(std::string_view text, std::size_t position) {
  if (text.substr(position, 2) != "\\u" || position + 6 > text.size()) return std::nullopt;
  unsigned unit = 0;
  const auto* end = text.data() + position + 6;
  if (std::from_chars(text.data() + position + 2, end, unit, 16).ptr != end) return std::nullopt;
  return unit;
}

/// Replaces each half of a surrogate pair that stands alone by U+FFFD. Programs that cut their strings by
/// UTF-16 units escape such halves (ECMAScript's JSON.stringify does), and the parser refuses the whole text
/// for one.
std::string withoutLoneSurrogates(std::string_view text) {
  std::string result(text);
  for (std::size_t i = 0; (i = result.find('\\', i)) != std::string::npos;) {
    const auto unit = escapedUnit(result, i);
    const bool leading = unit && *unit >= 0xD800 && *unit < 0xDC00;
    const bool trailing = unit && *unit >= 0xDC00 && *unit < 0xE000;
    const auto next = leading ? escapedUnit(result, i + 6) : std::nullopt;
    if (next && *next >= 0xDC00 && *next < 0xE000) {
      i += 12;
      continue;
    }
    if (leading || trailing) result.replace(i + 2, 4, "fffd");
    i += unit ? 6 : 2;
  }
  return result;
}

}  // namespace

json::value parseAnyJson(std::string_view text, json::error_code& error, json::storage_ptr storage) {
  auto value = parseExactly(text, error, storage);
  if (error && (text.find("\\ud") != text.npos || text.find("\\uD") != text.npos)) {
    error.clear();
    return parseExactly(withoutLoneSurrogates(text), error, storage);
  }
  return value;
}

}  // namespace vale
