#include "browser/BrowserSession.h"

#include "common/FileDescriptor.h"
#include "common/PrivateFiles.h"
#include "support/ManualClock.h"
#include "support/TemporaryFolder.h"
#include "support/TestQueues.h"

#include <gmock/gmock.h>

namespace vale::test {
namespace {

using testing::HasSubstr;
using testing::SizeIs;

namespace fs = std::filesystem;

#define FIRST "\"00000000-0000-4000-8000-000000000001\""
#define TAB_OPEN R"({"id":)" FIRST R"(,"url":"https://a.org/","title":"A","pinned":false)"
#define TAB TAB_OPEN "}"
#define BOOKMARK R"({"id":)" FIRST R"(,"title":"B","url":"https://b.org/"})"
#define WINDOW_OPEN R"({"id":)" FIRST R"(,"new":{},"tabs":[)"

struct BrowserSessionTest : testing::Test {
  TemporaryFolder folder;
  fs::path file = folder / "session.json";
  fs::path bookmarkFile = folder / "Library/bookmarks.json";
  TestQueues queues;
  ManualClock clock;
  Preferences preferences{folder / "preferences.json", queues.main, queues.workers, clock};
  std::unique_ptr<BrowserSession> session;
  std::vector<std::optional<std::string>> reports;
  std::string title;
  int snapshots = 0;

