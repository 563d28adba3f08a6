#include "common/Text.h"
#include "history/SearchQuery.h"

#include <unicode/uniset.h>
#include <unicode/utf8.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <optional>
#include <utility>

namespace vale {
namespace {

constexpr MaskedByte exactly(unsigned char value) { return {0xFF, value}; }

constexpr BytePair escape = {exactly('\\'), exactly('u')};

/// The characters outside ASCII whose full case folding holds an ASCII letter, each with two bytes of its
/// UTF-8 that nothing else, or little else, has.
struct Expansion {
  std::string_view folded;
  BytePair bytes;
};
constexpr BytePair latinAdditional = {exactly(0xBA), {0xF0, 0x90}};  // U+1E90 to U+1E9F
constexpr BytePair ligature = {exactly(0xEF), exactly(0xAC)};        // U+FB00 to U+FB3F
constexpr auto expansions = std::to_array<Expansion>({
    {"s", {exactly(0xC5), exactly(0xBF)}},        // U+017F, long s
    {"k", {exactly(0x84), exactly(0xAA)}},        // U+212A, Kelvin sign
    {"ss", {exactly(0xC3), exactly(0x9F)}},       // U+00DF, sharp s
    {"ss", latinAdditional},                      // U+1E9E, capital sharp s
    {"i\u0307", {exactly(0xC4), exactly(0xB0)}},  // U+0130, I with a dot
    {"\u02BCn", {exactly(0xC5), exactly(0x89)}},  // U+0149
    {"j\u030C", {exactly(0xC7), exactly(0xB0)}},  // U+01F0
    {"h\u0331", latinAdditional},
    {"t\u0308", latinAdditional},
    {"w\u030A", latinAdditional},
    {"y\u030A", latinAdditional},
    {"a\u02BE", latinAdditional},
    {"ff", ligature},
    {"fi", ligature},
    {"fl", ligature},
    {"ffi", ligature},
    {"ffl", ligature},
    {"st", ligature},
});

/// True when a part of `word` may be made of a part of `piece`.
bool mayHide(std::string_view word, std::string_view piece) {
  for (std::ptrdiff_t at = 1 - std::ptrdiff_t(piece.size()); at < std::ptrdiff_t(word.size()); ++at) {
    const std::size_t skipped = at < 0 ? std::size_t(-at) : 0;
    const auto there = word.substr(at < 0 ? 0 : std::size_t(at));
    const auto here = piece.substr(skipped);
    const auto length = std::min(there.size(), here.size());
    if (there.substr(0, length) == here.substr(0, length)) return true;
  }
  return false;
}

/// True for characters outside ASCII that occur among others in a full case folding (Greek, Armenian, marks
/// on letters), and for the one that ill-formed text is read as.
bool mayComeFromOther(UChar32 c) {
  constexpr auto ranges = std::to_array<std::pair<UChar32, UChar32>>(
      {{0x2BC, 0x2BE}, {0x300, 0x3FF}, {0x531, 0x58F}, {0x1F00, 0x1FFF}, {0xFFFD, 0xFFFD}});
  return std::ranges::any_of(ranges, [c](auto range) { return c >= range.first && c <= range.second; });
}

std::vector<unsigned char> utf8(UChar32 c) {
  unsigned char bytes[U8_MAX_LENGTH];
  std::int32_t length = 0;
  U8_APPEND_UNSAFE(bytes, length, c);
  return {bytes, bytes + length};
}

/// The bytes of a folded character in any case; none when they cannot be known so simply, or when programs
/// write it with a backslash in JSON.
std::optional<std::vector<MaskedByte>> maskedBytes(UChar32 c) {
  if (c < 0x80) {
    if (c < 0x20 || c == '"' || c == '\\' || c == '/') return std::nullopt;
    const bool isLetter = c >= 'a' && c <= 'z';
    const auto value = (unsigned char)c;
    return std::vector{isLetter ? MaskedByte{0xDF, (unsigned char)(value & 0xDF)} : exactly(value)};
  }
  if (mayComeFromOther(c)) return std::nullopt;
  std::vector<MaskedByte> masked;
  const auto own = utf8(c);
  for (const auto byte : own) masked.push_back(exactly(byte));
  icu::UnicodeSet cases(c, c);
  cases.closeOver(USET_CASE_INSENSITIVE);
  for (std::int32_t i = 0; i < cases.getRangeCount(); ++i) {
    for (UChar32 other = cases.getRangeStart(i); other <= cases.getRangeEnd(i); ++other) {
      const auto bytes = utf8(other);
      if (bytes.size() != own.size()) return std::nullopt;
      for (std::size_t at = 0; at < own.size(); ++at)
        masked[at].mask &= (unsigned char)~(own[at] ^ bytes[at]);
    }
  }
  for (auto& one : masked) one.value &= one.mask;
  return masked;
}

/// Greater for bytes that text and addresses hold more often.
int commonnessOf(MaskedByte byte) {
  constexpr std::string_view letters = "ETAOINSRHLDCUMPFGWYBVKXJQZ";
  constexpr int most = 40;
  if (byte.mask == 0xDF) return most - int(letters.find(char(byte.value)));
  if (byte.value == ' ') return most + 5;
  if (byte.value < 0x80) return byte.value == '.' || byte.value == '-' ? 28 : 15;
  return byte.value < 0xC0 ? 20 : 35;
}

struct RarePair {
  std::size_t first = 0;
  std::size_t second = 0;
  int commonness = 1'000;
};

RarePair rarestPair(const std::vector<MaskedByte>& stretch) {
  if (stretch.size() == 1) return {0, 0, 3 * commonnessOf(stretch[0])};
  RarePair best;
  for (std::size_t first = 0; first < stretch.size(); ++first) {
    const auto end = std::min(stretch.size(), first + BytePair::maximumDistance + 1);
    for (std::size_t second = first + 1; second < end; ++second) {
      const int commonness = commonnessOf(stretch[first]) + commonnessOf(stretch[second]);
      if (commonness < best.commonness) best = {first, second, commonness};
    }
  }
  return best;
}

}  // namespace

SearchWord::SearchWord(std::string folded) : folded_(std::move(folded)) {
  RarePair best;
  std::vector<MaskedByte> stretch;
  const auto consider = [&] {
    if (stretch.empty()) return;
    if (const auto pair = rarestPair(stretch); pair.commonness < best.commonness) {
      best = pair;
      stretch_ = stretch;
    }
    stretch.clear();
  };
  // The rarest pair of a very long word is as rare in its beginning.
  constexpr std::size_t longest = 200;
  for (std::int32_t i = 0; i < std::int32_t(std::min(folded_.size(), longest));) {
    UChar32 c = 0;
    U8_NEXT(folded_.data(), i, std::int32_t(folded_.size()), c);
    const auto bytes = c < 0 ? std::nullopt : maskedBytes(c);
    if (bytes) {
      stretch.insert(stretch.end(), bytes->begin(), bytes->end());
    } else {
      consider();
    }
  }
  consider();
  commonness_ = best.commonness;
  if (stretch_.empty()) return;
  pairAt_ = best.first;
  pairs_.rare = {stretch_[best.first], stretch_[best.second], best.second - best.first};
  pairs_.other = escape;
  int rarest = best.commonness;
  const auto end = std::min(stretch_.size(), best.first + BytePair::maximumDistance + 1);
  for (std::size_t third = best.first + 1; third < end; ++third) {
    if (third == best.second || commonnessOf(stretch_[third]) >= rarest) continue;
    rarest = commonnessOf(stretch_[third]);
    pairs_.third = stretch_[third];
    pairs_.thirdDistance = third - best.first;
  }
  for (const auto& expansion : expansions) {
    auto& pairs = pairs_.beyondASCII;
    if (mayHide(folded_, expansion.folded) && std::ranges::find(pairs, expansion.bytes) == pairs.end())
      pairs.push_back(expansion.bytes);
  }
}

std::size_t SearchWord::findPossible(std::string_view json, std::size_t from) const {
  if (stretch_.empty()) return std::min(from, json.size());
  const auto stretchIsAt = [&](std::size_t at) {
    if (at < pairAt_ || json.size() - (at - pairAt_) < stretch_.size()) return false;
    return std::ranges::equal(stretch_, json.substr(at - pairAt_, stretch_.size()),
                              [](MaskedByte masked, char byte) { return masked.matches(byte); });
  };
  const auto pairIsAt = [&](std::size_t at, const BytePair& pair) {
    return pair.first.matches(json[at]) && at + pair.distance < json.size() &&
           pair.second.matches(json[at + pair.distance]);
  };
  const auto isPossible = [&](std::size_t at) {
    return stretchIsAt(at) || pairIsAt(at, pairs_.other) ||
           std::ranges::any_of(pairs_.beyondASCII, [&](auto& pair) { return pairIsAt(at, pair); });
  };
  const auto confirm = [](const void* context, std::size_t at) {
    return (*static_cast<decltype(&isPossible)>(context))(at);
  };
  return findPairs(json, from, pairs_, {confirm, &isPossible});
}

}  // namespace vale
