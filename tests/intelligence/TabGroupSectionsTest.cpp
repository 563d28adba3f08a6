#include "intelligence/TabGroupSections.h"

#include "intelligence/TabGroupingPlaces.h"
#include "support/GroupableTabs.h"

#include <gmock/gmock.h>

namespace vale::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST(TabGroupSectionsTest, everyTabIsDrawnOnceInTheFixedOrder) {
  TabGroupingState state;
  state.groups = {{.id = numbered(91), .name = "Trip", .tabIDs = tabIDs({3, 1, 8, 4}), .comparable = true},
                  {.id = numbered(92), .name = "Closed", .tabIDs = tabIDs({70, 71})},
                  {.id = numbered(93), .name = "Mine", .tabIDs = tabIDs({5, 6}), .collapsed = true}};
  state.unassigned = tabIDs({2});
  state.placedURLs = {{numbered(1).text(), "https://s1.org"},
                      {numbered(2).text(), "https://s2.org"},
                      {numbered(4).text(), "https://elsewhere.org"},
                      {numbered(6).text(), "https://elsewhere.org"}};
  state.userPlaced = tabIDs({6});
  auto tabs = webTabs(7);
  tabs.push_back({.id = numbered(8), .url = "about:blank"});
  for (const int number : {9, 10, 11}) {
    tabs.push_back(webTab(number));
    tabs.back().agentOwner = number == 10 ? "B" : "A";
  }
  tabs.push_back(webTab(1));  // one identity twice
  const auto drawn = sections(state, groupingTabs(tabs));
  EXPECT_THAT(lines(drawn), ElementsAre("Trip: 3 1", "Mine: 5 6", "Agent tabs: 9 11", "Agent tabs: 10",
                                        "New or changed tabs: 4 7", "Unassigned tabs: 2"))
      << "4 moved on; 6 did too, but the user put it there; 8 shows no web page";
  EXPECT_TRUE(drawn[0].comparable && drawn[1].collapsed);
  EXPECT_EQ(drawn[0].groupID, numbered(91));
  EXPECT_EQ(drawn[2].id, "agent:A");
  EXPECT_EQ(drawn[4].rationale, "Pages added or changed since the last grouping.");
  EXPECT_EQ(drawn[5].rationale, "Pages that fit no group.");
  EXPECT_THAT(sections({}, {}), IsEmpty());
}

TEST(TabGroupSectionsTest, closedTabsAreRememberedWithinABound) {
  TabGroupingState state;
  state.groups = {{.id = numbered(1), .tabIDs = {numbered(1)}}, {.id = numbered(2)}};
  for (int i = 0; i < int(mostAbsent); ++i) state.groups[0].tabIDs.push_back(numbered(1000 + i));
  state.placedURLs = {{numbered(1000).text(), "x"}, {numbered(5).text(), "x"}, {"nonsense", "x"}};
  state.formerGroups = {{numbered(5).text(), numbered(1)}};
  state.userPlaced = tabIDs({5});
  tidy(state, groupingTabs(webTabs(1)));
  ASSERT_EQ(state.groups.size(), 1u);
  EXPECT_EQ(state.groups[0].tabIDs.size(), mostAbsent + 1);
  EXPECT_EQ(state.placedURLs.size(), 1u);
  EXPECT_TRUE(state.formerGroups.empty() && !state.userPlaced);
  state.unassigned = tabIDs({7});
  tidy(state, groupingTabs(webTabs(1)));
  EXPECT_EQ(numbers(state.groups[0].tabIDs), " 1");
  EXPECT_THAT(state.unassigned, IsEmpty());
}

}  // namespace
}  // namespace vale::test
