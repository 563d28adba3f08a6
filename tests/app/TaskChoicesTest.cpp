#include "app/TaskChoices.h"

#include "support/ManualClock.h"
#include "support/TemporaryFolder.h"
#include "support/TestQueues.h"

#include <gtest/gtest.h>

namespace vale {
namespace {

std::string idsOf(const std::vector<TaskChoice>& choices) {
  std::string text;
  for (const auto& choice : choices) text += choice.id.value_or("[" + choice.name + "]") + " ";
  return text;
}

TEST(TaskChoices, areLedByTheCLIsOwnAndKeepWhatIsNotListed) {
  ModelCatalog catalog;
  const auto codex = AgentProvider::codex, claude = AgentProvider::claude;
  EXPECT_EQ(idsOf(taskModelChoices(catalog, codex, "old")), "[Its own choice] old ");
  EXPECT_EQ(idsOf(taskEffortChoices(catalog, codex, "old", "high")), "[Its own choice] high ");
  catalog.codex = {{.id = "a", .label = "A", .efforts = {"low", "high"}, .defaultEffort = "low"},
                   {.id = "b", .label = "B", .efforts = {"low", "max"}}};
  catalog.codexConfiguredModel = "a";
  EXPECT_EQ(idsOf(taskModelChoices(catalog, codex, "b")), "[Its own (A)] a b ");
  EXPECT_EQ(idsOf(taskEffortChoices(catalog, codex, {}, {})), "[Its own (low)] low high ");
  EXPECT_EQ(idsOf(taskEffortChoices(catalog, codex, "b", "high")), "[Its own choice] low max high ");
  EXPECT_EQ(idsOf(taskEffortChoices(catalog, codex, "old", {})), "[Its own choice] low high max ");
  catalog.codexConfiguredModel = "x\u202ey";
  EXPECT_EQ(taskModelChoices(catalog, codex, {})[0].name, "Its own (x y)");
  EXPECT_EQ(taskModelChoices(catalog, claude, {}).size(), ModelCatalog::claudeModels().size() + 1);
}

/// Settings as they are after a start.
struct TaskSettings : testing::Test {
  test::TestQueues queues;
  test::ManualClock clock;
  test::TemporaryFolder folder;
  std::unique_ptr<Preferences> preferences;
  std::unique_ptr<IntelligenceSettings> settings;

  void SetUp() override { start(); }
  void start() {
    settings.reset();
    if (preferences) preferences->save();
    preferences =
        std::make_unique<Preferences>(folder / "preferences.json", queues.main, queues.workers, clock);
    settings = std::make_unique<IntelligenceSettings>(*preferences);
  }
};

TEST_F(TaskSettings, aRequestBeginsWithTheAccessThatTheSettingsNameAndElseOnlyReads) {
  EXPECT_EQ(taskAccess(*preferences), AgentAccess::readOnly);
  preferences->set(taskAccessKey, json::string(rawValue(AgentAccess::projectWrite)));
  start();
  EXPECT_EQ(taskAccess(*preferences), AgentAccess::projectWrite);
  for (const json::value& other : {json::value("everything"), json::value(true), json::value(nullptr)}) {
    preferences->set(taskAccessKey, other);
    EXPECT_EQ(taskAccess(*preferences), AgentAccess::readOnly);
  }
}

TEST_F(TaskSettings, whatTheAgentNoLongerOffersIsSaidAndLeftToIt) {
  const auto codex = AgentProvider::codex;
  ModelCatalog catalog;
  catalog.codex = {{.id = "a", .label = "A", .efforts = {"low", "high"}, .defaultEffort = "low"}};
  settings->setTaskProvider(codex);
  settings->setTaskModel("a", codex);
  settings->setTaskEffort("high", codex);
  start();
  EXPECT_EQ(settings->taskProvider().value(), codex);
  EXPECT_EQ(settings->taskModel(codex, catalog), "a");
  EXPECT_EQ(settings->taskEffort(codex, "a", catalog), "high");
  EXPECT_EQ(taskFallback(*settings, catalog, codex), "");

  catalog.codex = {{.id = "b", .label = "B", .efforts = {"low"}, .defaultEffort = "low"}};
  catalog.codexConfiguredModel = "b";
  EXPECT_EQ(settings->taskModel(codex, catalog), std::nullopt);
  EXPECT_EQ(taskFallback(*settings, catalog, codex),
            "Codex does not offer the model “a” any more and takes its usual one. This model does not know "
            "the effort “high” and takes its usual one.");
  EXPECT_EQ(taskFallback(*settings, catalog, AgentProvider::claude), "");
}

}  // namespace
}  // namespace vale
