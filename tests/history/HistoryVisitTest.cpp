#include "history/HistoryVisit.h"

#include "common/FileDescriptor.h"
#include "common/Sha256.h"
#include "history/LocalCalendar.h"
#include "history/ValeLibrary.h"
#include "support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <fstream>

namespace vale::test {
namespace {

using std::filesystem::perms;

constexpr std::string_view shortest =
    R"({"id":"4C4827C1-4196-4343-BBE7-96F534A20082","visitedAt":"2026-11-22T23:50:00Z",)"
    R"("lastVisitedAt":"2026-11-22T23:50:01Z","visitCount":2,"url":"https://a.org/","title":"","textExcerpt":""})";

TEST(HistoryVisitTest, aLineHasItsKeysInOrderAndIsReadBack) {
  auto visit = decodeVisit(shortest).value();
  EXPECT_EQ(jsonLine(visit), shortest);
  visit.title = "\"\\\n\x7f\u2028é\U0001F600/";
  visit.transition = VisitTransition::backForward;
  visit.tabID = visit.openerTabID = visit.id;
  visit.source = "chrome/Default";
  visit.sensitive = true;
  visit.foregroundSeconds = 9;
  visit.textExcerpt.assign(5'000, '\x01');
  const std::string line = jsonLine(visit);
  EXPECT_EQ(decodeVisit(line), visit);
  const std::string id = visit.id.text();
  EXPECT_TRUE(
      line.contains(R"(,"transition":"backForward","tabID":")" + id + R"(","openerTabID":")" + id +
                    R"(","source":"chrome/Default","sensitive":true,"foregroundSeconds":9,"textExcerpt":")"));
}

TEST(HistoryVisitTest, whatOtherProgramsWroteIsReadWhenItIsAVisit) {
  const auto edited = [](std::string_view from, std::string_view to) {
    std::string line(shortest);
    return line.replace(line.find(from), from.size(), to);
  };
  const std::pair<std::string, bool> cases[] = {
      {edited(R"("title":"")", R"("title":"\ud83d")"), true},
      {edited(R"({"id")", R"( { "other" : [1,{"a":null}] , "\u0069d")"), true},
      {edited(R"("visitCount":2)", R"("sensitive":null,"tabID":null,"visitCount":2.0)"), true},
      {edited("23:50:01Z", "23:50:01.75+00:00"), true},
      {edited("}", "}x"), false},
      {edited(R"({"id")", R"({"other":tru,"id")"), false},
      {edited(R"("title":"",)", ""), false},
      {edited(R"("title":"")", R"("title":null)"), false},
      {edited(R"("title":"")", "\"title\":\"\xff\""), false},
      {edited(R"("title":"")", "\"title\":\"\t\""), false},
      {edited(R"("title":"")", R"("title":"" "a":1)"), false},
      {edited(R"("title":"")", R"("title":"","transition":"flown")"), false},
      {"[" + std::string(shortest) + "]", false},
      {std::string(40, ' '), false}};
  for (const auto& [line, readable] : cases) EXPECT_EQ(decodeVisit(line).has_value(), readable) << line;
}

TEST(LocalCalendarTest, daysOfOddLengthsAndZones) {
  const struct {
    const char *zone, *day, *begin;
    int hours;
  } cases[] = {{"Europe/Vienna", "2026-03-29", "2026-03-28T23:00:00Z", 23},
               {"Europe/Vienna", "2026-10-25", "2026-10-24T22:00:00Z", 25},
               {"Pacific/Kiritimati", "2026-11-22", "2026-11-21T10:00:00Z", 24},
               {"Etc/GMT+12", "2026-11-22", "2026-11-22T12:00:00Z", 24},
               {"GMT-14:00", "2026-11-22", "2026-11-22T14:00:00Z", 24},
               {"America/Sao_Paulo", "2018-11-04", "2018-11-04T03:00:00Z", 23},
               {"Pacific/Apia", "2011-12-30", nullptr, 0}};
  for (const auto& [zone, key, begin, hours] : cases) {
    const auto calendar = LocalCalendar::named(zone).value();
    const auto span = calendar.span(*parseDayKey(key));
    EXPECT_EQ(span.end - span.begin, std::chrono::hours(hours)) << zone << key;
    if (!begin) continue;
    EXPECT_EQ(iso8601(span.begin), begin);
    EXPECT_EQ(dayKey(calendar.day(span.begin)), key);
    EXPECT_NE(dayKey(calendar.day(span.begin - std::chrono::seconds(1))), key);
    EXPECT_NE(dayKey(calendar.day(span.end)), key);
  }
  EXPECT_FALSE(LocalCalendar::named("Europe/Nowhere") || LocalCalendar::named(""));
  for (const auto* key : {"2026-02-29", "2026-1-01", "2026-01-01Z", "x", ""})
    EXPECT_FALSE(parseDayKey(key)) << key;
}

TEST(ValeLibraryTest, theFolderIsPrivateAndItsInstructionsAreWrittenOnce) {
  TemporaryFolder folder;
  const ValeLibrary library{folder / "Library"};
  std::filesystem::create_directories(library.index());
  std::filesystem::permissions(library.index(), perms::all);
  library.prepare();
  const auto mode = [](const std::filesystem::path& path) {
    return std::filesystem::status(path).permissions();
  };
  for (const auto& path : {library.root, library.history(), library.index(), library.dayTimelines()})
    EXPECT_EQ(mode(path), perms::owner_all) << path;
  const auto file = library.root / "AGENTS.md";
  EXPECT_EQ(sha256Hex(readFile(file).value()),
            "454fd2c1d8640d623b47d62e715c915585d40613eeb312eeabf9f390fa814f2f");
  const auto written = std::filesystem::file_time_type::clock::now() - std::chrono::hours(1);
  std::filesystem::last_write_time(file, written);
  std::filesystem::permissions(file, perms::all);
  std::ofstream(library.root / "CLAUDE.md") << "changed";
  library.prepare();
  EXPECT_EQ(std::filesystem::last_write_time(file), written);
  EXPECT_EQ(mode(file), perms::owner_read | perms::owner_write);
  EXPECT_EQ(readFile(library.root / "CLAUDE.md").value(), readFile(file).value());
}

}  // namespace
}  // namespace vale::test
