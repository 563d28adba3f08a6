#include "app/StartPageAnswers.h"

#include "browser/BuiltInAddresses.h"
#include "support/BrowserTest.h"
#include "support/ScriptedClient.h"

#include <gmock/gmock.h>

namespace vale::test {
namespace {

using testing::HasSubstr;

struct StartPageAnswersTest : BrowserTest {
  BrowserWindows windows{*session, engine, [] { return std::make_shared<HeadlessEngine>(); }};
  ScriptedClient client;
  ModelInputFilter filter;
  TabGroupingCoordinator grouping{{.client = client,
                                   .inputFilter = filter,
                                   .file = folder / "tab-groups.json",
                                   .preferences = preferences,
                                   .surroundings = {queues.main, queues.workers, clock},
                                   .inputIdleTime = [] { return Seconds(0); }}};
  std::vector<Uuid> brought;
  StartPageAnswers answers{grouping, windows, queues.main,
                           [this](const Uuid& tab) { brought.push_back(tab); }};
  BrowserModel& model = windows.openNew();

  StartPageAnswersTest() {
    const auto& entry = *windows.entry(model.id);
    grouping.attach(entry.model);
    answers.attach(entry.model);
  }
  ~StartPageAnswersTest() override { grouping.shutdown(); }

  void settle() {
    queues.context.restart();
    queues.context.poll();
  }
  Uuid open(const std::string& address, const std::string& title) {
    const auto tab = model.open(address, {});
    dynamic_cast<HeadlessPage&>(*tab->page()).finishLoad(PageTransition::opened, {address, "", false});
    dynamic_cast<HeadlessPage&>(*tab->page()).setTitle(title);
    settle();
    return tab->id;
  }
  json::object ask(const json::object& question) {
    return parseJson(answers.answer(jsonText(question))).as_object();
  }
};

TEST_F(StartPageAnswersTest, theUsersEditsComeBackAsTheStateAfterThem) {
  const auto one = open("https://one.org/", "One"), two = open("https://two.org/a?b", "Two <b>");
  windows.openNew(BrowsingMode::isPrivate).open("https://secret.org/", {});
  auto state = ask({{"ask", "moveToNew"}, {"tab", one.text()}});
  const auto group = state["sections"].at(0).at("groupID").as_string();
  state = ask({{"ask", "rename"}, {"group", group}, {"name", " A\nname "}});
  EXPECT_EQ(state["sections"].at(0).at("title"), "A name");
  state = ask({{"ask", "move"}, {"tab", two.text()}, {"group", group}});
  EXPECT_EQ(state["sections"].as_array().size(), 1u);
  EXPECT_EQ(state["sections"].at(0).at("tabs").at(1).at("title"), "Two <b>");
  EXPECT_EQ(state["sections"].at(0).at("tabs").at(1).at("site"), "two.org");
  state = ask({{"ask", "collapse"}, {"group", group}, {"on", true}});
  EXPECT_EQ(state["sections"].at(0).at("collapsed"), true);
  ask({{"ask", "show"}, {"tab", two.text()}});
  EXPECT_EQ(brought, std::vector{two});
  state = ask({{"ask", "closeGroup"}, {"group", group}});
  EXPECT_FALSE(model.indexOf(one) || model.indexOf(two));
  EXPECT_THAT(jsonText(state), testing::Not(HasSubstr("secret")));
  EXPECT_EQ(client.calls(), 0u);
}

TEST_F(StartPageAnswersTest, whatItDoesNotKnowIsAProblemAndChangesNothing) {
  for (const char* question : {"", "[]", "{}", R"({"ask":"eval"})", R"({"ask":"move"})",
                               R"({"ask":"move","tab":"x"})", R"({"ask":"automatic","on":"yes"})"}) {
    EXPECT_THAT(answers.answer(question), HasSubstr(R"({"problem":)")) << question;
  }
  EXPECT_FALSE(grouping.automatic().value());
}

TEST_F(StartPageAnswersTest, thePageIsToldOnceOfChangesWhileItIsOnScreen) {
  int told = 0;
  answers.onChange = [&told] { ++told; };
  const auto first = open("https://one.org/", "One");
  EXPECT_EQ(told, 0);
  model.open(std::string(startAddress), {});
  settle();
  EXPECT_GE(std::exchange(told, 0), 1);
  const auto page = model.tab(first)->page();
  for (int i = 0; i < 9; ++i) dynamic_cast<HeadlessPage&>(*page).setTitle(std::string(1, char('a' + i)));
  settle();
  EXPECT_EQ(std::exchange(told, 0), 1);
  model.select(first);
  settle();
  dynamic_cast<HeadlessPage&>(*page).setTitle("unseen");
  settle();
  EXPECT_EQ(told, 0);
}

}  // namespace
}  // namespace vale::test
