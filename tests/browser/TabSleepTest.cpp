#include "browser/LinuxMemoryPressure.h"
#include "browser/TabSleepController.h"
#include "support/BrowserTest.h"

#include <gmock/gmock.h>

#include <fstream>
#include <stdexcept>

namespace vale::test {
namespace {

using enum MemoryPressure;
using testing::ElementsAre;
using testing::IsEmpty;
using Tab = TabSleepPolicy::Tab;

TEST(TabSleepPolicyTest, spareTabsGoTheLongestHiddenFirst) {
  const Date now{Seconds(1e9)};
  const auto hidden = [now](double seconds) {
    return Tab{.id = Uuid::random(), .hiddenSince = now - Seconds(seconds), .hasPage = true};
  };
  for (const auto& [delay, wait, pressure] : std::vector<std::tuple<double, double, MemoryPressure>>{
           {1800, 1800, normal}, {1800, 300, warning}, {1800, 60, critical}, {30, 30, critical}}) {
    const auto due = hidden(wait);
    EXPECT_THAT(TabSleepPolicy{delay}.candidates({hidden(wait - 1), due}, now, pressure),
                ElementsAre(due.id));
  }
  std::vector tabs{hidden(2000), hidden(3000), hidden(9e9), hidden(2000), hidden(9e9), hidden(4000)};
  const std::vector expected{tabs[5].id, tabs[1].id, tabs[0].id, tabs[3].id};
  tabs[2].hiddenSince.reset();
  tabs[4].hasPage = false;
  for (const auto flag : {&Tab::isSelected, &Tab::pinned, &Tab::isAgentTab, &Tab::keepsPage,
                          &Tab::isPlayingAudio, &Tab::isCapturing}) {
    tabs.push_back(hidden(9e9));
    tabs.back().*flag = true;
  }
  EXPECT_EQ(TabSleepPolicy().candidates(tabs, now, normal), expected);
}

/// One window with a selected tab (3) and three that were hidden one after the other, half an hour ago.
struct TabSleepTest : BrowserTest {
  LinuxMemoryPressure pressure{queues.main, queues.workers, clock, {folder / "stall", folder / "amounts"}};
  std::optional<TabSleepController> controller{std::in_place, queues.main, preferences, clock, pressure};
  std::shared_ptr<BrowserModel> model = window();
  std::function<void(BrowserTab&)> whileAsked = [](BrowserTab&) {};
  int asked = 0;

  TabSleepTest() {
    for (int i = 0; i < 4; ++i) show(*model);
    clock.advance(Seconds(1800));
    controller->pageCheck = [this, usual = controller->pageCheck](BrowserTab& tab) {
      ++asked;
      whileAsked(tab);
      return later(usual, tab);
    };
  }
  static Task<bool> later(decltype(TabSleepController::pageCheck) check, BrowserTab& tab) {
    co_await asio::post(co_await asio::this_coro::executor, asio::use_awaitable);
    co_return co_await check(tab);
  }
  std::shared_ptr<BrowserModel> window() {
    auto made = std::make_shared<BrowserModel>(Uuid::random(), *session, engine, BrowsingMode::ordinary);
    controller->attach(made);
    return made;
  }
  void show(BrowserModel& window) {
    window.open("https://x.org/", {});
    clock.advance(Seconds(1));
  }
  BrowserTab& tab(int index) { return *model->tabs()[index]; }
  static HeadlessPage& page(BrowserTab& tab) { return dynamic_cast<HeadlessPage&>(*tab.page()); }
  std::vector<Uuid> sweep() { return queues.run(controller->sweep()); }
};

TEST_F(TabSleepTest, aSweepAsksSparePagesAndSparesWhatTheyDo) {
  page(tab(0)).typedText = true;
  page(tab(1)).playsMedia = true;
  EXPECT_THAT(sweep(), ElementsAre(tab(2).id));
  EXPECT_EQ(asked, 3) << "not the selected one";
  model->select(tab(2).id);
  EXPECT_EQ(page(tab(2)).restoredFrom, "state of https://x.org/");
  clock.advance(Seconds(1800));
  controller->pageCheck = [](BrowserTab&) -> Task<bool> { throw std::runtime_error("no answer"); };
  EXPECT_THAT(sweep(), IsEmpty());
}

TEST_F(TabSleepTest, pagesOfOneProcessSleepTogetherOrNotAtAll) {
  const auto other = window();
  engine.made = 0;  // the next page is in the process of tab 0
  show(*other);
  engine.made = 9;
  show(*other);
  EXPECT_THAT(sweep(), ElementsAre(tab(1).id, tab(2).id)) << "the other was just seen";
  clock.advance(Seconds(1800));
  page(*other->tabs()[0]).typedText = true;
  EXPECT_THAT(sweep(), IsEmpty());
  page(*other->tabs()[0]).typedText = false;
  EXPECT_THAT(sweep(), ElementsAre(tab(0).id, other->tabs()[0]->id));
}

TEST_F(TabSleepTest, whatHappensMeanwhileCounts) {
  const auto last = tab(2).id;
  whileAsked = [&](BrowserTab& asking) {
    if (asking.id != last) return;
    model->close(tab(0).id);
    model->select(tab(0).id);
  };
  EXPECT_THAT(sweep(), ElementsAre(last));
  clock.advance(Seconds(1800));
  whileAsked = [this](BrowserTab&) { model.reset(); };
  EXPECT_THAT(sweep(), IsEmpty());
}

TEST_F(TabSleepTest, aSweepUnderWayIsJoinedAndEndsWithItsController) {
  std::vector<Uuid> first;
  asio::co_spawn(queues.context, controller->sweep(), [&](std::exception_ptr, auto slept) { first = slept; });
  EXPECT_THAT(sweep(), ElementsAre(tab(0).id, tab(1).id, tab(2).id));
  queues.runUntil([&] { return first.size() == 3 && asked == 3; });
  show(*model);
  clock.advance(Seconds(1800));
  whileAsked = [this](BrowserTab&) { controller.reset(); };
  EXPECT_THAT(sweep(), IsEmpty());
}

TEST_F(TabSleepTest, looksEveryMinuteAndOnPressureUnlessTurnedOff) {
  const auto timersRun = [&](std::size_t n) { queues.runUntil([&] { return clock.pending() == n; }); };
  timersRun(1);  // that of the pressure
  preferences.set(TabSleepController::preferenceKey, false);
  controller->start();
  clock.advance(Seconds(1));  // lets the settings be written
  timersRun(1);
  EXPECT_THAT(sweep(), IsEmpty());
  controller->setEnabled(true);
  queues.runUntil([&] { return !tab(0).page() && !tab(1).page() && !tab(2).page(); });
  show(*model);
  clock.setNow(clock.now() + Seconds(1800));
  clock.advance(TabSleepController::usualInterval);
  queues.runUntil([&] { return !tab(3).page(); });
  show(*model);
  timersRun(2);
  clock.setNow(clock.now() + Seconds(300));
  std::ofstream(folder / "stall") << "some avg10=50\nfull avg10=0\n";
  clock.advance(LinuxMemoryPressure::interval);
  queues.runUntil([&] { return !tab(4).page(); });
}

}  // namespace
}  // namespace vale::test
