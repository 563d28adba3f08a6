#include "common/Text.h"

#include "common/Error.h"

#include <unicode/brkiter.h>
#include <unicode/bytestream.h>
#include <unicode/casemap.h>
#include <unicode/uchar.h>
#include <unicode/utext.h>
#include <unicode/utf8.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>

namespace vale {
namespace {

constexpr std::string_view replacement = "\uFFFD";

/// The code point at `position`, which moves past it; negative for an ill-formed sequence.
UChar32 nextCodePoint(std::string_view text, std::size_t& position) {
  UChar32 codePoint;
  U8_NEXT(text.data(), position, text.size(), codePoint);
  return codePoint;
}

icu::BreakIterator& characterIterator() {
  // Opening one reads the rules, which costs more than counting a page of text.
  thread_local const std::unique_ptr<icu::BreakIterator> iterator = [] {
    UErrorCode status = U_ZERO_ERROR;
    std::unique_ptr<icu::BreakIterator> made(
        icu::BreakIterator::createCharacterInstance(icu::Locale::getRoot(), status));
    if (U_FAILURE(status)) throw Error("The system's Unicode data could not be loaded.");
    return made;
  }();
  return *iterator;
}

int clusterBreak(UChar32 codePoint) {
  if (codePoint < 0) return U_GCB_OTHER;
  if (codePoint >= 0x20 && codePoint < 0x7F) return U_GCB_OTHER;
  return u_getIntPropertyValue(codePoint, UCHAR_GRAPHEME_CLUSTER_BREAK);
}

/// Steps through a text, character by character. Two ordinary code points always have a boundary between
/// them; ICU is asked only where anything else meets, since its iterator is some ten times slower.
class CharacterWalker {
 public:
  explicit CharacterWalker(std::string_view text) : text_(text) {}
  ~CharacterWalker() {
    if (opened_) utext_close(&opening_);
  }
  CharacterWalker(const CharacterWalker&) = delete;
  CharacterWalker& operator=(const CharacterWalker&) = delete;

  std::size_t position() const { return position_; }
  bool atEnd() const { return position_ == text_.size(); }

  void step() {
    if (position_ + 1 < text_.size()) {
      const unsigned char first = text_[position_];
      const unsigned char second = text_[position_ + 1];
      if (first < 0x80 && second < 0x80 && !(first == '\r' && second == '\n')) {
        ++position_;
        return;
      }
    }
    std::size_t after = position_;
    const int here = clusterBreak(nextCodePoint(text_, after));
    if (after < text_.size()) {
      std::size_t ignored = after;
      const int next = clusterBreak(nextCodePoint(text_, ignored));
      const auto ordinary = [](int value) { return value == U_GCB_OTHER || value == U_GCB_CONTROL; };
      if (!ordinary(here) || !ordinary(next)) {
        stepThroughUnicode();
        return;
      }
    }
    position_ = after;
  }

 private:
  void stepThroughUnicode() {
    constexpr std::size_t reach = 1 << 30;  // ICU counts in 32 bits
    auto& iterator = characterIterator();
    if (!opened_ || position_ - origin_ > reach) {
      UErrorCode status = U_ZERO_ERROR;
      origin_ = position_;
      const auto size =
          std::min<std::size_t>(text_.size() - origin_, std::numeric_limits<std::int32_t>::max());
      utext_openUTF8(&opening_, text_.data() + origin_, std::int64_t(size), &status);
      opened_ = true;
      iterator.setText(&opening_, status);
      if (U_FAILURE(status)) throw Error("The system's Unicode data could not be used.");
    }
    const auto next = iterator.following(std::int32_t(position_ - origin_));
    position_ = next == icu::BreakIterator::DONE ? text_.size() : origin_ + std::size_t(next);
  }

  std::string_view text_;
  std::size_t position_ = 0;
  std::size_t origin_ = 0;
  bool opened_ = false;
  UText opening_ = UTEXT_INITIALIZER;
};

std::size_t asciiPrefix(std::string_view text, std::size_t from) {
  for (std::uint64_t word; from + sizeof word <= text.size(); from += sizeof word) {
    std::memcpy(&word, text.data() + from, sizeof word);
    if (word & 0x8080808080808080) break;
  }
  while (from < text.size() && static_cast<unsigned char>(text[from]) < 0x80) ++from;
  return from;
}

}  // namespace

std::size_t characterCount(std::string_view text) {
  std::size_t count = 0;
  for (CharacterWalker walker(text); !walker.atEnd(); walker.step()) ++count;
  return count;
}

std::string_view firstCharacters(std::string_view text, std::size_t count) {
  if (text.size() <= count) return text;
  CharacterWalker walker(text);
  while (count-- > 0 && !walker.atEnd()) walker.step();
  return text.substr(0, walker.position());
}

std::string_view trimmed(std::string_view text) {
  while (!text.empty()) {
    std::size_t after = 0;
    if (!u_isUWhiteSpace(nextCodePoint(text, after))) break;
    text.remove_prefix(after);
  }
  while (!text.empty()) {
    const auto tail = text.substr(text.size() - std::min<std::size_t>(text.size(), U8_MAX_LENGTH));
    auto before = std::int32_t(tail.size());
    UChar32 codePoint;
    U8_PREV(tail.data(), 0, before, codePoint);
    if (!u_isUWhiteSpace(codePoint)) break;
    text.remove_suffix(tail.size() - std::size_t(before));
  }
  return text;
}

bool onlyWhiteSpace(std::string_view text) { return trimmed(text).empty(); }

bool isValidUtf8(std::string_view bytes) {
  std::size_t position = 0;
  while ((position = asciiPrefix(bytes, position)) < bytes.size()) {
    if (nextCodePoint(bytes, position) < 0) return false;
  }
  return true;
}

std::string validUtf8(std::string bytes) {
  if (isValidUtf8(bytes)) return bytes;
  std::string text;
  text.reserve(bytes.size());
  for (std::size_t position = 0; position < bytes.size();) {
    const std::size_t start = position;
    if (nextCodePoint(bytes, position) < 0) {
      text += replacement;
    } else {
      text.append(bytes, start, position - start);
    }
  }
  return text;
}

std::string foldedCase(std::string_view text) {
  std::string folded;
  UErrorCode status = U_ZERO_ERROR;
  icu::StringByteSink<std::string> sink(&folded, std::int32_t(text.size()));
  icu::CaseMap::utf8Fold(0, icu::StringPiece(text.data(), std::int32_t(text.size())), sink, nullptr, status);
  return U_SUCCESS(status) ? folded : std::string(text);
}

std::string singleLine(std::string_view text) {
  std::string line;
  line.reserve(text.size());
  for (std::size_t position = 0; position < text.size();) {
    const std::size_t start = position;
    const UChar32 codePoint = nextCodePoint(text, position);
    if (codePoint < 0) {
      line += replacement;
    } else if (U_GET_GC_MASK(codePoint) & (U_GC_CC_MASK | U_GC_ZL_MASK | U_GC_ZP_MASK) ||
               u_hasBinaryProperty(codePoint, UCHAR_BIDI_CONTROL)) {
      line += ' ';
    } else {
      line.append(text, start, position - start);
    }
  }
  return line;
}

}  // namespace vale
