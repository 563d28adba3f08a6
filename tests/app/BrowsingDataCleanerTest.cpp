#include "app/BrowsingDataCleaner.h"

#include "browser/SessionFile.h"
#include "support/BrowserTest.h"
#include "support/FakePasswordStore.h"

#include <gmock/gmock.h>

#include <map>

namespace vale::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using Amounts = std::map<DataKind, std::string>;

struct FakeEngineData : EngineData {
  Task<Amount> amount(Part part) override {
    co_return part == Part::cache ? Amount{.sites = 1, .bytes = 2'500'000} : Amount{.sites = 3};
  }
  Task<bool> clear(Part part, std::optional<Seconds> span) override {
    if (fails) throw Error("It broke.");
    cleared.emplace_back(part, span.value_or(Seconds(0)).count());
    co_return true;
  }
  void clearIcons() override { ++iconsCleared; }

  std::vector<std::pair<Part, double>> cleared;
  bool fails = false;
  int iconsCleared = 0;
};

/// Of each kind there is one from two days ago and one from just now.
struct BrowsingDataCleanerTest : BrowserTest {
  std::unique_ptr<BrowserSession> own =
      BrowserSession::load({.supportFolder = folder.path(), .downloadsDirectory = folder / "down"},
                           preferences, {queues.main, queues.workers, clock});
  BrowserWindows windows{*own, engine, [] { return std::make_shared<HeadlessEngine>(); }};
  HistoryStore history{ValeLibrary(folder / "Library"), queues.workers};
  FakePasswordStore passwords;
  ZoomLevels zoom{folder / "zoom.json", {queues.main, queues.workers, clock}};
  FakeEngineData data;
  BrowsingDataCleaner cleaner{{.history = &history,
                               .session = *own,
                               .windows = windows,
                               .passwords = passwords,
                               .zoom = zoom,
                               .engine = data,
                               .sessionsFolder = folder / "Sessions"},
                              {queues.main, queues.workers, clock}};
  int historyChanges = 0;

  void SetUp() override {
    cleaner.onHistoryChange = [this] { ++historyChanges; };
    windows.openNew();
    const auto now = clock.now();
    for (const auto& [time, name] : {std::pair(now - std::chrono::hours(48), "old"), std::pair(now, "new")}) {
      clock.setNow(time);
      add("https://" + std::string(name) + ".org/");
    }
  }

  void add(const std::string& address) {
    queues.run(history.append({.url = address, .visitedAt = clock.now()}));
    auto& model = *windows.entries()[0].model;
    model.close(model.open(address, {})->id);
    windows.close(windows.openNew(BrowsingMode::ordinary, address).id);
    bool begun = false;
    own->downloads()->begin(address, "file", DownloadMemory::lasting, [&](const auto& download) {
      own->downloads()->setState(download->id, DownloadState::finished);
      begun = true;
    });
    queues.runUntil([&] { return begun; });
    own->permissions()->decide(address, PermissionKind::camera, PermissionDecision::allow);
    zoom.set(address, 2);
    own->addFolded({.id = Uuid::random(), .name = address, .foldedAt = clock.now()});
    const SavedWindow window{.id = Uuid::random(), .tabs = std::vector<SavedTab>(address.size())};
    SessionGenerations(folder / "Sessions").keep(SessionFile::encode({.windows = {{window}}}), clock.now());
    passwords.entries.emplace_back(SavedLogin{.origin = address, .changedAt = clock.now()}, Secret("p"));
  }

  Amounts amounts(DataRange range) {
    Amounts all;
    for (const auto& [kind, name] : rawValues<DataKind>) all[kind] = queues.run(cleaner.amount(kind, range));
    return all;
  }
  BrowsingDataCleaner::Result clear(std::set<DataKind> kinds, DataRange range) {
    return queues.run(cleaner.clear(std::move(kinds), range, [](DataKind) {}));
  }
};

TEST_F(BrowsingDataCleanerTest, eachKindGoesAloneAndNoFurtherBackThanAsked) {
  const Amounts one{{DataKind::history, "1 page"},
                    {DataKind::siteData, "Of 3 sites in all. Cookies go only with “Everything”."},
                    {DataKind::cache, "2.5 MB in all"},
                    {DataKind::closedTabs, "1 tab, 1 window"},
                    {DataKind::downloads, "1 entry; the files stay"},
                    {DataKind::permissions, "1 decision"},
                    {DataKind::zoomLevels, "1 site"},
                    {DataKind::foldedGroups, "1 group"},
                    {DataKind::earlierSessions, "1 session"},
                    {DataKind::passwords, "1 password"}};
  ASSERT_EQ(amounts(DataRange::day), one);
  auto left = amounts(DataRange::week);
  EXPECT_EQ(left[DataKind::history], "2 pages");
  EXPECT_EQ(left[DataKind::closedTabs], "2 tabs, 2 windows");
  for (const auto& [kind, name] : rawValues<DataKind>) {
    const auto result = clear({kind}, DataRange::hour);
    EXPECT_THAT(result.problems, IsEmpty());
    const auto after = amounts(DataRange::week);
    for (auto& [other, amount] : left) {
      const bool engineData = other == DataKind::siteData || other == DataKind::cache;
      if (other == kind && !engineData) amount = one.at(kind);
    }
    EXPECT_EQ(after, left) << name;
  }
  EXPECT_EQ(windows.entries()[0].model->tabs().size(), 1u) << "open tabs stay";
  EXPECT_THAT(data.cleared, ElementsAre(std::pair(EngineData::Part::siteData, 3600.0),
                                        std::pair(EngineData::Part::cache, 3600.0)));
  EXPECT_EQ(data.iconsCleared, 0);
}

TEST_F(BrowsingDataCleanerTest, everythingIsEverything) {
  std::set<DataKind> all;
  for (const auto& [kind, name] : rawValues<DataKind>) all.insert(kind);
  EXPECT_THAT(clear(all, DataRange::everything).problems, IsEmpty());
  for (const auto& [kind, amount] : amounts(DataRange::everything)) {
    if (kind == DataKind::siteData || kind == DataKind::cache) continue;
    EXPECT_EQ(amount, "Nothing") << rawValue(kind);
  }
  EXPECT_EQ(data.cleared[0], std::pair(EngineData::Part::siteData, 0.0));
  EXPECT_EQ(data.iconsCleared, 1);
}

TEST_F(BrowsingDataCleanerTest, visitsComeBackAndFailuresAreToldWhileTheRestGoes) {
  data.fails = true;
  passwords.problem = "There is no service.";
  const auto result = clear({DataKind::passwords, DataKind::siteData, DataKind::history}, DataRange::day);
  EXPECT_THAT(result.problems,
              ElementsAre("Cookies and site data: It broke.", "Saved passwords: There is no service."));
  EXPECT_THAT(result.removedVisits, SizeIs(1));
  EXPECT_EQ(queues.run(cleaner.amount(DataKind::history, DataRange::week)), "1 page");
  EXPECT_EQ(queues.run(cleaner.restoreHistory(result.removedVisits)), 1);
  EXPECT_EQ(queues.run(cleaner.amount(DataKind::history, DataRange::week)), "2 pages");
  EXPECT_EQ(historyChanges, 2);
  EXPECT_EQ(queues.run(cleaner.amount(DataKind::passwords, DataRange::week)), "There is no service.");
  passwords.problem.reset();
  passwords.locked = true;
  EXPECT_THAT(queues.run(cleaner.amount(DataKind::passwords, DataRange::week)), HasSubstr("Locked"));
}

}  // namespace
}  // namespace vale::test
