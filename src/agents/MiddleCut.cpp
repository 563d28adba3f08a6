#include "agents/MiddleCut.h"

#include "common/Text.h"

#include <fmt/format.h>

#include <algorithm>
#include <string_view>

namespace vale {
namespace {

/// More than a character takes that is not made up to be long.
constexpr std::size_t window = 256;

std::string mark(std::int64_t omitted) { return fmt::format("\n[… {} bytes left out …]\n", omitted); }

bool continuesSequence(char byte) { return (static_cast<unsigned char>(byte) & 0xC0) == 0x80; }

std::size_t sequenceStart(std::string_view text, std::size_t position) {
  while (position > 0 && position < text.size() && continuesSequence(text[position])) --position;
  return position;
}

/// The end of the character that the byte before `position` belongs to.
std::size_t characterEnd(std::string_view text, std::size_t position) {
  position = sequenceStart(text, position);
  // Begun a little earlier, the characters are found as they are by the time that they matter.
  const auto start = sequenceStart(text, position - std::min(position, window));
  const auto count = characterCount(text.substr(start, position - start));
  return sequenceStart(text, start + firstCharacters(text.substr(start, 2 * window), count).size());
}

}  // namespace

void cutMiddle(std::string& text, std::size_t limit, std::int64_t& omitted) {
  if (text.size() <= limit) return;
  const std::string_view whole = text;
  auto begin = whole.substr(0, characterEnd(whole, limit / 2));
  auto rest = whole.substr(begin.size());
  if (omitted > 0) {
    const auto earlier = mark(omitted);
    const auto at = whole.find(earlier, limit / 2 - std::min(limit / 2, 2 * window));
    if (at != whole.npos && at <= limit / 2 + window) {
      begin = whole.substr(0, at);
      rest = whole.substr(at + earlier.size());
    }
  }
  const auto end = rest.substr(characterEnd(rest, rest.size() - std::min(rest.size(), limit / 2)));
  omitted += std::int64_t(rest.size() - end.size());
  text = fmt::format("{}{}{}", begin, mark(omitted), end);
}

}  // namespace vale
