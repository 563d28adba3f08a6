#include "browser/DownloadDestination.h"
#include "browser/Downloads.h"
#include "browser/Favicons.h"
#include "browser/SitePermissions.h"
#include "common/FileDescriptor.h"
#include "common/Preferences.h"
#include "common/PrivateFiles.h"
#include "support/ManualClock.h"
#include "support/TemporaryFolder.h"
#include "support/TestQueues.h"

#include <gmock/gmock.h>

#include <fstream>

namespace vale::test {
namespace {

using testing::HasSubstr;
using enum PermissionKind;
using enum PermissionDecision;

struct StoresTest : testing::Test {
  TemporaryFolder folder;
  std::filesystem::path file = folder / "a.json";
  std::filesystem::path place = folder / "place";
  TestQueues queues;
  ManualClock clock;
  Surroundings surroundings{queues.main, queues.workers, clock};
  Preferences preferences{folder / "preferences.json", queues.main, queues.workers, clock};

  static PageIcon icon(const std::string& content) {
    return std::make_shared<const std::string>("\x89PNG\r\n\x1a\n" + content);
  }
  std::string load(Favicons& favicons, const std::string& address) {
    std::optional<PageIcon> found;
    favicons.load(address, [&](PageIcon loaded) { found = std::move(loaded); });
    EXPECT_FALSE(found);
    queues.runUntil([&] { return found.has_value(); });
    return *found ? (*found)->substr(8) : "none";
  }
  std::expected<Download, std::string> begin(Downloads& downloads, const std::string& name,
                                             DownloadMemory memory = DownloadMemory::lasting) {
    std::optional<std::expected<Download, std::string>> started;
    downloads.begin("https://a.org/" + name, name, memory, [&](auto result) { started = std::move(result); });
    queues.runUntil([&] { return started.has_value(); });
    return *started;
  }
};

TEST_F(StoresTest, permissionsHoldForAnOriginAndAPrivateStoreTellsNobody) {
  const std::string unknown = R"({"origin":"https://x.org","kind":"smell","decision":"allow"})";
  PrivateFiles::write(R"({"permissions":[)" + unknown + "]}", file);
  const auto store = std::make_shared<SitePermissions>(file, surroundings);
  for (const auto decision : {allow, deny}) store->decide("https://a.org:443/path?q", camera, decision);
  store->decide("https://a.org:8443/", camera, allow);
  store->decide("file:///etc", camera, allow);
  const auto inPrivate = SitePermissions::withParent(store);
  inPrivate->decide("https://a.org:8443/", camera, ask);
  inPrivate->decide("https://b.org", location, allow);
  EXPECT_EQ(inPrivate->decision("https://a.org/", camera), deny);
  EXPECT_EQ(inPrivate->decision("https://a.org:8443", camera), ask);
  EXPECT_EQ(inPrivate->decision("https://b.org/", location), allow);
  store->save();
  const SitePermissions again(file, surroundings);
  EXPECT_EQ(again.permissions().value().size(), 2u);
  EXPECT_EQ(again.decision("HTTPS://A.ORG:8443/x", camera), allow);
  EXPECT_EQ(again.decision("http://a.org/", camera), ask);
  EXPECT_THAT(readFile(file).value(), HasSubstr(unknown));
}

TEST_F(StoresTest, filesThatCannotBeReadAreReportedAndNeverWritten) {
  for (const std::string broken : {"", "[]", R"({"permissions":{},"downloads":1})", "{\"\xFF\":1}"}) {
    PrivateFiles::write(broken, file);
    SitePermissions permissions(file, surroundings);
    Downloads downloads(place, preferences, file, surroundings);
    EXPECT_THAT(*permissions.storageError().value(), HasSubstr("The original file is preserved."));
    EXPECT_THAT(*downloads.storageError().value(), HasSubstr("The original file is preserved."));
    permissions.decide("https://a.org", camera, allow);
    EXPECT_TRUE(begin(downloads, "x"));
    permissions.save();
    downloads.save();
    EXPECT_EQ(readFile(file).value(), broken);
  }
}

TEST_F(StoresTest, iconsOutliveTheRunWithinTheirBounds) {
  Favicons favicons(place, surroundings);
  EXPECT_EQ(load(favicons, "https://a.org/"), "none");
  favicons.store("https://a.org/page", icon("a"));
  EXPECT_EQ(load(favicons, "https://a.org/other"), "a");
  favicons.store("file:///x", icon("x"));
  const auto large = icon(std::string(Favicons::largestIcon, 'x'));
  for (const auto& bad : {PageIcon(), std::make_shared<const std::string>("<svg/>"), large}) {
    favicons.store("https://b.org/", bad);
    EXPECT_EQ(load(favicons, "https://b.org/"), "none");
  }
  for (std::size_t i = 0; i < Favicons::fileLimit; ++i) std::ofstream(place / (std::to_string(i) + ".png"));
  last_write_time(place / "7.png", std::filesystem::file_time_type::clock::now() - std::chrono::hours(1));
  Favicons next(place, surroundings);
  EXPECT_EQ(load(next, "https://a.org"), "a");
  favicons.store("https://d.org", icon("d"));
  next.store("https://e.org", icon("e"));
  load(favicons, "https://f.org");  // both queues have come so far
  load(next, "https://f.org");
  EXPECT_FALSE(exists(place / "7.png"));
  EXPECT_EQ(std::size_t(std::distance(std::filesystem::directory_iterator(place), {})), Favicons::fileLimit);
}

TEST_F(StoresTest, downloadsGetNamesOfTheirOwnAndAnInterruptedOneHasFailed) {
  Downloads downloads(place, preferences, file, surroundings);
  create_directory(place);
  std::filesystem::create_symlink("nowhere", place / "a.tar.gz");
  const auto first = begin(downloads, "../a.tar.gz").value();
  EXPECT_EQ(first.destination, place / "a (1).tar.gz");
  EXPECT_EQ(begin(downloads, "a.tar.gz")->destination, place / "a (2).tar.gz");
  EXPECT_TRUE(begin(downloads, "secret", DownloadMemory::thisRun));
  downloads.noteProgress(first.id, 10, 20);
  downloads.setState(first.id, DownloadState::finished);
  downloads.setState(first.id, DownloadState::failed, "late");
  downloads.save();
  EXPECT_THAT(readFile(file).value(), testing::Not(HasSubstr("secret")));
  const Downloads again(place, preferences, file, surroundings);
  const auto& list = again.downloads().value();
  ASSERT_EQ(list.size(), 2u);
  EXPECT_EQ(list[0], downloads.downloads().value()[0]);
  EXPECT_EQ(list[0].bytesReceived, 10);
  EXPECT_EQ(list[1].state, DownloadState::failed);
  Downloads nowhere(file / "x", preferences, folder / "other.json", surroundings);
  EXPECT_THAT(begin(nowhere, "n").error(), HasSubstr("Could not make the folder “"));
}

TEST_F(StoresTest, namesAndFoldersForDownloadsAreMadeSafe) {
  const auto x = [](std::size_t count) { return std::string(count, 'x'); };
  const std::vector<std::string> names[] = {
      {"download", "", "...", "dir/", " . ", "\x1b"},
      {"report.pdf", "report.pdf", "C:\\dir\\report.pdf", "../../report.pdf", ".report.pdf. "},
      {"cod gpj [1m.exe", "cod\u202egpj\n[1m.exe", "cod gpj\x1b[1m.exe"},
      {"\uFFFD.txt", "\xFF.txt"},
      {x(193) + ".tar.gz", x(300) + ".tar.gz"},
      {x(199), x(199) + "\u00e9\u00e9"}};
  for (const auto& row : names) {
    for (std::size_t i = 1; i < row.size(); ++i) EXPECT_EQ(safeFileName(row[i]), row[0]);
  }
  const EnvironmentLookup environment = [&](const std::string& name) -> std::optional<std::string> {
    return name == "HOME" ? "/home/u" : place.native();
  };
  const std::pair<std::string, std::string> settings[] = {
      {"# XDG_DOWNLOAD_DIR=\"/x\"\nXDG_DOWNLOAD_DIR=\"$HOME/L\\\"aden\"\n", "/home/u/L\"aden"},
      {"XDG_DOWNLOAD_DIR=\"/data/in\"", "/data/in"},
      {"XDG_DOWNLOAD_DIR=\"relative\"\nXDG_DOWNLOAD_DIR=\"", "/home/u/Downloads"}};
  for (const auto& [text, expected] : settings) {
    PrivateFiles::write(text, place / "user-dirs.dirs");
    EXPECT_EQ(userDownloadsDirectory(environment), expected);
  }
}

}  // namespace
}  // namespace vale::test
