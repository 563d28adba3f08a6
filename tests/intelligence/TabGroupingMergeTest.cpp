#include "intelligence/TabGroupingMerge.h"

#include "intelligence/TabGroupingEdits.h"
#include "intelligence/TabGroupingHints.h"
#include "intelligence/TabGroupingPlaces.h"
#include "support/GroupableTabs.h"

#include <gmock/gmock.h>

#include <random>
#include <set>

namespace vale::test {
namespace {

using namespace TabGroupingMerge;
using testing::ElementsAre;

TabGroup group(int id, const std::string& name, const std::vector<int>& tabs) {
  return {.id = numbered(id), .name = name, .tabIDs = tabIDs(tabs)};
}

UsableTabs usable(const std::vector<int>& tabs) {
  UsableTabs result;
  for (const int tab : tabs) result.emplace(numbered(tab), "https://s" + std::to_string(tab) + ".org");
  return result;
}

std::vector<std::string> lines(const TabGroupingState& state) {
  std::vector<std::string> result;
  for (const auto& one : state.groups)
    result.push_back(numbers({&one.id, 1}) + " " + one.name + ":" + numbers(one.tabIDs));
  result.push_back("unassigned:" + numbers(state.unassigned));
  return result;
}

TEST(TabGroupingMergeTest, aRegroupContinuesTheGroupsItSharesMostTabsWith) {
  TabGroupingState old;
  old.groups = {group(91, "A", {1, 2, 3}), group(92, "B", {4, 5}), group(93, "C", {6}), group(94, "D", {7})};
  old.groups[0].userNamed = old.groups[1].collapsed = true;
  const TabGroupingAnswer answer{
      .groups = {group(81, "one", {1, 4}), group(82, "two", {2, 3, 5}), group(83, "three\n", {6, 8})},
      .unassigned = tabIDs({7})};
  const auto state = applyRegroup(old, answer, usable({1, 2, 3, 4, 5, 6, 7, 8}));
  EXPECT_THAT(lines(state), ElementsAre(" 92 one: 1 4", " 91 A: 2 3 5", " 93 three : 6 8", "unassigned: 7"))
      << "“two” shares most with A, which leaves B for “one”";
  EXPECT_TRUE(state.groups[0].collapsed && state.groups[1].userNamed);
  EXPECT_EQ(state.placedURLs.at(numbered(8).text()), "https://s8.org");
}

TEST(TabGroupingMergeTest, whatAnAnswerDoesNotSettleStaysWhereItIs) {
  TabGroupingState old;
  old.groups = {group(91, "A", {1, 2, 70}), group(92, "B", {3, 71}), group(93, "Mine", {4, 5})};
  old.unassigned = tabIDs({6});
  old.userPlaced = tabIDs({2, 4, 6});
  const TabGroupingAnswer answer{.groups = {group(81, "all", {6, 1, 2, 3, 4, 5})}};
  // 3 has moved on while the question was out.
  const auto state = applyRegroup(old, answer, usable({1, 2, 4, 5, 6}));
  EXPECT_THAT(lines(state), ElementsAre(" 91 all: 2 70 1 5", " 93 Mine: 4", "unassigned: 6"));
  EXPECT_FALSE(state.placedURLs.contains(numbered(3).text()));
}

TEST(TabGroupingMergeTest, anAssignmentAddsToWhatIsThere) {
  TabGroupingState old;
  old.groups = {group(91, "A", {1, 2}), group(92, "B", {3}), group(93, "C", {4})};
  old.unassigned = tabIDs({5, 6});
  old.userPlaced = tabIDs({2});
  old.formerGroups = {{numbered(1).text(), numbered(91)}, {numbered(8).text(), numbered(91)}};
  const TabGroupingAnswer answer{.assignments = {{numbered(3), numbered(91)},
                                                 {numbered(1), numbered(91)},
                                                 {numbered(2), numbered(92)},
                                                 {numbered(5), numbered(93)},
                                                 {numbered(7), numbered(99)},
                                                 {numbered(8), numbered(93)}},
                                 .groups = {group(81, "new", {6, 9})},
                                 .unassigned = tabIDs({10, 11})};
  const auto state = applyAssignment(old, answer, usable({1, 2, 3, 5, 6, 7, 10}));
  EXPECT_THAT(lines(state), ElementsAre(" 91 A: 1 2 3", " 93 C: 4 5", " 81 new: 6", "unassigned: 10"))
      << "2 was placed by hand; 7's group is gone; 8, 9 and 11 have moved on";
  EXPECT_EQ(state.placedURLs.size(), 5u);
  EXPECT_EQ(state.formerGroups.size(), 1u);
}

/// Whatever is done in whatever order, a tab is in one place at most, and the user's stay where they were
/// put.
TEST(TabGroupingMergeTest, noTabIsEverInTwoPlaces) {
  std::mt19937 random(1);
  const auto pick = [&](int bound) { return int(random() % unsigned(bound)); };
  const auto tabs = groupingTabs(webTabs(12));
  const TabGroupingEdits::Scene scene{tabs, {}};
  TabGroupingState state;
  for (int step = 0; step < 4000; ++step) {
    const auto someGroup = [&] {
      return state.groups.empty() ? numbered(99)
                                  : state.groups[std::size_t(pick(int(state.groups.size())))].id;
    };
    TabGroupingAnswer answer;
    UsableTabs known;
    std::vector<TabGroup> made(3, TabGroup{.name = "x"});
    const bool regroup = pick(2) == 0;
    for (const auto& tab : tabs) {
      if (pick(5) > 0) known.emplace(tab.id, tab.url);
      const int place = pick(5);
      if (place < 3) made[std::size_t(place)].tabIDs.push_back(tab.id);
      if (place == 3) answer.unassigned.push_back(tab.id);
      if (place == 4 && !regroup) answer.assignments.push_back({tab.id, someGroup()});
    }
    for (auto& one : made) one.id = Uuid::random();
    answer.groups = std::move(made);
    const auto tab = tabs[std::size_t(pick(12))].id;
    const auto placed = state.userPlaced.value_or(std::vector<Uuid>());
    const auto before = state;
    switch (pick(40)) {
    case 0:
      TabGroupingEdits::addToNewGroup(state, scene, {tab, tabs[0].id, tab, numbered(50)}, "");
      break;
    case 1:
      TabGroupingEdits::moveTab(state, scene, tab, someGroup(), tabs[1].id);
      break;
    case 2:
      TabGroupingEdits::removeFromGroup(state, scene, tab);
      break;
    case 3:
      state = {};
      break;
    default:
      state = regroup ? applyRegroup(state, answer, known) : applyAssignment(state, answer, known);
      for (const auto& id : placed) {
        const auto* now = TabGroupingPlaces(state).groupOf(id);
        const auto* then = TabGroupingPlaces(before).groupOf(id);
        ASSERT_EQ(now ? now->id : numbered(0), then ? then->id : numbered(0));
      }
    }
    tidy(state, tabs);
    std::set<Uuid> seen(state.unassigned.begin(), state.unassigned.end());
    std::size_t places = state.unassigned.size();
    for (const auto& one : state.groups) {
      ASSERT_FALSE(one.tabIDs.empty());
      seen.insert(one.tabIDs.begin(), one.tabIDs.end());
      places += one.tabIDs.size();
    }
    ASSERT_EQ(seen.size(), places);
  }
}

TEST(TabGroupingHintsTest, theNewestAreKeptAndAPageBelongsToTheGroupItWasPutIntoLast) {
  TabGroupingHints::Hints hints;
  for (int i = 0; i < 60; ++i) {
    TabGroupingHints::remember(hints,
                               {std::to_string(i), "n", {"a" + std::to_string(i), "b"}, Date(Seconds(i))});
  }
  EXPECT_EQ(hints.size(), TabGroupingHints::mostHints);
  EXPECT_EQ(hints.front().key, "10");
  TabGroupingHints::remember(hints, {"10", "n", {"a10", "b"}, Date(Seconds(99))});
  EXPECT_EQ(hints.front().updatedAt, Date(Seconds(10))) << "nothing new";
  TabGroupingHints::remember(hints, {"10", "n", {"a10", "a10"}, Date(Seconds(99))});
  EXPECT_EQ(hints.front().key, "11") << "one page is no group";
  TabGroupingHints::separate(hints, "b", "59");
  ASSERT_EQ(hints.size(), 1u);
  EXPECT_EQ(hints[0].key, "59");
}

}  // namespace
}  // namespace vale::test
