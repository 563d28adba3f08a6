#include "intelligence/TabGroupingCoordinator.h"

#include "common/FileDescriptor.h"
#include "support/BrowserTest.h"
#include "support/GroupableTabs.h"
#include "support/ScriptedClient.h"

#include <gmock/gmock.h>

namespace vale::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using enum TabGroupingCoordinator::RefreshReason;

std::string cluster(const std::string& name, const std::string& numbers) {
  return R"({"name":")" + name + R"(","intent":"i","rationale":"r","comparable":true,"tab_ids":[)" + numbers +
         "]}";
}
std::string grouped(const std::string& clusters) {
  return R"({"clusters":[)" + clusters + R"(],"unassigned":[]})";
}

struct TabGroupingTest : BrowserTest {
  ScriptedClient client;
  ModelInputFilter filter;
  Seconds idle{0};
  std::filesystem::path file = folder / "Intelligence/tab-groups.json";
  std::optional<TabGroupingCoordinator> grouping;

  TabGroupingTest() { start(); }
  void start() {
    if (grouping) grouping->shutdown();
    grouping.emplace(TabGroupingCoordinator::Parts{.client = client,
                                                   .inputFilter = filter,
                                                   .file = file,
                                                   .preferences = preferences,
                                                   .surroundings = {queues.main, queues.workers, clock},
                                                   .inputIdleTime = [this] { return idle; }});
  }
  /// Turns the main loop until it has nothing more to do.
  void settle() {
    queues.context.restart();
    queues.context.poll();
  }
  void wait(double seconds) {
    clock.advance(Seconds(seconds));
    settle();
  }
  /// A regroup by the user that the agent answers so.
  void regroup(const std::string& clusters) {
    client.answer(grouped(clusters));
    grouping->regroup();
    settle();
  }
  std::vector<std::string> shown() const { return lines(grouping->sections().value()); }
  Uuid groupID(int index) const { return grouping->groups().value().at(std::size_t(index)).id; }
  std::string failure() const {
    return grouping->failure().value().value_or(TabGroupingFailure{.message = "none"}).message;
  }
  std::shared_ptr<BrowserModel> window(const std::vector<std::string>& addresses) {
    auto model = std::make_shared<BrowserModel>(Uuid::random(), *session, engine, BrowsingMode::ordinary);
    for (const auto& address : addresses) model->open(address, {});
    grouping->attach(model);
    settle();
    return model;
  }
};

TEST_F(TabGroupingTest, aRegroupSortsTheTabsAndCanBeUndone) {
  grouping->update(webTabs(4));
  regroup(cluster("Trip", "1,2") + "," + cluster("Work", "3,4"));
  EXPECT_EQ(client.questions[0].operation, IntelligenceOperation::tabGrouping);
  EXPECT_EQ(client.questions[0].prompt, grouping->regroupPrompt());
  EXPECT_THAT(shown(), ElementsAre("Trip: 1 2", "Work: 3 4"));
  EXPECT_EQ(grouping->groupedAt().value(), clock.now());
  const auto trip = groupID(0);
  grouping->renameGroup(trip, " Rome\n");
  regroup(cluster("Other", "4") + "," + cluster("Travel", "1,2,3"));
  EXPECT_THAT(shown(), ElementsAre("Other: 4", "Rome: 1 2 3"));
  EXPECT_EQ(groupID(1), trip);
  auto tabs = webTabs(5);
  tabs.erase(tabs.begin());
  grouping->update(tabs);
  grouping->undoRegroup();
  EXPECT_THAT(shown(), ElementsAre("Rome: 2", "Work: 3 4", "New or changed tabs: 5"));
  EXPECT_FALSE(grouping->canUndoRegroup().value());
  grouping->clearSavedGroups();
  grouping->setAutomatic(true);
  grouping->undoRegroup();
  regroup(cluster("All", "1,2,3,4"));
  grouping->undoRegroup();
  grouping->refresh(startPage);
  settle();
  EXPECT_EQ(client.questions.size(), 3u) << "what was undone is not made again by itself";
}

TEST_F(TabGroupingTest, tooFewAndTooManyTabsAreNoQuestion) {
  grouping->update(webTabs(2));
  grouping->regroup();
  EXPECT_FALSE(grouping->regroupPrompt());
  EXPECT_EQ(failure(), "none");
  grouping->update(webTabs(301));
  grouping->regroup();
  settle();
  EXPECT_EQ(failure(),
            "Tabs were not grouped. Grouping takes up to 300 pages at a time. Close some tabs, then "
            "group again.");
  EXPECT_EQ(client.calls(), 0u);
  grouping->update(webTabs(300));
  grouping->regroup();
  settle();
  EXPECT_EQ(client.questions.size(), 1u);
}

