#include "agents/PreviewText.h"

#include "common/Text.h"

#include <boost/json.hpp>

#include <algorithm>

namespace vale {
namespace {

constexpr std::string_view ellipsis = "…";

/// What is cleaned of a text at most, so that one character of a megabyte stays out.
constexpr std::size_t bytesPerCharacter = 16;

/// The first `size` bytes or a few less, not cut inside a UTF-8 sequence.
std::string_view firstBytes(std::string_view text, std::size_t size) {
  if (text.size() <= size) return text;
  while (size > 0 && (static_cast<unsigned char>(text[size]) & 0xC0) == 0x80) --size;
  return text.substr(0, size);
}

/// The length of the terminal control sequence that begins at `at` with ESC (ECMA-48, 5.4 and 5.6), at
/// least 1.
std::size_t terminalSequence(std::string_view text, std::size_t at) {
  std::size_t end = at + 1;
  if (end == text.size()) return 1;
  const char kind = text[end++];
  if (kind == '[') {
    while (end < text.size() && text[end] >= 0x20 && text[end] < 0x40) ++end;
    return std::min(end + 1, text.size()) - at;
  }
  if (kind == ']') {
    while (end < text.size() && text[end] != '\a' && text[end] != '\x1B') ++end;
    if (end < text.size() && text[end] == '\x1B') ++end;
    return std::min(end + 1, text.size()) - at;
  }
  return 1;
}

std::string cleaned(std::string_view text) {
  std::string clean;
  clean.reserve(text.size());
  for (std::size_t i = 0; i < text.size();) {
    const auto byte = static_cast<unsigned char>(text[i]);
    if (byte == 0x1B) {
      i += terminalSequence(text, i);
    } else if (byte == '\r') {
      ++i;
      if (i == text.size() || text[i] != '\n') clean += '\n';
    } else if ((byte < 0x20 && byte != '\n' && byte != '\t') || byte == 0x7F) {
      ++i;
    } else if (byte == 0xC2 && i + 1 < text.size() && static_cast<unsigned char>(text[i + 1]) < 0xA0) {
      i += 2;  // U+0080 to U+009F
    } else if (byte == 0xE2 && ((text.substr(i, 3) >= "\u202A" && text.substr(i, 3) <= "\u202E") ||
                                (text.substr(i, 3) >= "\u2066" && text.substr(i, 3) <= "\u2069"))) {
      clean += "\uFFFD";
      i += 3;
    } else {
      clean += text[i++];
    }
  }
  return clean;
}

std::string cut(std::string text, std::size_t characters, bool moreFollows) {
  if (firstCharacters(text, characters).size() == text.size() && !moreFollows) return text;
  if (characters == 0) return {};
  auto kept = firstCharacters(text, characters - 1);
  // The last character may go on in what was left out; it stays only where it is all there is.
  if (kept.size() == text.size()) {
    const auto count = characterCount(kept);
    if (count > 1) kept = firstCharacters(kept, count - 1);
  }
  text.resize(kept.size());
  return text += ellipsis;
}

std::string preview(std::string_view text, std::size_t characters, bool moreFollows) {
  const auto first = firstBytes(text, characters * bytesPerCharacter);
  return cut(cleaned(first), characters, moreFollows || first.size() < text.size());
}

}  // namespace

std::string previewText(std::string_view text, std::size_t characters) {
  // Most texts are short and plain: no need to ask Unicode about them.
  const auto isPlain = [](char c) { return (c >= 0x20 && c < 0x7F) || c == '\n' || c == '\t'; };
  if (text.size() <= characters && std::ranges::all_of(text, isPlain)) return std::string(text);
  return preview(text, characters, false);
}

std::string previewLine(std::string_view text, std::size_t characters) {
  auto line = previewText(text, characters);
  const auto isPlain = [](char c) { return c >= 0x20 && c < 0x7F; };
  return std::ranges::all_of(line, isPlain) ? line : singleLine(line);
}

std::string previewJson(const boost::json::value& value, std::size_t characters) {
  std::string text(characters * 4, '\0');
  boost::json::serializer serializer;
  serializer.reset(&value);
  const auto read = serializer.read(text.data(), text.size());
  const auto whole = firstBytes(read, serializer.done() ? read.size() : read.size() - 1);
  return preview(whole, characters, !serializer.done());
}

}  // namespace vale
