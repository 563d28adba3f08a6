#include "history/LexicalSearch.h"

#include "common/PrivateFiles.h"
#include "common/Text.h"
#include "history/ArchiveName.h"
#include "history/SearchQuery.h"
#include "support/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <unicode/unistr.h>

#include <random>

namespace vale {
namespace {

using namespace std::chrono_literals;

/// Pieces that fold, are escaped, or stand in the keys and the fixed parts of lines.
constexpr std::string_view pieces =
    "a k s ss st fi i N ß ſ K İ ŉ ǰ ẞ ﬁ ﬆ é É é σ ς 日本 本 😀 \\ / \\u \\n url title 20 д Д ΐ å "
    "Å Å x \" typed id Word word visit Ω ﬅ ẖ \n \x01";

std::string randomText(std::minstd_rand& random, std::size_t most) {
  std::string text;
  for (auto count = random() % (most + 1); count > 0; --count) {
    const auto begin = pieces.rfind(' ', random() % pieces.size()) + 1;
    text += pieces.substr(begin, pieces.find(' ', begin) - begin);
  }
  return text;
}

/// As another program may write it: only ASCII, with white space and CR LF, and what it was writing.
std::string foreignLine(const std::string& line) {
  std::string ascii = "{ ";
  const auto wide = icu::UnicodeString::fromUTF8(line);
  for (std::int32_t i = 1; i < wide.length(); ++i)
    ascii += wide[i] < 0x80 ? std::string(1, char(wide[i])) : fmt::format("\\u{:04x}", unsigned(wide[i]));
  return ascii + "\r\n\r\n{";
}

/// Fills a folder and gives its visits, those that a search finds first first.
std::vector<HistoryVisit> makeLibrary(const std::filesystem::path& folder, std::minstd_rand& random) {
  std::vector<HistoryVisit> visits;
  for (auto day = std::chrono::sys_seconds(20'000 * 24h); random() % 4; day += 24h) {
    std::string bytes;
    for (std::size_t lines = random() % 25; lines > 0; --lines) {
      HistoryVisit visit{.id = Uuid::random(), .visitedAt = day + random() % 5 * 1h};
      visit.url = randomText(random, 3), visit.title = randomText(random, 4);
      // Some lines are longer than what is read at once.
      visit.textExcerpt = std::string(random() % 40 ? random() % 300 : 300'000, '.') + randomText(random, 8);
      bytes += (random() % 3 ? jsonLine(visit) : foreignLine(jsonLine(visit))) + "\n";
      visits.push_back(std::move(visit));
    }
    PrivateFiles::write(bytes, folder / archiveName(day));
  }
  std::ranges::stable_sort(visits, {}, &HistoryVisit::visitedAt);
  std::ranges::reverse(visits);
  return visits;
}

TEST(LexicalSearch, findsWhatAnExhaustiveSearchFinds) {
  WorkerPool workers;
  for (unsigned seed = 1; seed <= 40; ++seed) {
    const test::TemporaryFolder folder;
    std::minstd_rand random(seed);
    auto expected = makeLibrary(folder.path(), random);
    std::string query;
    for (std::size_t count = 1 + random() % 2; count > 0; --count) {
      auto word = randomText(random, 3);
      if (std::erase(word, '"'), trimmed(word).empty()) continue;
      query += word.contains('\n') ? " \"" + word + "\"" : " " + word;
      std::erase_if(expected, [word = foldedCase(word)](const HistoryVisit& visit) {
        return !foldedCase(visit.url + '\v' + visit.title + '\v' + visit.textExcerpt).contains(word);
      });
    }
    const std::size_t limit = seed % 2 ? 5 : 1'000;
    expected.resize(query.empty() ? 0 : std::min(expected.size(), limit));
    ASSERT_EQ(lexicalSearch(folder.path(), query, limit, seed % 3 ? &workers : nullptr), expected) << query;
  }
}

TEST(LexicalSearch, missesNoCaseOfAnyCharacter) {
  for (UChar32 c = 0x80; c <= 0x1FFFF; ++c) {
    const auto folded = icu::UnicodeString(c).foldCase();
    if (U_IS_SURROGATE(c) || folded == icu::UnicodeString(c)) continue;
    std::string text;
    icu::UnicodeString("e:").append(c).append("g:").toUTF8String(text);
    const auto padded = text + std::string(searchPadding, ' ');
    const auto around = "e:" + folded + "g:";
    for (std::int32_t i = 0; i < around.length() * around.length(); ++i) {
      std::string part;
      around.tempSubString(i / around.length(), i % around.length() + 1).toUTF8String(part);
      ASSERT_LT(SearchWord(part).findPossible({padded.data(), text.size()}, 0), text.size()) << part;
    }
  }
}

}  // namespace
}  // namespace vale
