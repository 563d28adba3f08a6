#include "browser/TabDrop.h"
#include "support/BrowserTest.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <sstream>

namespace vale::test {
namespace {

/// A window as a text: "*" before pinned tabs, "[name" a group's header, "(tab" a grouped tab, "@" an
/// agent's.
struct TabLinesTest : BrowserTest {
  std::shared_ptr<BrowserModel> model = window("*p *q Ga Gb Hc Hd e f");

  std::shared_ptr<BrowserModel> window(const std::string& tabs) {
    SavedWindow saved{.id = Uuid::random(), .groups = std::vector<ManualTabGroup>()};
    std::istringstream words(tabs);
    for (std::string word; words >> word;) {
      const std::string name(1, word.back()), group(1, word.front());
      saved.tabs.push_back(
          {.id = Uuid::random(), .url = "https://" + name, .title = name, .pinned = group == "*"});
      if (word.size() == 1 || group == "*") continue;
      if (saved.groups->empty() || saved.groups->back().name != group) {
        saved.groups->push_back({.id = Uuid::random(), .name = group});
      }
      saved.groups->back().tabIDs.push_back(saved.tabs.back().id);
    }
    auto made = std::make_shared<BrowserModel>(saved.id, *session, engine, BrowsingMode::ordinary);
    made->restore(saved);
    return made;
  }
  std::string text(const BrowserModel& of, std::string_view filter = {}) const {
    std::string all;
    for (const auto& line : tabLines(of, filter)) {
      all += all.empty() ? "" : " ";
      if (!line.tab) all += line.groupID == Uuid() ? "Agents:" : "[" + of.group(line.id)->name;
      if (!line.tab) continue;
      constexpr const char* marks[] = {"*", "", "(", "", "", "@"};
      all += marks[static_cast<std::size_t>(line.kind)] + line.tab->title();
    }
    return all;
  }
  TabLine line(const std::string& name) const {
    for (const auto& line : tabLines(*model)) {
      if ((line.tab ? line.tab->title() : model->group(line.id)->name) == name) return line;
    }
    return {};
  }
};

TEST_F(TabLinesTest, linesFollowTheGroupsAndTheFilterLooksIntoCollapsedOnes) {
  model->setGroupCollapsed(line("G").id, true);
  model->open("https://z", {.selects = false, .agentOwner = Uuid::random()});
  EXPECT_EQ(text(*model), "*p *q [G [H (c (d e f Agents: @z");
  EXPECT_EQ(text(*model, " B "), "[G (b");
  EXPECT_EQ(text(*model, "HTTPS://Z"), "Agents: @z");
}

TEST_F(TabLinesTest, splicesMakeTheNewListOfTheOldAndTouchLittle) {
  std::vector<std::unique_ptr<BrowserTab>> tabs;
  std::vector<TabLine> all;
  for (int i = 0; i < 400; ++i) {
    tabs.push_back(std::make_unique<BrowserTab>(Uuid::random(), clock));
    all.push_back({.id = tabs.back()->id, .tab = tabs.back().get()});
  }
  const auto carriedOut = [](std::vector<TabLine> list, const std::vector<TabLine>& after) {
    for (const auto& [position, removed, inserted] : lineSplices(list, after)) {
      list.erase(list.begin() + position, list.begin() + position + removed);
      list.insert(list.begin() + position, after.begin() + position, after.begin() + position + inserted);
    }
    return list;
  };
  std::mt19937 random(7);
  for (int round = 0; round < 300; ++round) {
    auto before = all, after = all;
    std::ranges::shuffle(before, random);
    if (round % 2) std::ranges::shuffle(after, random);
    before.resize(round % 5 ? random() % 12 : all.size());
    after.resize(random() % 12);
    ASSERT_EQ(carriedOut(before, after), after) << round;
  }
  // A tab that goes from one end to the other is the only one that moves.
  auto moved = all;
  std::ranges::rotate(moved, moved.begin() + 1);
  EXPECT_EQ(lineSplices(all, moved), (std::vector<LineSplice>{{0, 1, 0}, {399, 0, 1}}));
}

TEST_F(TabLinesTest, aDropPutsATabWhereItsLineSays) {
  using enum DropSide;
  const auto other = window("x y z");
  const TabMover fetch = [&](const Uuid& id, BrowserModel& target, std::size_t index) {
    target.adopt(other->detach(id), index);
  };
  const auto drop = [&](const BrowserModel& from, const std::string& name, const TabLine* on, DropSide side) {
    const auto tab = std::ranges::find(from.tabs(), name, [](const auto& tab) { return tab->title(); });
    putTab(*model, (*tab)->id, dropPlace(*model, on, side), fetch);
    return text(*model);
  };
  const auto onto = [&](const std::string& name, const std::string& target, DropSide side) {
    const auto on = line(target);
    return drop(*model, name, &on, side);
  };
  EXPECT_EQ(onto("e", "a", after), "*p *q [G (a (e (b [H (c (d f");
  EXPECT_EQ(onto("f", "G", before), "*p *q [G (a (e (b (f [H (c (d");
  EXPECT_EQ(onto("a", "f", after), "*p *q [G (e (b (f (a [H (c (d");
  EXPECT_EQ(onto("d", "p", before), "*d *p *q [G (e (b (f (a [H (c");
  EXPECT_EQ(drop(*model, "d", nullptr, after), "*p *q [G (e (b (f (a [H (c d");
  EXPECT_EQ(onto("b", "d", before), "*p *q [G (e (f (a [H (c b d");
  EXPECT_EQ(onto("d", "b", before), "*p *q [G (e (f (a [H (c d b");
  const auto group = line("f"), loose = line("b"), pinned = line("p");
  EXPECT_EQ(drop(*other, "x", &group, before), "*p *q [G (e (x (f (a [H (c d b");
  EXPECT_EQ(drop(*other, "y", &loose, after), "*p *q [G (e (x (f (a [H (c d b y");
  EXPECT_EQ(drop(*other, "z", &pinned, before), "*z *p *q [G (e (x (f (a [H (c d b y");

  EXPECT_EQ(dropIndexOfGroup(*model, line("G").id, nullptr, after), 1U);
  EXPECT_EQ(dropIndexOfGroup(*model, line("H").id, &group, before), 0U);
}

}  // namespace
}  // namespace vale::test
