#include "browser/LinkStatus.h"

#include "browser/AddressDisplay.h"
#include "common/Text.h"

#include <algorithm>

namespace vale {

namespace {

constexpr std::size_t longest = 100;
constexpr std::size_t keptEnd = 30;
constexpr std::size_t longestHost = 60;

/// The last bytes of a text, from the beginning of a code point on.
std::string_view lastBytes(std::string_view text, std::size_t count) {
  auto begin = text.size() - std::min(count, text.size());
  while (begin < text.size() && (static_cast<unsigned char>(text[begin]) & 0xC0) == 0x80) ++begin;
  return text.substr(begin);
}

}  // namespace

std::string linkStatus(std::string_view address) {
  const auto shown = displayedAddress(address);
  const auto text = singleLine(validUtf8(shown.text));
  if (text.size() <= longest) return text;
  std::string begin(text, 0, shown.host.end);
  if (begin.size() > longestHost) begin = "…" + std::string(lastBytes(begin, longestHost));
  const auto rest = std::string_view(text).substr(shown.host.end);
  const auto room = longest - std::min(begin.size() + keptEnd, longest);
  if (rest.size() <= room + keptEnd) return begin + std::string(rest);
  const std::string head(rest.substr(0, room));
  return begin + std::string(firstCharacters(head, characterCount(head) - (head.empty() ? 0 : 1))) + "…" +
         std::string(lastBytes(rest, keptEnd));
}

}  // namespace vale
