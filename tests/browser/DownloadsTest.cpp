#include "browser/Downloads.h"

#include "browser/AutomaticDownloads.h"
#include "browser/DownloadSpeed.h"
#include "browser/DownloadWords.h"
#include "browser/DownloadedFile.h"
#include "browser/PartialFile.h"
#include "common/FileDescriptor.h"
#include "common/Preferences.h"
#include "common/PrivateFiles.h"
#include "support/ManualClock.h"
#include "support/TemporaryFolder.h"
#include "support/TestQueues.h"

#include <gmock/gmock.h>

#include <fstream>
#include <sys/stat.h>
#include <sys/xattr.h>

namespace vale::test {
namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::HasSubstr;

struct DownloadsTest : testing::Test {
  TemporaryFolder folder;
  fs::path place = folder / "place";
  TestQueues queues;
  ManualClock clock;
  Surroundings surroundings{queues.main, queues.workers, clock};
  Preferences preferences{folder / "preferences.json", queues.main, queues.workers, clock};
  Downloads downloads{place, preferences, folder / "downloads.json", surroundings};

  static void write(const fs::path& path, const std::string& text) { std::ofstream(path) << text; }
  std::vector<std::string> names() const {
    std::vector<std::string> found;
    for (const auto& entry : fs::directory_iterator(place)) found.push_back(entry.path().filename());
    std::ranges::sort(found);
    return found;
  }
  Download begun(const std::function<void(Downloads::Begun)>& begin) {
    std::optional<Download> download;
    begin([&](const auto& result) { download = result.value(); });
    queues.runUntil([&] { return download.has_value(); });
    return *download;
  }
  Download begin(const std::string& name) {
    return begun(
        [&](auto done) { downloads.begin("https://a.org/" + name, name, DownloadMemory::lasting, done); });
  }
  Download ended(const Uuid& id) {
    const auto find = [&] { return *std::ranges::find(downloads.downloads().value(), id, &Download::id); };
    queues.runUntil([&] { return find().hasEnded(); });
    return find();
  }
};

TEST_F(DownloadsTest, aFileComesToItsNameWhenItIsWholeAndNothingIsOverwritten) {
  const auto first = begin("a.txt");
  const auto partial = Downloads::partialFile(first);
  struct stat status = {};
  ASSERT_EQ(lstat(partial.parent_path().c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0700u);
  EXPECT_EQ(partial.parent_path().parent_path(), place);
  EXPECT_TRUE(partial.parent_path().filename().native().starts_with("."));
  EXPECT_FALSE(fs::exists(first.destination));
  write(partial, "whole");
  setxattr(partial.c_str(), "user.xdg.origin.url", "secret", 6, 0);
  // What comes to the name meanwhile, even a link to nowhere, is left as it is.
  write(folder / "other", "untouched");
  fs::create_symlink(folder / "other", place / "a.txt");
  fs::create_symlink("nowhere", place / "a (1).txt");
  downloads.complete(first.id);
  EXPECT_EQ(ended(first.id).state, DownloadState::finished);
  EXPECT_EQ(ended(first.id).destination, place / "a (2).txt");
  EXPECT_EQ(readFile(place / "a (2).txt").value(), "whole");
  EXPECT_EQ(getxattr((place / "a (2).txt").c_str(), "user.xdg.origin.url", nullptr, 0), -1);
  EXPECT_EQ(readFile(folder / "other").value(), "untouched");
  EXPECT_THAT(names(), ElementsAre("a (1).txt", "a (2).txt", "a.txt"));
}

TEST_F(DownloadsTest, aPlaceThatTheUserChoseIsReplacedOnlyByTheWholeFile) {
  fs::create_directory(place);
  write(place / "b", "old");
  const auto beginAt = [&] {
    return begun(
        [&](auto done) { downloads.beginAt("https://a.org/b", place / "b", DownloadMemory::thisRun, done); });
  };
  const auto cancelled = beginAt();
  write(Downloads::partialFile(cancelled), "half");
  downloads.setState(cancelled.id, DownloadState::cancelled);
  downloads.complete(cancelled.id);
  downloads.save();
  EXPECT_EQ(readFile(place / "b").value(), "old");
  const auto whole = beginAt();
  write(Downloads::partialFile(whole), "new");
  downloads.complete(whole.id);
  EXPECT_EQ(ended(whole.id).state, DownloadState::finished);
  EXPECT_EQ(readFile(place / "b").value(), "new");
  EXPECT_THAT(names(), ElementsAre("b"));
}

TEST_F(DownloadsTest, whatCannotBeSavedHasFailedWithASentenceAndStaysInTheList) {
  const auto link = begin("link"), none = begin("none");
  fs::create_symlink("/etc/passwd", Downloads::partialFile(link));
  for (const auto& one : {link, none}) {
    downloads.complete(one.id);
    EXPECT_THAT(ended(one.id).error.value(), HasSubstr("Could not save “" + one.destination.native()));
  }
  EXPECT_THAT(names(), ElementsAre());
  std::optional<std::string> error;
  downloads.beginAt("https://a.org/", folder / "missing" / "x", DownloadMemory::lasting,
                    [&](const auto& result) { error = result.error(); });
  queues.runUntil([&] { return error.has_value(); });
  EXPECT_THAT(*error, HasSubstr("Could not write in the folder “"));
  EXPECT_EQ(downloads.downloads().value().back().error, error);
}

TEST_F(DownloadsTest, whatACrashLeftIsRemovedAndNothingElse) {
  const auto running = begin("running");
  write(Downloads::partialFile(running), "half");
  const auto left = PartialFile::file(place, Uuid::random());
  const auto users = PartialFile::file(place, Uuid::random()).parent_path();
  fs::create_directory(left.parent_path());
  fs::create_directory(users);
  write(left, "x");
  write(left.native() + ".wkdownload", "x");
  write(users / "letter", "mine");
  fs::create_symlink(users, place / (".vale-" + Uuid::random().text() + ".part"));
  fs::create_directory(place / ".vale-x.part");
  const auto before = names().size();
  downloads.removeLeftovers();
  downloads.save();
  EXPECT_EQ(names().size(), before - 1);
  EXPECT_FALSE(fs::exists(left.parent_path()));
  EXPECT_TRUE(fs::exists(users / "letter"));
  EXPECT_TRUE(fs::exists(Downloads::partialFile(running)));
}

TEST_F(DownloadsTest, theFolderOfTheSettingsCountsFromTheNextDownloadOn) {
  Downloads own({}, preferences, folder / "own.json", surroundings);
  for (const std::string name : {"one", "two"}) {
    preferences.set(Downloads::directoryKey, json::value((folder / name).c_str()));
    EXPECT_EQ(own.directory(), folder / name);
  }
}

TEST_F(DownloadsTest, programsAreToldFromDocumentsByNameAndByContent) {
  using enum DownloadedFile;
  const std::pair<std::string, std::string> programs[] = {{"a.DESKTOP", ""},
                                                          {"b.pdf", "#!/bin/sh"},
                                                          {"c", "\x7F"
                                                                "ELF"},
                                                          {"d.txt", "# x\n[Desktop Entry]\nExec=x"},
                                                          {"e.pdf.sh", "x"},
                                                          {"f.AppImage", "x"},
                                                          {"g.png", "MZ\x90"}};
  fs::create_directory(place);
  for (const auto& [name, text] : programs) {
    write(place / name, text);
    EXPECT_EQ(downloadedFile(place / name), program) << name;
  }
  write(place / "h.pdf", "%PDF-1.7");
  EXPECT_EQ(downloadedFile(place / "h.pdf"), document);
  write(place / "empty", "");
  EXPECT_EQ(downloadedFile(place / "empty"), document);
  fs::create_symlink("h.pdf", place / "i.pdf");
  EXPECT_EQ(downloadedFile(place / "i.pdf"), program);
  EXPECT_EQ(downloadedFile(place), program);
  EXPECT_EQ(downloadedFile(place / "none"), missing);
}

TEST(AutomaticDownloadsTest, oneForEachActAndTheOthersAreAskedAbout) {
  using enum AutomaticDownloads::Answer;
  AutomaticDownloads page;
  page.noteSite("https://a.org");
  EXPECT_EQ(page.request(), goAhead);
  EXPECT_EQ(page.request(), ask);
  page.noteUserAct();
  page.noteUserAct();
  EXPECT_EQ(page.request(), goAhead);
  EXPECT_EQ(page.request(), ask);
  page.refuse();
  EXPECT_EQ(page.request(), refused);
  page.noteUserAct();
  EXPECT_EQ(page.request(), goAhead);
  page.allow();
  page.noteSite("https://a.org");
  EXPECT_EQ(page.request(), goAhead);
  EXPECT_EQ(page.request(), goAhead);
  page.noteSite("https://b.org");
  EXPECT_EQ(page.request(), ask);
}

TEST(DownloadWordsTest, sizesTimesAndSpeedsReadAsAPersonSaysThem) {
  const std::pair<std::int64_t, std::string> sizes[] = {
      {-1, "0 bytes"},       {1, "1 byte"},       {999, "999 bytes"},        {1000, "1.0 kB"},
      {999'949, "999.9 kB"}, {999'950, "1.0 MB"}, {1'500'000'000, "1.5 GB"}, {INT64_MAX, "9.2 EB"}};
  for (const auto& [bytes, text] : sizes) EXPECT_EQ(sizeText(bytes), text);
  const std::pair<double, std::string> times[] = {
      {0, "1 second"},
      {59, "59 seconds"},
      {59.5, "1 minute"},
      {61, "2 minutes"},
      {3600, "1 hour"},
      {2 * 3600 + 1, "2 hours 1 minute"},
      {86'400, "more than a day"},
      {1e300, "more than a day"},
      {std::numeric_limits<double>::quiet_NaN(), "more than a day"}};
  for (const auto& [seconds, text] : times) EXPECT_EQ(durationText(seconds), text);

  Download download{.url = "https://u:p@a.org:8080/x?y", .bytesReceived = 1500};
  EXPECT_EQ(downloadStatus(download, {}), "1.5 kB");
  EXPECT_EQ(downloadStatus(download, 500), "1.5 kB — 500 bytes/s");
  download.bytesExpected = 4500;
  EXPECT_EQ(downloadStatus(download, 500), "1.5 kB of 4.5 kB — 500 bytes/s, 6 seconds left");
  EXPECT_EQ(downloadStatus(download, 0), "1.5 kB of 4.5 kB — nothing arrives at the moment");
  EXPECT_DOUBLE_EQ(downloadedFraction(download).value(), 1.0 / 3);
  auto more = download;
  more.bytesReceived = 99'999;  // more than was said
  EXPECT_EQ(downloadStatus(more, 500), "100.0 kB of 4.5 kB — 500 bytes/s");
  EXPECT_DOUBLE_EQ(downloadedFraction(std::vector{download, more}).value(), 2.0 / 3);
  more.bytesExpected.reset();
  EXPECT_FALSE(downloadedFraction(std::vector{download, more}));
  more.state = DownloadState::finished;
  EXPECT_TRUE(downloadedFraction(std::vector{download, more}));
  EXPECT_EQ(downloadStatus(more, {}), "100.0 kB — a.org");

  EXPECT_EQ(failedDownload(DownloadFailure::disk, "Error: " + std::generic_category().message(ENOSPC)),
            "There is no room left on the disk, so the file was not saved. Make some and try again.");
  EXPECT_EQ(failedDownload(DownloadFailure::disk, "It is\nwrite-protected."),
            "The file could not be written: It is write-protected.");

  for (const auto& [address, name] : std::vector<std::pair<std::string, std::string>>{
           {"https://a.org/x/r%C3%A9sum%C3%A9.pdf?q#f", "résumé.pdf"},
           {"https://a.org", "download"},
           {"https://a.org/%2e%2e%2fx%00y%", "x y%"},
           {"data:text/plain,a/b", "download"}}) {
    EXPECT_EQ(nameInAddress(address), name);
  }
}

TEST(DownloadSpeedTest, theRateIsThatOfTheLastSeconds) {
  const auto at = [](double seconds) { return Date() + Seconds(seconds); };
  DownloadSpeed speed;
  EXPECT_FALSE(speed.rate());
  speed.note(at(0), 0);
  speed.note(at(0.5), 1'000'000);
  EXPECT_FALSE(speed.rate());
  for (int second = 1; second <= 20; ++second) speed.note(at(second), 1'000'000 + 100 * second);
  EXPECT_DOUBLE_EQ(speed.rate().value(), 100);
  speed.note(at(40), 1'002'000);
  EXPECT_LT(speed.rate().value(), 1);
  speed.note(at(41), 0);
  EXPECT_FALSE(speed.rate());
}

}  // namespace
}  // namespace vale::test