  void put(const std::string& content) { PrivateFiles::write(content, file); }
  static std::string text(const fs::path& path) { return readFile(path).value_or("(none)"); }
  void load() {
    session = BrowserSession::load({.supportFolder = folder.path(), .downloadsDirectory = folder.path()},
                                   preferences, {queues.main, queues.workers, clock});
    session->windows = [this] {
      ++snapshots;
      return std::vector{SavedWindow{.tabs = {{.url = "https://c.org/", .title = title}}}};
    };
    session->reportStorageError = [this](auto error) { reports.push_back(std::move(error)); };
  }
  void change(const std::string& newTitle) {
    title = newTitle;
    session->scheduleSave();
  }
};

TEST_F(BrowserSessionTest, aWholeRecordComesBackAndIsWrittenByteForByte) {
  const std::string window =
      R"({"id":)" FIRST R"(,"tabs":[)" TAB_OPEN R"(,"openerID":)" FIRST
      R"(,"createdAt":8.05E8,"lastActivatedAt":1E300}],"selected":)" FIRST R"(,"groups":[{"id":)" FIRST
      R"(,"name":"G","color":"cyan","collapsed":true,"tabIDs":[)" FIRST
      R"(]}],"frame":{"x":1.5E0,"y":-2E0,"width":8E2,"height":6E2},"wallWidth":2.1E2,"wallVisible":false,)"
      R"("tabLayout":"horizontal"})";
  const std::string content = R"({"tabs":[],"bookmarks":[],"folded":[{"id":)" FIRST
                              R"(,"name":"F","summary":"s","foldedAt":0E0,"tabs":[)" TAB "]}],\"windows\":[" +
                              window + "],\"closedWindow\":" + window + "}\n";
  put(content);
  load();
  session->windows = [this] { return session->savedWindows(); };
  session->closedWindow = [this] { return session->savedClosedWindow(); };
  fs::remove(file);
  session->save();
  EXPECT_EQ(text(file), content);
  EXPECT_TRUE(session->takeFolded(session->folded().value()[0].id));
  EXPECT_EQ(session->snapshot().folded, std::nullopt);
}

TEST_F(BrowserSessionTest, whatAFileOfAnyKindRestores) {
  std::string many = TAB;
  for (int i = 1; i < 10'000; ++i) many += "," TAB;  // all of one identity, too
  const auto legacy = [](const std::string& tab) { return R"({"bookmarks":[],"tabs":[)" + tab + "]}"; };
  struct Case {
    std::string content;
    std::vector<std::size_t> tabs;  ///< of each window
    std::string error = "";
  };
  const Case cases[] = {
      {R"({"tabs":[],"bookmarks":[],"windows":[]})", {}},
      {R"({"tabs":[)" TAB R"(],"bookmarks":[],"selected":)" FIRST R"(,"groups":[{"color":"mauve"}]})", {1}},
      {R"({"tabs":[],"bookmarks":[],"windows":[)" WINDOW_OPEN + many + "]}," WINDOW_OPEN "]}]}", {10'000, 0}},
      {legacy(TAB_OPEN R"(,"createdAt":-1e307,"urlChangedAt":9999999999999999999999})"), {1}},
      {"", {}, "not valid JSON"},
      {legacy("") + "{}", {}, "not valid JSON"},
      {legacy(TAB_OPEN R"(,"createdAt":NaN})"), {}, "not valid JSON"},
      {legacy(TAB_OPEN ",\"x\":\"\xC3\x28\"}"), {}, "not valid JSON"},
      {legacy(TAB_OPEN R"(,"createdAt":"today"})"), {}, "The key “tabs[0].createdAt” is not a number."},
      {R"({"tabs":[],"windows":[]})", {}, "The key “bookmarks” is missing."},
      {"[]", {}, "The record is not an object."},
  };
  for (const auto& [content, tabs, error] : cases) {
    SCOPED_TRACE(content.substr(0, 100));
    put(content);
    load();
    std::vector<std::size_t> found;
    for (const auto& window : session->savedWindows()) found.push_back(window.tabs.size());
    EXPECT_EQ(found, tabs);
    EXPECT_THAT(session->readError().value_or(""), HasSubstr(error));
    change("new");
    clock.advance(Seconds(1));
    session->save();
    EXPECT_EQ(text(file) == content, !error.empty());
  }
  put(cases[1].content);
  load();
  EXPECT_EQ(session->savedWindows()[0].selected, session->savedWindows()[0].tabs[0].id);
  EXPECT_EQ(session->savedWindows()[0].groups->front().name, defaultGroupName);
  fs::remove(file);
  load();
  EXPECT_EQ(session->readError(), std::nullopt);
  EXPECT_THAT(session->savedWindows(), SizeIs(0));
  fs::create_directory(file);
  load();
  const std::string preserved = "Could not restore the session. The original file is preserved. ";
  EXPECT_EQ(*session->readError(), preserved + "Could not read “" + file.native() + "”: Is a directory.");
}

TEST_F(BrowserSessionTest, tenChangesAreOneWriteAfterTheLast) {
  load();
  for (int i = 0; i < 10; ++i, clock.advance(Seconds(0.01))) change(std::to_string(i));
  clock.advance(Seconds(0.189));
  EXPECT_EQ(snapshots, 0);
  clock.advance(Seconds(0.002));
  queues.runUntil([&] { return !reports.empty(); });
  EXPECT_THAT(text(file), HasSubstr(R"("title":"9")"));
  clock.advance(Seconds(10));
  EXPECT_EQ(snapshots, 1);
}

TEST_F(BrowserSessionTest, aFailedWriteIsReportedUntilOneSucceedsAndOlderReportsAreDropped) {
  load();
  PrivateFiles::write("mine", folder / "elsewhere");
  fs::create_symlink(folder / "elsewhere", file);
  session->save();
  EXPECT_EQ(text(folder / "elsewhere"), "mine");
  EXPECT_TRUE(fs::is_regular_file(fs::symlink_status(file)));

  fs::remove(file);
  fs::create_directory(file);
  change("two");
  clock.advance(BrowserSession::writeDelay);
  queues.runUntil([&] { return reports.size() == 2; });
  EXPECT_EQ(*reports.back(), "Could not write “" + file.native() + "”: Is a directory.");
  change("three");
  clock.advance(BrowserSession::writeDelay);  // fails, and is older than the next change when it is heard of
  change("four");
  session->save();
  fs::remove(file);
  session->save();
  queues.context.restart();
  queues.context.poll();
  EXPECT_THAT(reports, SizeIs(4));
  EXPECT_EQ(reports.back(), std::nullopt);
  EXPECT_THAT(text(file), HasSubstr("four"));
}

TEST_F(BrowserSessionTest, bookmarksMoveToTheirFileAndABrokenOneIsKept) {
  const std::string collection = R"({"bookmarks":[)" BOOKMARK "]";
  put(collection + R"(,"tabs":[]})");
  load();
  EXPECT_EQ(text(bookmarkFile), collection + "}\n");
  session->save();
  EXPECT_THAT(text(file), HasSubstr(R"("bookmarks":[])"));

  const auto loadAndChange = [&] {
    put(collection + R"(,"tabs":[]})");
    load();
    session->setBookmarks(session->bookmarks().value(), {"a/b"});
    session->save();
    EXPECT_THAT(text(file), HasSubstr(BOOKMARK));
  };
  for (const std::string broken : {"", "{}", R"({"bookmarks":[{"id":1}]})"}) {
    PrivateFiles::write(broken, bookmarkFile);
    loadAndChange();
    EXPECT_EQ(text(bookmarkFile), broken);
  }
  fs::remove_all(folder / "Library");
  PrivateFiles::write("a file where the folder should be", folder / "Library");
  loadAndChange();
  EXPECT_THAT(*reports.back(), HasSubstr("Library/bookmarks.json”: Not a directory."));
  fs::remove(folder / "Library");
  session->save();
  EXPECT_EQ(text(bookmarkFile), collection + ",\"folders\":[\"a/b\"]}\n");
  EXPECT_THAT(text(file), HasSubstr(R"("bookmarks":[])"));
}

}  // namespace
}  // namespace vale::test
