#include "history/HistoryArchive.h"

#include "common/FileDescriptor.h"
#include "common/Text.h"
#include "history/HistoryStore.h"
#include "support/TemporaryFolder.h"
#include "support/TestQueues.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <fstream>
#include <sys/resource.h>
#include <thread>

namespace vale::test {
namespace {

using std::chrono::seconds;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

constexpr std::string_view page = "https://example.org/a";

Date at(std::string_view time) { return parseISO8601(time).value(); }

class HistoryArchiveTest : public testing::Test {
 protected:
  TemporaryFolder folder;
  ValeLibrary library{folder / "Library"};
  HistoryArchive archive{library};

  std::filesystem::path file(std::string_view name) const { return library.history() / name; }
  std::string bytes(std::string_view name) const { return readFile(file(name)).value_or("(no file)"); }
  void write(const std::filesystem::path& path, std::string_view text) const {
    std::filesystem::create_directories(path.parent_path());
    std::ofstream(path) << text;
  }
  HistoryVisit open(std::string_view time, std::string_view url = page, PageOpening more = {}) {
    more.url = url;
    more.visitedAt = at(time);
    return archive.append(more);
  }
};

std::string line(std::string_view time, std::string_view url = page, Uuid id = Uuid::random()) {
  const auto when = std::chrono::floor<seconds>(at(time));
  return jsonLine({.id = id, .visitedAt = when, .lastVisitedAt = when, .url = std::string(url)}) + "\n";
}

template <typename Work> std::string messageOf(Work work) {
  try {
    work();
  } catch (const Error& error) {
    return error.message;
  }
  return "(no error)";
}

TEST_F(HistoryArchiveTest, opensWithinHalfAnHourAreOneLineUnlessOneIsByAnAgent) {
  constexpr auto agent = VisitTransition::agent;
  constexpr auto link = VisitTransition::link;
  using Way = std::optional<VisitTransition>;
  const struct {
    seconds later;
    Way first, second;
    bool folds;
  } cases[] = {{seconds(1800), {}, link, true},   {seconds(1801), {}, {}, false},
               {seconds(-1800), {}, {}, true},    {seconds(-1801), {}, {}, false},
               {seconds(60), agent, link, false}, {seconds(60), {}, agent, false},
               {seconds(60), agent, agent, true}, {seconds(60), link, VisitTransition::restored, true}};
  for (std::size_t i = 0; i < std::size(cases); ++i) {
    const auto& [later, first, second, folds] = cases[i];
    const std::string url = "https://example.org/" + std::to_string(i);
    const Date start = at("2026-11-22T12:00:00Z");
    const auto made = archive.append({.url = url, .visitedAt = start, .transition = first});
    const auto next =
        archive.append({.url = url + "/#top", .visitedAt = start + later, .transition = second});
    EXPECT_EQ(next.visitCount, folds ? 2 : 1) << i;
    EXPECT_EQ(next.id == made.id, folds) << i;
    EXPECT_EQ(next.url, folds ? url : url + "/#top") << i;
    EXPECT_EQ(next.lastVisitedAt, folds ? std::max(made.visitedAt, made.visitedAt + later) : next.visitedAt);
  }
}

TEST_F(HistoryArchiveTest, aRevisitSoonAfterMidnightFoldsIntoTheDayBefore) {
  open("2026-11-22T23:50:00Z");
  EXPECT_EQ(open("2026-11-23T00:10:00Z").visitCount, 2);
  EXPECT_THAT(archive.archiveNames(), ElementsAre("2026-11-22.jsonl"));
}

TEST_F(HistoryArchiveTest, aFoldedOpenReplacesWhatItHasAndSensitiveStaysSensitive) {
  open("2026-11-22T12:00:00.9Z", page, {.title = "One", .text = std::string("a\0b", 3)});
  auto folded = open("2026-11-22T12:01:00Z");
  EXPECT_EQ(folded.title, "One");
  EXPECT_EQ(folded.textExcerpt, "ab");
  folded = open("2026-11-22T12:02:00Z", page, {.title = "Two", .sensitive = true});
  EXPECT_EQ(folded.title, "Two");
  EXPECT_TRUE(folded.sensitive);
  EXPECT_EQ(open("2026-11-22T12:03:00Z", page, {.text = "secret"}).textExcerpt, "");
  EXPECT_EQ(HistoryArchive(library).records("2026-11-22.jsonl").at(0).visitCount, 4);
}

TEST_F(HistoryArchiveTest, whatIsTooLongIsCutByCharactersAndOnlyWebPagesAreKept) {
  std::string text;
  for (int i = 0; i < 9'000; ++i) text += "\u0065\u0301";
  const auto visit = open("2026-11-22T12:00:00Z", page, {.title = text, .text = "\0" + text});
  EXPECT_EQ(characterCount(visit.textExcerpt), 8'000u);
  EXPECT_EQ(characterCount(visit.title), 1'000u);
  for (const auto* url : {"mailto:a@b.org", "file:///etc/passwd", "https://", "", "about:blank"}) {
    EXPECT_EQ(messageOf([&] { open("2026-11-22T12:00:00Z", url); }),
              "Only HTTP and HTTPS pages can be saved to browsing history.");
  }
}

TEST_F(HistoryArchiveTest, aCorruptLineIsNamedAndTheFileKeptWhileOthersAreWorkedOn) {
  const auto id = Uuid::random();
  const std::string broken =
      line("2026-11-22T10:00:00Z") + "\r\n" + line("2026-11-22T11:00:00Z", page, id) + "{\"id\":\n";
  const std::string sentence = "History archive 2026-11-22.jsonl, record 3, could not be read. The original "
                               "file has been preserved.";
  write(file("2026-11-22.jsonl"), broken);
  write(file("2026-11-23.jsonl"), line("2026-11-23T10:00:00Z"));
  const auto utc = LocalCalendar::utc();
  EXPECT_EQ(messageOf([&] { open("2026-11-22T12:00:00Z"); }), sentence);
  EXPECT_EQ(messageOf([&] { archive.addForeground({{id, {at("2026-11-22T11:00:00Z"), 5}}}); }), sentence);
  EXPECT_EQ(messageOf([&] { archive.markSensitive("https://example.org", {}, {}); }), sentence);
  const auto removal = archive.removeVisitsOfSite("EXAMPLE.org");
  EXPECT_THAT(removal.problems, ElementsAre(sentence));
  EXPECT_EQ(removal.visits, 1);
  EXPECT_EQ(bytes("2026-11-22.jsonl"), broken);
  EXPECT_THAT(archive.archiveNames(), ElementsAre("2026-11-22.jsonl"));
  EXPECT_EQ(archive.removeVisitsBefore(at("2026-11-23T00:00:00Z"), utc).ids.count(id), 1u);
  for (const auto* name : {"../2026-11-22.jsonl", "2026-11-22.json", ".jsonl", ""}) {
    EXPECT_EQ(messageOf([&] { archive.records(name); }), "The requested history archive is invalid.");
  }
}

TEST_F(HistoryArchiveTest, whatOtherProgramsDoToAnArchiveIsSeen) {
  open("2026-11-22T12:00:00Z");
  const std::string foreign = line("2026-11-22T13:00:00Z", "https://b.org");
  std::ofstream(file("2026-11-22.jsonl"), std::ios::app) << foreign.substr(0, foreign.size() - 1);
  EXPECT_EQ(open("2026-11-22T13:10:00Z", "https://c.org").visitCount, 1);
  EXPECT_EQ(open("2026-11-22T13:20:00Z", "https://b.org").visitCount, 2);
  EXPECT_THAT(archive.records("2026-11-22.jsonl"), SizeIs(3));
  std::filesystem::remove(file("2026-11-22.jsonl"));
  EXPECT_EQ(open("2026-11-22T13:21:00Z", "https://b.org").visitCount, 1);
  std::filesystem::remove_all(library.root);
  EXPECT_EQ(open("2026-11-22T13:22:00Z", "https://b.org").visitCount, 1);
}

TEST_F(HistoryArchiveTest, twoThatAppendAtOnceLoseNothing) {
  const auto record = [this](int who) {
    HistoryArchive own{library};
    const std::string mine = "https://" + std::to_string(who) + ".org/";
    for (int i = 0; i < 60; ++i) {
      // Every third is a line of its own; the others are folded and so rewrite the file.
      own.append({.url = mine + std::to_string(i / 3), .visitedAt = at("2026-11-22T12:00:00Z") + seconds(i)});
    }
  };
  std::thread other(record, 1);
  record(2);
  other.join();
  std::int64_t opens = 0;
  for (const auto& visit : archive.records("2026-11-22.jsonl")) opens += visit.visitCount;
  EXPECT_EQ(opens, 120);
  EXPECT_THAT(archive.records("2026-11-22.jsonl"), SizeIs(40));
}

TEST_F(HistoryArchiveTest, aFullDiskLeavesNoPartOfALine) {
  open("2026-11-22T12:00:00Z");
  const std::string before = bytes("2026-11-22.jsonl");
  const auto handler = std::signal(SIGXFSZ, SIG_IGN);
  rlimit usual{};
  getrlimit(RLIMIT_FSIZE, &usual);
  const rlimit full{before.size() + 50, usual.rlim_max};
  setrlimit(RLIMIT_FSIZE, &full);
  const auto message = messageOf([&] { open("2026-11-22T12:00:01Z", "https://b.org"); });
  setrlimit(RLIMIT_FSIZE, &usual);
  std::signal(SIGXFSZ, handler);
  EXPECT_THAT(message, testing::HasSubstr("File too large"));
  EXPECT_EQ(bytes("2026-11-22.jsonl"), before);
  open("2026-11-22T12:00:02Z", "https://b.org");
  EXPECT_THAT(archive.records("2026-11-22.jsonl"), SizeIs(2));
}

TEST_F(HistoryArchiveTest, anArchiveThatIsALinkIsReadAndNothingElse) {
  const std::string elsewhere = line("2026-11-22T12:00:00Z");
  write(folder / "elsewhere", elsewhere);
  library.prepare();
  std::filesystem::create_symlink(folder / "elsewhere", file("2026-11-22.jsonl"));
  EXPECT_THAT(archive.records("2026-11-22.jsonl"), SizeIs(1));
  for (const auto* url : {page.data(), "https://b.org"}) {
    EXPECT_THAT(messageOf([&] { open("2026-11-22T12:01:00Z", url); }), testing::HasSubstr("symbolic link"));
  }
  EXPECT_THAT(archive.removeAll().problems, SizeIs(1));
  EXPECT_EQ(readFile(folder / "elsewhere").value(), elsewhere);
}

TEST_F(HistoryArchiveTest, anImportIsMergedByTimeAndOnce) {
  open("2026-11-22T12:00:00Z");
  const std::vector<ImportedVisit> visits = {{"https://c.org", "C", at("2026-11-22T13:00:00Z"), {}},
                                             {"https://b.org", "B", at("2026-11-22T01:00:00Z"), {}},
                                             {"https://b.org", "B", at("2026-11-22T01:00:00Z"), {}},
                                             {std::string(page), "", at("2026-11-22T12:00:00Z"), {}},
                                             {"chrome://x", "", at("2026-11-22T12:00:00Z"), {}},
                                             {"https://b.org", "B", at("2026-11-21T23:30:00Z"), {}}};
  const auto vienna = LocalCalendar::named("Europe/Vienna").value();
  const auto batch = archive.importVisits(visits, "chrome/Default", vienna);
  EXPECT_THAT((std::array{batch.added, batch.duplicates, batch.skipped, batch.filesTouched}),
              ElementsAre(3, 2, 1, 2));
  EXPECT_THAT(batch.days, SizeIs(1));
  EXPECT_EQ(archive.importVisits(visits, "chrome/Default", vienna).added, 0);
  const auto stored = archive.records("2026-11-22.jsonl");
  ASSERT_THAT(stored, SizeIs(3));
  EXPECT_EQ(stored[0].url + stored[1].url + stored[2].url,
            "https://b.org" + std::string(page) + "https://c.org");
  EXPECT_EQ(stored[0].source, "chrome/Default");
}

TEST_F(HistoryArchiveTest, removalsReachWhatTheySayAndCanBeUndone) {
  const char* const times[] = {"2026-11-21T10:00:00Z", "2026-11-22T10:00:00Z", "2026-11-22T23:30:00Z",
                               "2026-11-23T10:00:00Z", "2026-11-24T10:00:00Z"};
  std::vector<HistoryVisit> all;
  for (const auto* time : times) all.push_back(open(time, time == times[1] ? "https://www.B.org/" : page));
  write(file("2026-13-45.jsonl"), "not ours");
  const auto vienna = LocalCalendar::named("Europe/Vienna").value();
  const auto removed = [&](const HistoryRemoval& removal) {
    EXPECT_THAT(removal.problems, IsEmpty());
    EXPECT_EQ(std::size_t(removal.visits), removal.ids.size());
    std::string which;
    for (std::size_t i = 0; i < all.size(); ++i)
      which += removal.ids.contains(all[i].id) ? char('0' + i) : '-';
    EXPECT_EQ(archive.restoreVisits(all), removal.visits);
    EXPECT_EQ(archive.restoreVisits(all), 0);
    return which;
  };
  EXPECT_EQ(removed(archive.removeVisitsSince(at("2026-11-22T23:30:00Z"), vienna)), "--234");
  EXPECT_EQ(removed(archive.removeVisitsSince(at("2026-11-22T23:30:00.5Z"), vienna)), "---34");
  EXPECT_EQ(removed(archive.removeVisitsBefore(at("2026-11-22T23:30:00Z"), vienna)), "01---");
  EXPECT_EQ(removed(archive.removeDay(*parseDayKey("2026-11-23"), vienna)), "--23-");
  EXPECT_EQ(removed(archive.removeVisitsOfSite("b.ORG")), "-1---");
  EXPECT_EQ(removed(archive.removeVisitsOfAddress(page).removal), "0-234");
  EXPECT_EQ(removed(archive.removeAll()), "01234");
  EXPECT_EQ(bytes("2026-13-45.jsonl"), "not ours");
  EXPECT_THAT(archive.visits(*parseDayKey("2026-11-23"), vienna), ElementsAre(all[2], all[3]));
  EXPECT_THAT(archive.storedDays(vienna), SizeIs(4));
  open("2026-11-24T22:59:00Z", "https://new.org");
  EXPECT_EQ(archive.storedDays(vienna).back().visitCount, 2);
  EXPECT_EQ(archive.visitsWithIDs({all[0].id, all[4].id, Uuid()}).size(), 2u);
}

TEST_F(HistoryArchiveTest, timelinesLoseWhatIsRemovedAndKeepEverythingElse) {
  const auto one = open("2026-11-22T10:00:00Z").id.text();
  const auto two = open("2026-11-22T11:00:00Z", "https://b.org").id.text();
  const auto timeline = [](const std::string& ids, const std::string& rest) {
    return R"({"day":"x","timeZone":"Asia/Tokyo","mood":[1],"episodes":[{"title":"A","visitIDs":[)" + ids +
           "]}" + rest + "]}\n";
  };
  const auto path = [&](const char* name) { return library.dayTimelines() / name; };
  const std::string only = R"(,{"title":"B","visitIDs":[")" + one + "\"]}";
  write(path("2026-11-22.json"), timeline("\"" + one + "\",\"" + two + "\"", only));
  write(path("2026-11-23.json"), timeline("\"" + one + "\"", ""));
  write(path("2026-11-24.json"), "broken");
  write(path("absurd.json"), timeline("\"" + one + "\"", ""));
  const auto removal = archive.removeVisitsOfAddress(page).removal;
  EXPECT_EQ(removal.timelines, 2);
  EXPECT_THAT(removal.problems, SizeIs(1));
  EXPECT_EQ(readFile(path("2026-11-22.json")).value(), timeline("\"" + two + "\"", ""));
  EXPECT_FALSE(std::filesystem::exists(path("2026-11-23.json")));
  // Its day, in Tokyo, ends with 15 hours of UTC.
  archive.removeVisitsBefore(at("2026-11-22T14:59:59Z"), LocalCalendar::utc());
  EXPECT_FALSE(std::filesystem::exists(path("2026-11-22.json")));
  EXPECT_EQ(archive.removeAll().timelines, 1);
  EXPECT_TRUE(std::filesystem::exists(path("absurd.json")));
}

TEST_F(HistoryArchiveTest, secondsAndMarksGoToTheLinesMeant) {
  const auto visit = open("2026-11-22T23:59:00Z", page, {.text = "secret"});
  open("2026-11-23T00:20:00Z");
  open("2026-11-22T12:00:00Z", "https://example.org:444/a", {.text = "other origin"});
  EXPECT_EQ(archive.addForeground({{visit.id, {visit.visitedAt, 3}}}).at(0).foregroundSeconds, 3);
  EXPECT_EQ(archive.addForeground({{visit.id, {visit.visitedAt, 4}}}).at(0).foregroundSeconds, 7);
  const auto mark = [&](const char* since) {
    return archive.markSensitive("HTTPS://Example.org/", at(since), {});
  };
  EXPECT_THAT(mark("2026-11-23T00:20:01Z"), IsEmpty());
  EXPECT_THAT(mark("2026-11-23T00:20:00Z"), SizeIs(1));
  EXPECT_THAT(mark("2026-11-23T00:20:00Z"), IsEmpty());
  EXPECT_EQ(archive.records("2026-11-22.jsonl").at(0).textExcerpt, "");
}

TEST_F(HistoryArchiveTest, theStoreAnswersOnTheCallersThread) {
  TestQueues queues;
  HistoryStore store(library, queues.workers);
  const auto visit =
      queues.run(store.append({.url = std::string(page), .visitedAt = at("2026-11-22T12:00:00Z")}));
  EXPECT_THAT(queues.run(store.records("2026-11-22.jsonl")), ElementsAre(visit));
  EXPECT_THROW(queues.run(store.records("x")), HistoryStoreError);
}

}  // namespace
}  // namespace vale::test
