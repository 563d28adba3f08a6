#include "common/Date.h"
#include "common/Json.h"
#include "common/Text.h"
#include "common/Uuid.h"
#include "common/WebAddress.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

/// Feeds any bytes to what reads addresses, texts, JSON, dates and identifiers, and checks what must hold for
/// all.
namespace {

using namespace vale;

void require(bool holds, const char* rule) {
  if (holds) return;
  std::fprintf(stderr, "Broken: %s.\n", rule);
  std::abort();
}

void checkAddress(std::string_view text) {
  const std::string once = normalizeURL(text);
  const std::string twice = normalizeURL(once);
  // A path that ends in several slashes loses one of them each time.
  require(twice == once || (twice.size() + 1 == once.size() && once.find('/') != once.npos),
          "a second normalization takes away one slash at most");
  require(host(once) == host(text) && isWebAddress(once) == isWebAddress(text),
          "a normalized address keeps its host");
  require(sameSite(text, once) == !host(text).empty() || host(text) == "www.", "an address is its own site");
}

void checkText(const std::string& text) {
  const std::string valid = validUtf8(text);
  require(isValidUtf8(valid) && isValidUtf8(singleLine(text)) && isValidUtf8(foldedCase(valid)),
          "results are UTF-8");
  require(isValidUtf8(text) == (valid == text), "only ill-formed text is changed");
  const std::size_t count = characterCount(text);
  require(count == characterCount(valid), "an ill-formed sequence counts as one replacement character");
  for (const std::size_t wanted : {std::size_t(0), std::size_t(1), count / 2, count, count + 1}) {
    const auto first = firstCharacters(text, wanted);
    require(text.starts_with(first) && characterCount(first) == std::min(wanted, count),
            "a cut has its characters");
  }
  require(trimmed(trimmed(text)) == trimmed(text) && text.find(trimmed(text)) != text.npos, "trimming ends");
  require(singleLine(text).find_first_of("\n\r\x1b") == text.npos, "one line stays one line");
  require(foldedCase(foldedCase(valid)) == foldedCase(valid), "folding ends");
}

void checkJson(std::string_view text) {
  const auto value = tryParseJson(text);
  if (!value) return;
  const std::string written = jsonText(*value);
  const auto again = tryParseJson(written);
  require(again && jsonText(*again) == written, "what is written is read again as the same");
}

void checkDateAndIdentifier(std::string_view text) {
  if (const auto date = parseISO8601(text)) {
    const auto whole = parseISO8601(iso8601(*date));
    require(whole && iso8601(*whole) == iso8601(*date), "a date's text is read again as the same");
  }
  if (const auto uuid = Uuid::parse(text))
    require(Uuid::parse(uuid->text()) == uuid, "an identifier is read again");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  checkAddress(text);
  checkText(text);
  checkJson(text);
  checkDateAndIdentifier(text);
  return 0;
}
