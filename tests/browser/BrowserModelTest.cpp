#include "browser/BrowserWindows.h"
#include "support/BrowserTest.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

namespace vale::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

/// Windows over headless pages; tabs are told by the last letters of their addresses.
struct BrowserModelTest : BrowserTest {
  BrowserWindows windows{*session, engine, [] { return std::make_shared<HeadlessEngine>(); }};

  static std::string address(const std::string& name) {
    return name.empty() ? name : "https://x.org/" + name;
  }
  static std::string name(const BrowserTab* tab) {
    if (!tab) return "none";
    return tab->url().empty() ? "" : tab->url().substr(14);
  }
  static std::vector<std::string> names(const BrowserModel& model) {
    std::vector<std::string> found;
    for (const auto& tab : model.tabs()) found.push_back(name(tab.get()));
    return found;
  }
  static Uuid id(const BrowserModel& model, const std::string& wanted) {
    for (const auto& tab : model.tabs()) {
      if (name(tab.get()) == wanted) return tab->id;
    }
    ADD_FAILURE() << "no tab " << wanted;
    return {};
  }
  static std::string selected(const BrowserModel& model) { return name(model.selected().get()); }

  BrowserModel& window(const std::vector<std::string>& tabs) {
    auto& model = windows.openNew(BrowsingMode::ordinary, address(tabs.front()));
    for (std::size_t i = 1; i < tabs.size(); ++i) model.open(address(tabs[i]), {.selects = false});
    return model;
  }
  BrowserTab& link(BrowserModel& model, const std::string& from, const std::string& to, bool selects) {
    clock.advance(Seconds(1));
    return *model.open(address(to), {.opener = model.tab(id(model, from)), .selects = selects});
  }
  void pickTab(BrowserModel& model, const std::string& wanted) {
    clock.advance(Seconds(1));
    model.select(id(model, wanted));
  }
  void drain() {
    bool done = false;
    queues.main.post([&] { done = true; });
    queues.runUntil([&] { return done; });
  }
};

TEST_F(BrowserModelTest, linksOpenAfterTheirOpenerInTheirOrder) {
  auto& model = window({"A", "B"});
  for (const char* to : {"1", "2", "3"}) link(model, "A", to, false);
  EXPECT_THAT(names(model), ElementsAre("A", "1", "2", "3", "B"));
  link(model, "2", "2a", false);
  EXPECT_THAT(names(model), ElementsAre("A", "1", "2", "2a", "3", "B"));

  const auto gone = model.tab(id(model, "A"));
  model.close(gone->id);
  model.open(address("late"), {.opener = gone, .selects = false});
  EXPECT_EQ(names(model).back(), "late");

  model.setPinned(id(model, "B"), true);
  link(model, "B", "b1", false);
  link(model, "B", "b2", false);
  EXPECT_THAT(names(model), ElementsAre("B", "b1", "b2", "1", "2", "2a", "3", "late"));
  const auto group = model.createGroup({id(model, "1"), id(model, "3")});
  link(model, "1", "g", false);
  EXPECT_THAT(names(model), ElementsAre("B", "1", "g", "3", "b1", "b2", "2", "2a", "late"));
  EXPECT_THAT(model.group(*group)->tabIDs, SizeIs(3));
}

TEST_F(BrowserModelTest, aCloseSelectsWhatTheUserExpects) {
  auto& model = window({"A", "B", "C"});
  link(model, "A", "1", false);
  link(model, "A", "2", false);  // A 1 2 B C
  const auto closeAnd = [&](const std::string& closed) {
    model.close(id(model, closed));
    return selected(model);
  };
  EXPECT_EQ(closeAnd("C"), "A") << "closing another tab selects nothing new";
  pickTab(model, "1");
  EXPECT_EQ(closeAnd("1"), "2") << "the next of the opener's links";
  pickTab(model, "B");
  pickTab(model, "2");
  EXPECT_EQ(closeAnd("2"), "B") << "the user did not come from the opener";
  link(model, "A", "3", false);
  pickTab(model, "A");
  pickTab(model, "3");
  EXPECT_EQ(closeAnd("3"), "A") << "back to where the user came from";
  pickTab(model, "B");
  EXPECT_EQ(closeAnd("B"), "A") << "nothing to the right";

  const auto agent = model.open(address("agent"), {.selects = false, .agentOwner = Uuid::random()});
  model.open(address("D"), {.selects = false});
  EXPECT_THAT(names(model), ElementsAre("A", "D", "agent"));
  model.select(agent->id, SelectedBy::agent);
  EXPECT_EQ(closeAnd("agent"), "A") << "the user's own last selection";

  link(model, "D", "D1", true);
  model.close(id(model, "D1"), true);
  EXPECT_EQ(selected(model), "D");
}

