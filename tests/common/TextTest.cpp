#include "common/Text.h"

#include <gtest/gtest.h>
#include <unicode/brkiter.h>

#include <random>

namespace vale {
namespace {

using namespace std::string_literals;

// ICU is asked only where it must be; everywhere else the result has to be the one of its whole rules.
TEST(Text, aCharacterIsWhatAPersonSeesAsOne) {
  EXPECT_EQ(firstCharacters("e\u0301\r\n\U0001F1E9\U0001F1EA\xE2\x82z", 4),
            "e\u0301\r\n\U0001F1E9\U0001F1EA\xE2\x82");
  EXPECT_EQ(characterCount("\xFF\xFE\u0903a"), 3u);
  const std::u32string alphabet = U"ab\r\n\t\u0301\u200D\u00E9漢\U0001F469\U0001F3FD\U0001F1E9\u1100\u1161"
                                  U"\u11A8\uAC01\u0600\u0E33\u0903\uFE0F\u00AD";
  UErrorCode status = U_ZERO_ERROR;
  const std::unique_ptr<icu::BreakIterator> rules(
      icu::BreakIterator::createCharacterInstance(icu::Locale::getRoot(), status));
  ASSERT_TRUE(U_SUCCESS(status));
  std::mt19937 random(11);
  for (int round = 0; round < 2'000; ++round) {
    icu::UnicodeString wide;
    while (wide.length() < 24) wide.append(UChar32(alphabet[random() % alphabet.size()]));
    std::string text;
    wide.toUTF8String(text);
    rules->setText(wide);
    std::size_t count = 0;
    for (auto end = rules->next(); end != icu::BreakIterator::DONE; end = rules->next()) {
      std::string expected;
      wide.tempSubString(0, end).toUTF8String(expected);
      ASSERT_EQ(firstCharacters(text, ++count), expected) << text;
    }
    ASSERT_EQ(characterCount(text), count) << text;
  }
}

TEST(Text, whiteSpaceOfEveryKindIsTrimmedAtBothEnds) {
  const std::pair<std::string_view, std::string_view> cases[] = {
      {"", ""},
      {" \t\r\n ", ""},
      {"\u00A0\u3000\u2028 a b \u2003\u0085", "a b"},
      {"\u200Ba\u200B", "\u200Ba\u200B"},
      {"\x80 a \xE3\x80", "\x80 a \xE3\x80"},
      {"é ", "é"}};
  for (const auto& [text, expected] : cases) {
    EXPECT_EQ(trimmed(text), expected) << text;
    EXPECT_EQ(onlyWhiteSpace(text), expected.empty()) << text;
  }
}

TEST(Text, illFormedSequencesBecomeReplacementCharacters) {
  // The first three: the Unicode Standard, section 3.9, tables 3-8 to 3-11; "?" stands for a replacement.
  const std::pair<std::string, std::string_view> cases[] = {
      {"\xC0\xAF\xE0\x80\xBF\xF0\x81\x82\x41", "????????A"},
      {"\xED\xA0\x80\xED\xBF\xBF\xED\xAF\x41", "????????A"},
      {"\xE1\x80\xE2\xF0\x91\x92\xF1\xBF\x41", "????A"},
      {"12345678\xC3", "12345678?"},
      {"1234567\xFFz", "1234567?z"}};
  for (const auto& [bytes, pattern] : cases) {
    std::string expected;
    for (const char c : pattern) expected += c == '?' ? "\uFFFD" : std::string(1, c);
    EXPECT_FALSE(isValidUtf8(bytes));
    EXPECT_EQ(validUtf8(bytes), expected);
    EXPECT_EQ(singleLine(bytes), expected);
  }
  const std::string valid = "plain ascii, \0, é, 漢, \U0001F469, \U0010FFFF\uFFFD"s;
  EXPECT_TRUE(isValidUtf8(valid));
  EXPECT_EQ(validUtf8(valid), valid);
}

TEST(Text, aSingleLineCannotBreakOrReorderItsSurroundings) {
  EXPECT_EQ(singleLine("a\r\nb\tc\0d\x1B[31m\x7F\u0085e\u2028f"s), "a  b c d [31m  e f");
  EXPECT_EQ(singleLine("\u202Egpj.exe\u2066\u2069\u200F\u061C!"), " gpj.exe    !");
  EXPECT_EQ(singleLine("\U0001F469\u200D\U0001F467 é"), "\U0001F469\u200D\U0001F467 é");
}

}  // namespace
}  // namespace vale