TEST_F(TabGroupingTest, newAndChangedTabsAreAssigned) {
  auto tabs = webTabs(4);
  grouping->update(tabs);
  regroup(cluster("Trip", "1,2") + "," + cluster("Work", "3,4"));
  start();  // of the next run
  grouping->setAutomatic(true);
  tabs[0].url = "https://s1.org/#elsewhere";
  tabs[3] = webTab(4, "moved");
  tabs.push_back(webTab(5));
  tabs[4].openerID = tabs[0].id;
  grouping->update(tabs);
  EXPECT_THAT(shown(), ElementsAre("Trip: 1 2", "Work: 3", "New or changed tabs: 4 5"));
  client.answer(R"({"assignments":[{"tab_id":2,"group_id":1001},{"tab_id":1,"group_id":7}],"new_clusters":[],
                    "unassigned":[]})");
  grouping->refresh(startPage);
  EXPECT_EQ(grouping->activity().value().kind, TabGroupingActivity::Kind::assigning);
  EXPECT_EQ(numbers(grouping->activity().value().tabs), " 4 5");
  settle();
  const auto& question = client.questions.back();
  EXPECT_EQ(question.operation, IntelligenceOperation::tabAssignment);
  EXPECT_THAT(question.prompt, HasSubstr(R"("name":"Work","intent":"i","tabs":["Page 3"]})"));
  EXPECT_THAT(question.prompt, HasSubstr(R"("openerGroupId":null,"previousGroupId":1002})"));
  EXPECT_THAT(question.prompt, HasSubstr(R"("openerGroupId":1001,"previousGroupId":null})"));
  EXPECT_THAT(shown(), ElementsAre("Trip: 1 2 5", "Work: 3", "Unassigned tabs: 4"));
  grouping->refresh(startPage);
  settle();
  EXPECT_EQ(client.questions.size(), 2u) << "nothing is left to do";
}

TEST_F(TabGroupingTest, whatHappensDuringAPassCounts) {
  grouping->update(webTabs(5));
  grouping->regroup();
  settle();
  grouping->regroup();
  settle();
  EXPECT_TRUE(client.questions[0].cancellation.isCancelled());
  auto tabs = webTabs(5);
  tabs.erase(tabs.begin());
  tabs[0] = webTab(2, "moved");
  grouping->update(tabs);
  const auto mine = grouping->addToNewGroup(tabIDs({3}), "Mine");
  client.answer(grouped(cluster("Late", "1,2,3,4,5")));
  settle();
  EXPECT_EQ(grouping->activity().value().kind, TabGroupingActivity::Kind::regrouping) << "of an older pass";
  client.answer(grouped(cluster("New", "1,2,4,5")));
  settle();
  EXPECT_THAT(shown(), ElementsAre("New: 4 5", "Mine: 3", "New or changed tabs: 2"));
  EXPECT_EQ(groupID(1), mine);
  grouping->regroup();
  settle();
  grouping->cancel();
  EXPECT_EQ(grouping->activity().value(), TabGroupingActivity());
  grouping->regroup();
  settle();
  grouping.reset();
  client.answer("{}");
  client.answer("{}");
  settle();
}

TEST_F(TabGroupingTest, aFailurePausesTheAutomaticPassesLongerEachTime) {
  grouping->setAutomatic(true);
  grouping->update(webTabs(3));
  for (const double pause : {60, 120, 240, 480, 600, 600}) {
    client.fail(UnreadableAnswer("unreadable", "prose"));
    grouping->refresh(startPage);
    settle();
    EXPECT_EQ(grouping->failure().value(),
              (TabGroupingFailure{"Tabs were not grouped. The answer was not valid JSON.", "prose", true}));
    const auto asked = client.questions.size();
    wait(pause - 1);
    grouping->refresh(startPage);
    settle();
    EXPECT_EQ(client.questions.size(), asked);
    wait(1);
  }
  client.missing = "Sign in first.";
  grouping->refresh(startPage);
  settle();
  EXPECT_EQ(failure(), "Tabs were not grouped. Sign in first.");
  EXPECT_EQ(client.questions.size(), 6u);
  EXPECT_THAT(grouping->groups().value(), IsEmpty());
  client.missing.reset();
  regroup(cluster("All", "1,2,3"));  // the user may at once
  EXPECT_EQ(failure(), "none");
  grouping->update(webTabs(4));
  client.fail(Error("No."));
  grouping->refresh(startPage);
  settle();
  wait(60);
  grouping->refresh(startPage);
  settle();
  EXPECT_EQ(client.questions.size(), 9u) << "success began the series anew";
}

TEST_F(TabGroupingTest, offMeansNoCallsAndNoTimers) {
  idle = Seconds(1e6);
  grouping->update(webTabs(5));
  grouping->setStartPageVisible(true);
  grouping->refresh(startPage);
  grouping->refresh(TabGroupingCoordinator::RefreshReason::idle);
  settle();
  EXPECT_EQ(clock.pending(), 0u);
  EXPECT_EQ(client.calls(), 0u);
  grouping->setAutomatic(true);
  EXPECT_EQ(client.prewarmed.size(), 1u) << "as soon as the tabs have settled";
  wait(2);
  ASSERT_EQ(client.questions.size(), 1u);
  grouping->setAutomatic(false);
  EXPECT_TRUE(client.questions[0].cancellation.isCancelled());
  wait(1);
  EXPECT_EQ(clock.pending(), 0u);
}

