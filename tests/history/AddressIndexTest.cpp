#include "history/AddressIndex.h"

#include "common/PrivateFiles.h"
#include "support/TemporaryFolder.h"

#include <gmock/gmock.h>

#include <ranges>

namespace vale {
namespace {

using namespace std::chrono_literals;

constexpr std::chrono::sys_seconds today = std::chrono::sys_days(2026y / 11 / 23);

/// The best address with what was found in "[]", such as "[ex]ample.org | An [Ex]ample".
std::string best(const AddressIndex& index, std::string_view text) {
  const auto found = index.complete(text, 3);
  if (found.empty()) return "";
  auto [row, inURL, inTitle] = found[0];
  for (const auto& [begin, length] : inURL) row.url.insert(begin + length, "]").insert(begin, "[");
  for (const auto& [begin, length] : inTitle | std::views::reverse)
    row.title.insert(begin + length, "]").insert(begin, "[");
  return row.url.substr(8) + " | " + row.title;
}

TEST(AddressIndex, readsOneRowForEachAddress) {
  test::TemporaryFolder folder;
  HistoryVisit typed{.lastVisitedAt = today, .visitCount = 2, .url = "https://E.org/a/", .title = "Old"};
  typed.transition = VisitTransition::typed;
  const HistoryVisit untitled{.lastVisitedAt = today + 2h, .visitCount = 3, .url = "https://e.org/a#b"};
  const HistoryVisit latest{.lastVisitedAt = today + 1h, .url = "https://e.org/a", .title = "\"New\""};
  PrivateFiles::write(jsonLine(typed) + "\n{ " + jsonLine(untitled).substr(1) + "\n" + jsonLine(latest),
                      folder / "2026-11-01.jsonl");
  const auto rows = addressRows(folder.path(), nullptr);
  ASSERT_EQ(rows.size(), 1);
  const auto& [url, title, visitCount, typedCount, last] = rows[0];
  EXPECT_EQ(std::tie(url, title, visitCount, typedCount, last),
            std::tuple("https://e.org/a#b", "\"New\"", 6, 1, today + 2h));
}

TEST(AddressIndex, completesTheLikeliestAddressAndFollowsVisits) {
  AddressIndex index({{"https://www.example.org/", "Home – Straße", 5, 0, today - 72h},
                      {"https://other.net/example?q=www", "Exams", 30, 0, today - 72h},
                      {"https://typed.net/", "Page", 2, 2, today - 72h},
                      {"https://often.net/", "Page", 5, 0, today - 72h},
                      {"https://old.net/", "Page", 20, 2, today - 2880h},
                      {"https://ja.net/", "東京の天気", 1, 0, today - 7200h}});
  const std::vector<std::pair<const char*, const char*>> cases = {
      {"https://EX", "www.[ex]ample.org/ | Home – Straße"},  // the host outweighs visits
      {"pa", "typed.net/ | [Pa]ge"},                         // typed twice against opened five times
      {"strasse hom", "www.example.org/ | [Hom]e – [Straße]"},
      {"天", "ja.net/ | 東京の[天]気"},
      {"xample", ""}  // no beginning of a word
  };
  for (const auto& [typed, expected] : cases) EXPECT_EQ(best(index, typed), expected) << typed;
  for (int i = 0; i < 5'000; ++i) index.record(fmt::format("https://c.net/{}", i), "C", std::nullopt, today);
  for (int i = 0; i < 20; ++i) index.record("https://often.net#x", "", VisitTransition::typed, today);
  EXPECT_EQ(best(index, "page"), "often.net#x | [Page]");
  EXPECT_EQ(index.complete("c.net/4999", 9).size(), 1);
  index.remove("https://Often.net/");
  EXPECT_EQ(best(index, "page"), "typed.net/ | [Page]");
}

}  // namespace
}  // namespace vale
