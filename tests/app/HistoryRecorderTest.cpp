#include "app/HistoryRecorder.h"

#include "support/BrowserTest.h"

#include <gmock/gmock.h>

#include <functional>

namespace vale::test {
namespace {

using enum VisitTransition;
using testing::ElementsAre;

const std::string site = "https://x.org/";

struct HistoryRecorderTest : BrowserTest {
  HistoryStore store{ValeLibrary(folder / "Library"), queues.workers};
  HistoryRecorder recorder{queues.main, clock, store};
  std::shared_ptr<BrowserModel> model = window(BrowsingMode::ordinary);

  std::shared_ptr<BrowserModel> window(BrowsingMode mode) {
    auto made = std::make_shared<BrowserModel>(Uuid::random(), *session, engine, mode);
    recorder.attach(made);
    return made;
  }
  static Task<std::vector<HistoryVisit>> flushed(HistoryRecorder& recorder, HistoryStore& store) {
    co_await recorder.flush();
    co_return co_await store.records("2026-01-01.jsonl");
  }
  std::vector<HistoryVisit> lines() { return queues.run(flushed(recorder, store)); }
  static HeadlessPage& page(BrowserTab& tab) { return dynamic_cast<HeadlessPage&>(*tab.page()); }
  std::shared_ptr<BrowserTab> load(const std::string& address, BrowserModel::NewTab where = {}) {
    auto tab = model->open(address, std::move(where));
    page(*tab).finishLoad(PageTransition::opened, {address, "words", false});
    return tab;
  }
};

MATCHER_P3(Line, path, words, how, "") {
  return arg.url == site + path && arg.textExcerpt == words && arg.transition == how && arg.visitCount == 1;
}

TEST_F(HistoryRecorderTest, aLoadIsAVisitThatSaysHowThePageWasReached) {
  const auto opener = load(site), child = load(site + "child", {.opener = opener}),
             tab = load("vale://history");
  auto expected = std::vector<testing::Matcher<HistoryVisit>>{
      Line("", "words", typed), Line("child", "words", link), Line("agent", "words", agent)};
  load(site + "agent", {.agentOwner = Uuid::random()});
  lines();
  for (const auto& [how, recorded] : std::vector<std::pair<PageTransition, VisitTransition>>{
           {PageTransition::link, typed /* in a list of the browser's */},
           {PageTransition::link, link},
           {PageTransition::form, form},
           {PageTransition::reload, reload},
           {PageTransition::backForward, backForward},
           {PageTransition::restored, restored},
           {PageTransition::opened, typed}}) {
    const auto path = std::to_string(expected.size());
    page(*tab).finishLoad(how, {site + path, path, false});
    expected.push_back(Line(path, path, recorded));
    ASSERT_THAT(lines(), testing::ElementsAreArray(expected));
  }
  EXPECT_EQ(lines()[1].openerTabID, opener->id);
}

TEST_F(HistoryRecorderTest, whatIsPrivateOrFailedIsNotRecordedAndSensitiveTextNeither) {
  page(*model->open(site, {})).failLoad(site);
  const auto secret = window(BrowsingMode::isPrivate);
  page(*secret->open(site, {})).finishLoad(PageTransition::opened, {site, "secret", false});
  secret->endPrivateSession();
  EXPECT_THAT(lines(), testing::IsEmpty());
  page(*model->open(site, {})).finishLoad(PageTransition::opened, {site, "secret", true});
  page(*load(site + "silent")).shown = {};
  ASSERT_THAT(lines(), ElementsAre(Line("", "", typed), Line("silent", "", typed)));
  EXPECT_TRUE(lines()[0].sensitive && lines()[1].sensitive);
}

TEST_F(HistoryRecorderTest, theTextAndTitleOfTheLastMomentImproveTheLine) {
  for (const std::string how : {"next", "close", "hide", "late"}) {
    const auto tab = load(site + how);
    lines();
    page(*tab).setTitle("at " + how);
    page(*tab).shown.text = "last";
    recorder.setFront(model->id);
    if (how == "next") page(*tab).startLoad(site + "other");
    if (how == "close") model->close(tab->id);
    if (how == "hide") model->open({}, {});
    if (how == "late") page(*tab).shown.address = site + "elsewhere";
    clock.advance(Seconds(1));
    EXPECT_THAT(lines().back(), Line(how, how == "late" ? "words" : "last", typed));
    EXPECT_EQ(lines().back().title, "at " + how);
  }
}

TEST_F(HistoryRecorderTest, addressesThatScriptsSetCountOnceTheyRest) {
  const auto tab = load(site);
  lines();
  for (const std::string path : {"#part", "passing", "resting", "resting#part"}) {
    page(*tab).moveTo(site + path);
    page(*tab).shown = {site + path, path, false};
    clock.advance(Seconds(path == "passing" ? 0.5 : 1));
  }
  EXPECT_THAT(lines(), ElementsAre(Line("", "words", typed), Line("resting", "resting#part", link)));
}

TEST_F(HistoryRecorderTest, secondsCountWhileTheTabIsSelectedInTheWindowInFront) {
  const auto a = load(site + "a"), b = load(site + "b", {.selects = false});
  const auto front = [&](auto window) { recorder.setFront(window); };
  for (const auto& [seconds, then] :
       std::vector<std::pair<double, std::function<void()>>>{{100, [&] { front(model->id); }},
                                                             {7.75, [&] { model->select(b->id); }},
                                                             {5, [&] { front(std::nullopt); }},
                                                             {100, [&] { front(model->id); }},
                                                             {2, [&] { model->select(a->id); }},
                                                             {1.5, [] {}}}) {
    clock.advance(Seconds(seconds));
    then();
  }
  EXPECT_EQ(lines().at(0).foregroundSeconds, 9) << "parts of seconds add up";
  EXPECT_EQ(lines().at(1).foregroundSeconds, 7);
}

}  // namespace
}  // namespace vale::test
