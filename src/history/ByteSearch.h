#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

/// Finding bytes in much text, by 16 or 32 at a time as the processor can.
namespace vale {

/// A byte that is compared in the bits of `mask` only: mask 0xDF finds an ASCII letter in either case.
struct MaskedByte {
  unsigned char mask = 0xFF;
  unsigned char value = 0;

  bool matches(char byte) const { return ((unsigned char)byte & mask) == value; }
  bool operator==(const MaskedByte&) const = default;
};

/// Two bytes, the second `distance` bytes behind the first, at most `maximumDistance`.
struct BytePair {
  static constexpr std::size_t maximumDistance = 31;

  MaskedByte first;
  MaskedByte second;
  std::size_t distance = 1;

  bool operator==(const BytePair&) const = default;
};

/// What is searched in one go: any of these.
struct BytePairs {
  BytePair rare;  ///< together with `third`, which makes it far rarer
  MaskedByte third = {0, 0};
  std::size_t thirdDistance = 0;
  BytePair other;
  /// Pairs whose first byte is not ASCII: they cost nothing in text that is.
  std::vector<BytePair> beyondASCII;
};

/// How many bytes behind a text must be readable for it to be searched; what they hold is of no matter.
inline constexpr std::size_t searchPadding = 256;

/// Looks closer at a position where a pair begins; false to have it passed over.
struct Confirmation {
  bool (*confirm)(const void* context, std::size_t at);
  const void* context;

  bool operator()(std::size_t at) const { return confirm(context, at); }
};

/// The first position from `from` on at which one of the pairs begins and that is confirmed; the text's size
/// when there is none. The further bytes of a pair may lie in the padding.
std::size_t findPairs(std::string_view text, std::size_t from, const BytePairs& pairs, Confirmation confirm);

}  // namespace vale