TEST_F(TabGroupingTest, anIdleUserGetsOnePassAndNoneWhileNothingIsNew) {
  preferences.set(TabGroupingCoordinator::automaticKey, true);
  wait(1);
  grouping->update(webTabs(2));
  EXPECT_EQ(clock.pending(), 0u);
  grouping->update(webTabs(3));
  idle = Seconds(30);
  wait(120);
  EXPECT_EQ(client.calls(), 0u) << "there was input 30 seconds ago";
  idle = Seconds(120);
  client.answer(grouped(cluster("All", "1,2,3")));
  wait(90);
  EXPECT_THAT(shown(), ElementsAre("All: 1 2 3"));
  wait(1);
  EXPECT_EQ(clock.pending(), 0u);
  idle = Seconds(300);
  grouping->update(webTabs(4));
  EXPECT_EQ(clock.pending(), 0u) << "the user has not been back";
  wait(20);
  idle = Seconds(10);
  grouping->update(webTabs(5));
  EXPECT_EQ(clock.pending(), 1u);
}

TEST_F(TabGroupingTest, whatTheUserDidSurvivesPassesAndTheRun) {
  grouping->update(webTabs(6));
  regroup(cluster("A", "1,2,3") + "," + cluster("B", "4,5,6"));
  grouping->moveTab(numbered(1), groupID(1), 1);
  grouping->removeFromGroup(numbered(2));
  grouping->renameGroup(groupID(1), std::string(150, 'x'));
  EXPECT_FALSE(grouping->addToNewGroup(tabIDs({77})));
  grouping->setCollapsed(groupID(1), true);
  const auto name = std::string(100, 'x');
  EXPECT_THAT(shown(), ElementsAre("A: 3", name + ": 4 1 5 6", "Unassigned tabs: 2"));
  start();
  grouping->update(webTabs(6));
  regroup(cluster("All", "1,2,3,4,5,6"));
  EXPECT_THAT(client.questions.back().prompt,
              HasSubstr("- " + name + ": Page 4 | Page 1 | Page 5 | Page 6\n"));
  EXPECT_THAT(shown(), ElementsAre(name + ": 1 3 4 5 6", "Unassigned tabs: 2"));
  EXPECT_TRUE(grouping->groups().value()[0].collapsed);
  grouping->renameGroup(groupID(0), "");
  regroup(cluster("Agent's", "3,4,5,6"));
  EXPECT_THAT(shown(), ElementsAre("Agent's: 1 3 4 5 6", "Unassigned tabs: 2"));
  grouping->clearSavedGroups();
  grouping->shutdown();
  EXPECT_THAT(readFile(file).value(), Not(HasSubstr("s1.org")));
  EXPECT_THAT(shown(), ElementsAre("New or changed tabs: 1 2 3 4 5 6"));
}

TEST_F(TabGroupingTest, ofTheWindowsOnlyWhatMayBeSeenIsSent) {
  const auto secret = BrowserModel::makePrivate(*session, std::make_shared<HeadlessEngine>(), {}, true);
  secret->open("https://secret.org/", {});
  grouping->attach(secret);
  const auto first = window({"https://a.org/", "https://b.org/?card=1", "vale://start"});
  const auto second = window({"https://c.org/", "https://d.org/"});
  first->open("https://agent.org/", {.agentOwner = numbered(1)});
  filter.detector = [](const PageContext& page) { return page.url.starts_with("https://b.org"); };
  second->createGroup({second->tabs()[0]->id, second->tabs()[1]->id}, "Own");
  int published = 0;
  const auto counting = grouping->sections().subscribe([&](const auto&) { ++published; });
  auto& page = dynamic_cast<HeadlessPage&>(*first->tabs()[0]->page());
  for (int i = 0; i < 100; ++i) {
    page.startLoad(fmt::format("https://a.org/{}", i));
  }
  page.setTitle("Loaded");
  settle();
  EXPECT_EQ(published, 1) << "for the agent's tab and all the changes";
  regroup(cluster("One", "1,2,3") + "," + cluster("Two", "4"));
  const auto& prompt = client.questions.at(0).prompt;
  EXPECT_THAT(prompt, HasSubstr(R"("title":"Loaded","url":"https://a.org/99")"));
  EXPECT_THAT(prompt, HasSubstr(R"("url":"https://b.org/","hostname")"));
  EXPECT_THAT(prompt, HasSubstr("- Own: "));
  for (const auto unseen : {"secret.org", "agent.org", "vale:"}) EXPECT_THAT(prompt, Not(HasSubstr(unseen)));

  grouping->closeTabs(groupID(0), second.get());
  EXPECT_EQ(second->tabs().size(), 1u);
  EXPECT_EQ(first->tabs().size(), 4u);
  grouping->closeTabs(groupID(0));
  EXPECT_EQ(first->tabs().size(), 2u);
  second->reopen(second->recentlyClosed().value()[0].id);
  settle();
  EXPECT_EQ(grouping->groups().value().size(), 2u) << "a tab comes back to its group";
  second->closeWindow();
  settle();
  grouping->detach(*first);
  settle();
  EXPECT_THAT(grouping->tabs(), IsEmpty());
}

}  // namespace
}  // namespace vale::test