TEST_F(BrowserModelTest, aClosedTabComesBackToItsPlaceAndGroup) {
  auto& model = window({"A", "B", "C", "D"});
  const auto group = *model.createGroup({id(model, "C"), id(model, "D")}, "Work");
  const auto reopened = [&] {
    model.reopen(model.recentlyClosed().value().front().id);
    return names(model);
  };
  for (const char* closed : {"D", "A"}) model.close(id(model, closed));
  EXPECT_EQ(model.recentlyClosed().value().front().url, address("A"));
  drain();
  EXPECT_THAT(reopened(), ElementsAre("C", "A", "B"));
  EXPECT_EQ(selected(model), "A");
  EXPECT_EQ(dynamic_cast<HeadlessPage&>(*model.selected()->page()).restoredFrom, "state of " + address("A"));
  EXPECT_THAT(reopened(), ElementsAre("C", "D", "A", "B"));
  EXPECT_EQ(model.groupOf(id(model, "D"))->id, group);
  model.close(id(model, "D"));
  model.ungroup(group);
  for (const char* closed : {"B", "C"}) model.close(id(model, closed));
  EXPECT_THAT(model.groups(), IsEmpty());
  for (int i = 0; i < 3; ++i) reopened();
  EXPECT_THAT(names(model), testing::UnorderedElementsAre("A", "B", "C", "D"));
  EXPECT_EQ(model.reopen(Uuid::random()), nullptr);

  for (int i = 0; i < 60; ++i) model.close(model.open(address(std::to_string(i)), {})->id);
  ASSERT_THAT(model.closedTabs(), SizeIs(50));
  EXPECT_EQ(model.closedTabs().front().saved.url, address("10"));
}

TEST_F(BrowserModelTest, movesKeepTheOrderOfTheWindow) {
  auto& model = window({"P", "A", "B", "C", "D"});
  model.setPinned(id(model, "P"), true);
  const auto group = *model.createGroup({id(model, "A"), id(model, "B")});
  const auto moved = [&](const std::string& tab, std::size_t index) {
    model.move(id(model, tab), index);
    return names(model);
  };
  EXPECT_THAT(moved("D", 0), ElementsAre("P", "A", "B", "D", "C")) << "not among the pinned";
  EXPECT_THAT(moved("D", 2), ElementsAre("P", "A", "D", "B", "C")) << "into the group";
  EXPECT_THAT(model.group(group)->tabIDs, SizeIs(3));
  EXPECT_THAT(moved("A", 4), ElementsAre("P", "D", "B", "A", "C")) << "to the end of its own group";
  EXPECT_THAT(model.group(group)->tabIDs, SizeIs(3));
  EXPECT_THAT(moved("D", 5), ElementsAre("P", "B", "A", "C", "D")) << "out of it";
  EXPECT_THAT(model.group(group)->tabIDs, SizeIs(2));
  EXPECT_THAT(moved("P", 99), ElementsAre("P", "B", "A", "C", "D"));
  const auto other = *model.createGroup({id(model, "C")});
  model.addToGroup({id(model, "A"), id(model, "C")}, other, 0);
  EXPECT_THAT(names(model), ElementsAre("P", "B", "A", "C", "D"));
  model.moveGroup(other, 0);
  EXPECT_THAT(names(model), ElementsAre("P", "A", "C", "B", "D"));
  model.addToGroup({id(model, "B")}, other);
  EXPECT_EQ(model.group(group), nullptr) << "an empty group ends";
  model.setGroupCollapsed(other, true);
  model.setPinned(id(model, "C"), true);
  EXPECT_EQ(model.groupOf(id(model, "C")), nullptr);
  model.select(id(model, "B"));
  EXPECT_FALSE(model.group(other)->collapsed) << "a selected tab can be seen";
  model.setGroupCollapsed(other, true);
  EXPECT_EQ(selected(model), "D");
}

