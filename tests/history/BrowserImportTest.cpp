#include "history/BrowserImport.h"

#include "common/PrivateFiles.h"
#include "support/ScopedVariable.h"
#include "support/TemporaryFolder.h"

#include <gmock/gmock.h>

#include <sqlite3.h>

namespace vale {
namespace {

using testing::HasSubstr;

/// A database as a browser has it open, until the result goes.
std::shared_ptr<sqlite3> open(const std::filesystem::path& file, const std::string& statements) {
  PrivateFiles::makeFolder(file.parent_path());
  sqlite3* database = nullptr;
  EXPECT_EQ(sqlite3_open(file.c_str(), &database), SQLITE_OK);
  EXPECT_EQ(sqlite3_exec(database, statements.c_str(), nullptr, nullptr, nullptr), SQLITE_OK);
  return {database, sqlite3_close};
}

/// What is read, a visit as "url title time transition|", and how it ended or failed.
std::string read(const BrowserProfile& profile, std::atomic<bool>* cancelled = nullptr) try {
  std::string lines;
  const auto take = [&](const std::vector<ImportedVisit>& visits) {
    for (const auto& visit : visits)
      lines += fmt::format("{} {} {} {}|", visit.url, visit.title, iso8601(visit.visitedAt),
                           visit.transition ? rawValue(*visit.transition) : "-");
  };
  const auto end = importBrowserHistory(profile, {.take = take, .cancelled = cancelled});
  return lines + (end == ImportEnd::cancelled ? "cancelled" : "");
} catch (const Error& error) {
  return error.message;
}

TEST(BrowserImport, readsTheProfilesOfOpenBrowsers) {
  const test::TemporaryFolder home, temporary;
  const test::ScopedVariable variable("TMPDIR", temporary.path().string());
  const auto firefox = open(home / ".mozilla/firefox/ab.default/places.sqlite", R"(
      PRAGMA journal_mode=WAL; CREATE TABLE moz_places(id, url, title);
      CREATE TABLE moz_historyvisits(place_id, visit_date, visit_type);
      INSERT INTO moz_places VALUES(1, 'https://a.net/', 'A'), (2, 'https://b.net/', NULL);
      INSERT INTO moz_historyvisits VALUES(2, 1700000002500000, 9), (1, 1700000001000000, 2),
          (1, 1700000003000000, 4), (1, 1700000003000000, 7), (1, NULL, 1); BEGIN EXCLUSIVE)");
  PrivateFiles::write("[X]\nPath=x\n[Profile0]\r\nPath=ab.default\r\n[Profile1]\nPath=gone",
                      home / ".mozilla/firefox/profiles.ini");
  std::string tables = "CREATE TABLE visits(url, visit_time, transition); CREATE TABLE urls(id, url, title);"
                       "INSERT INTO urls VALUES(1, 'https://c.net/', 'C');";
  for (const int kind : {0x30000000, 0x30000001, 2, 3, 4, 5, 7, 8, 6, 0x01000000, 0x10000000})
    tables += fmt::format("INSERT INTO visits VALUES(1, 13344473600000000, {});", kind);
  const auto chrome = open(home / ".config/google-chrome/Profile 1/History", tables);
  const auto profiles = browserProfiles(home.path());
  ASSERT_EQ(profiles.at(0).source + "|" + profiles.at(1).source, "firefox/ab.default|chrome/Profile 1");
  EXPECT_EQ(read(profiles[0]), "https://a.net/ A 2023-11-14T22:13:21Z typed|"
                               "https://b.net/  2023-11-14T22:13:22Z reload|");
  std::string expected;
  for (const auto* transition : {"link", "typed", "typed", "typed", "form", "reload", "-", "backForward"})
    expected += fmt::format("https://c.net/ C 2023-11-14T22:13:20Z {}|", transition);
  EXPECT_EQ(read(profiles[1]), expected);
  std::atomic cancelled = true;
  EXPECT_EQ(read(profiles[0], &cancelled), "cancelled");
  EXPECT_TRUE(std::filesystem::is_empty(temporary.path()));
}

TEST(BrowserImport, saysWhatIsWrongWithAFile) {
  const test::TemporaryFolder folder;
  const auto profile = browserProfileAt(ForeignBrowser::chromium, folder.path());
  EXPECT_THAT(read(profile), HasSubstr("it holds no file “History”"));
  PrivateFiles::write(std::string(5'000, 'x'), profile.file());
  EXPECT_THAT(read(profile), HasSubstr("history of Chromium (file is not a database)"));
  PrivateFiles::write("", profile.file());
  EXPECT_THAT(read(profile), HasSubstr("no such table"));
}

}  // namespace
}  // namespace vale