TEST_F(BrowserModelTest, aFoldedGroupWaitsForAnyWindow) {
  auto& model = window({"A", "B"});
  const auto group = *model.createGroup({id(model, "A"), id(model, "B")}, "Trip");
  const auto first = id(model, "A");
  model.foldGroup(group, "Lisbon", "flats");
  EXPECT_THAT(names(model), ElementsAre("")) << "the window stays";
  EXPECT_THAT(model.recentlyClosed().value(), IsEmpty());
  EXPECT_EQ(session->folded().value().at(0).name, "Lisbon");
  auto& other = window({"X"});
  EXPECT_EQ(other.restoreFolded(group), group);
  EXPECT_THAT(names(other), ElementsAre("A", "B", "X"));
  EXPECT_EQ(id(other, "A"), first);
  EXPECT_EQ(other.group(group)->name, "Lisbon");
  EXPECT_EQ(other.restoreFolded(group), std::nullopt);
  EXPECT_THAT(session->folded().value(), IsEmpty());
}

TEST_F(BrowserModelTest, tabsMoveBetweenWindowsWithTheirPages) {
  auto& left = window({"A", "B"});
  auto& right = window({"X"});
  auto& hidden = windows.openNew(BrowsingMode::isPrivate, address("S"));
  left.select(id(left, "B"));
  const auto* page = left.selected()->page();
  const auto tab = left.selected()->id;
  EXPECT_FALSE(windows.moveTab(tab, hidden, 0));
  EXPECT_TRUE(windows.moveTab(tab, right, 0));
  EXPECT_THAT(names(right), ElementsAre("B", "X"));
  EXPECT_EQ(right.selected()->page(), page);
  EXPECT_EQ(selected(left), "A");
  EXPECT_THAT(left.recentlyClosed().value(), IsEmpty());
  auto* own = windows.detachToNewWindow(tab);
  ASSERT_TRUE(own);
  EXPECT_EQ(own->selected()->page(), page);
  EXPECT_EQ(windows.detachToNewWindow(tab), nullptr) << "it is alone already";
  const auto emptied = left.id;
  EXPECT_TRUE(windows.moveTab(id(left, "A"), right, 1));
  EXPECT_EQ(windows.entry(emptied), nullptr);
  EXPECT_THAT(windows.closedWindows().value(), IsEmpty());
}

TEST_F(BrowserModelTest, closedWindowsAreKeptAndPrivateOnesLeaveNothing) {
  const auto& hidden = windows.openNew(BrowsingMode::isPrivate, address("secret"));
  hidden.permissions()->decide(address("secret"), PermissionKind::camera, PermissionDecision::allow);
  EXPECT_EQ(session->permissions()->decision(address("secret"), PermissionKind::camera),
            PermissionDecision::ask);
  EXPECT_THAT(windows.snapshot(), IsEmpty());
  auto& empty = windows.openNew();
  windows.close(empty.id);
  EXPECT_EQ(windows.lastClosedAt(), std::nullopt);
  for (int i = 0; i < 11; ++i) windows.close(window({"w" + std::to_string(i)}).id);
  ASSERT_THAT(windows.closedWindows().value(), SizeIs(10));
  EXPECT_EQ(windows.closedWindows().value().front().saved.tabs[0].url, address("w1"));
  EXPECT_EQ(windows.closedWindowToKeep()->tabs[0].url, address("w10"));
  windows.reopenLastClosed();
  EXPECT_EQ(windows.closedWindowToKeep(), std::nullopt);
  EXPECT_EQ(selected(*windows.front()->model), "w10");

  auto& model = *windows.front()->model;
  model.close(model.selected()->id);
  EXPECT_THAT(windows.entries(), SizeIs(1)) << "the last tab takes its window along";
  EXPECT_EQ(windows.closedWindows().value().back().saved.tabs[0].url, address("w10"));
  auto& closing = *windows.entryOfTab(hidden.tabs()[0]->id)->model;
  closing.open(address("second"), {});
  closing.close(closing.selected()->id);
  EXPECT_THAT(closing.closedTabs(), IsEmpty());
  windows.close(closing.id);
  EXPECT_THAT(windows.closedWindows().value(), SizeIs(10));
  drain();
}

TEST_F(BrowserModelTest, aWindowComesBackAsItWasWithoutPages) {
  auto& model = window({"A", "B", "C", "D"});
  model.setPinned(id(model, "D"), true);
  model.createGroup({id(model, "B"), id(model, "C")}, "Work", TabGroupColor::pink);
  model.open("view-source:https://x.org/A", {.selects = false});
  model.open(address("agent"), {.selects = false, .agentOwner = Uuid::random()});
  model.setWallVisible(false);
  model.setTabLayout(TabLayout::horizontal);
  const auto saved = model.windowSnapshot();
  EXPECT_THAT(saved.tabs, SizeIs(4));
  EXPECT_EQ(saved.selected, model.selected()->id);
  EXPECT_EQ(jsonText(encode(saved)).find("wallWidth"), std::string::npos);

  const auto made = engine.made;
  auto& copy = windows.open(saved, true);
  EXPECT_EQ(engine.made, made + 1) << "only the selected tab has a page";
  EXPECT_EQ(names(copy), (std::vector<std::string>{"D", "B", "C", "A"}));
  EXPECT_NE(copy.tabs()[0]->id, model.tabs()[0]->id) << "one identity is never in two places";
  EXPECT_THAT(copy.groups()[0].tabIDs, ElementsAre(id(copy, "B"), id(copy, "C")));
  EXPECT_EQ(copy.groups()[0].color, TabGroupColor::pink);
  EXPECT_FALSE(copy.wallVisible().value());
  EXPECT_EQ(selected(copy), "A");
  pickTab(copy, "B");
  EXPECT_EQ(engine.made, made + 2);

  auto odd = saved;
  odd.tabs.insert(odd.tabs.end(), 2, odd.tabs[1]);
  odd.selected = Uuid::random();
  odd.groups->push_back({.id = odd.groups->front().id, .name = "Twice", .tabIDs = {odd.tabs[1].id, Uuid()}});
  auto& repaired = windows.open(odd, false);
  EXPECT_THAT(repaired.tabs(), SizeIs(6));
  EXPECT_THAT(repaired.groups(), SizeIs(1));
  std::vector<Uuid> ids;
  for (const auto& tab : repaired.tabs()) ids.push_back(tab->id);
  std::ranges::sort(ids);
  EXPECT_EQ(std::ranges::adjacent_find(ids), ids.end());
}

TEST_F(BrowserModelTest, pagesOpenAndCloseTabsAndSleepKeepsWhatTheyShowed) {
  auto& model = window({"A", "B"});
  auto& page = dynamic_cast<HeadlessPage&>(*model.tabs()[0]->page());
  NewPageRequest popup{.page = engine.newPage()};
  page.askForPage(popup);
  EXPECT_EQ(popup.page, nullptr);
  EXPECT_EQ(model.selected()->openerID, model.tabs()[0]->id);
  page.askForLink(address("L"), false);
  EXPECT_EQ(name(model.tabs()[2].get()), "L");
  page.askForWindow(address("W"));
  EXPECT_EQ(name(windows.entries().back().model->selected().get()), "W");
  auto& secret = windows.openNew(BrowsingMode::isPrivate, address("P"));
  dynamic_cast<HeadlessPage&>(*secret.selected()->page()).askForWindow(address("Q"));
  EXPECT_TRUE(windows.entries().back().model->isPrivate());
  EXPECT_EQ(name(windows.entries().back().model->selected().get()), "Q");
  dynamic_cast<HeadlessPage&>(*model.selected()->page()).askToClose();
  drain();
  EXPECT_EQ(selected(model), "A");
  model.select(id(model, "B"));
  page.setTitle("Title");
  EXPECT_FALSE(queues.run(model.hibernate(id(model, "B")))) << "the selected tab does not sleep";
  EXPECT_TRUE(queues.run(model.hibernate(id(model, "A"))));
  const auto& sleeper = *model.tabs()[0];
  EXPECT_EQ(sleeper.page(), nullptr);
  EXPECT_EQ(sleeper.title(), "Title");
  model.select(sleeper.id);
  EXPECT_EQ(dynamic_cast<HeadlessPage&>(*sleeper.page()).restoredFrom, "state of " + address("A"));
}

}  // namespace
}  // namespace vale::test
