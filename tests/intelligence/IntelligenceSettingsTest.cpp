#include "intelligence/IntelligenceSettings.h"

#include "support/ManualClock.h"
#include "support/TemporaryFolder.h"
#include "support/TestQueues.h"

#include <gtest/gtest.h>

namespace vale::test {
namespace {

using enum AgentProvider;
using Providers = std::set<AgentProvider>;

TEST(ProviderChoiceTest, resolvesToWhatIsReadyThenToWhatIsInstalled) {
  struct Case {
    std::optional<AgentProvider> preferred;
    AgentProvider fallback;
    Providers ready, installed;
    std::optional<AgentProvider> expected;
  };
  const Providers both{codex, claude};
  const Case cases[] = {
      {claude, codex, both, both, claude},    {{}, claude, both, both, claude},
      {claude, claude, {codex}, both, codex}, {{}, codex, {claude}, both, claude},
      {claude, codex, {}, both, claude},      {{}, claude, {}, both, codex},
      {codex, codex, {}, {claude}, claude},   {claude, codex, {}, {}, std::nullopt},
  };
  for (const auto& item : cases) {
    EXPECT_EQ(IntelligenceSettings::resolve(item.preferred, item.fallback, item.ready, item.installed),
              item.expected)
        << &item - cases;
  }
}

struct IntelligenceSettingsTest : testing::Test {
  TemporaryFolder folder;
  TestQueues queues;
  ManualClock clock;
  Preferences preferences{folder / "preferences.json", queues.main, queues.workers, clock};
};

TEST_F(IntelligenceSettingsTest, livesInThePreferencesAndFollowsThem) {
  preferences.set("ValeIntelligenceProvider", "somebody else");
  IntelligenceSettings settings(preferences);
  EXPECT_EQ(settings.intelligenceProvider().value(), std::nullopt);

  settings.setIntelligenceProvider(claude);
  settings.setTaskProvider(codex);
  settings.setTaskModel("opus", claude);
  settings.setTaskEffort("high", codex);
  EXPECT_EQ(preferences.string("ValeIntelligenceProvider"), "claude");
  EXPECT_EQ(preferences.string("ValeTaskProvider"), "codex");
  EXPECT_EQ(preferences.string("ValeTaskModel.claude"), "opus");
  EXPECT_EQ(preferences.string("ValeTaskEffort.codex"), "high");
  EXPECT_EQ(settings.taskModels().value().at(claude), "opus");

  preferences.set("ValeIntelligenceProvider", "codex");
  EXPECT_EQ(settings.intelligenceProvider().value(), codex);
  settings.setIntelligenceProvider({});
  settings.setTaskModel({}, claude);
  EXPECT_EQ(preferences.value("ValeIntelligenceProvider"), nullptr);
  EXPECT_EQ(preferences.value("ValeTaskModel.claude"), nullptr);
  EXPECT_TRUE(settings.taskModels().value().empty());
}

TEST_F(IntelligenceSettingsTest, aTaskIsNotAskedForWhatItsModelsDoNotOffer) {
  IntelligenceSettings settings(preferences);
  settings.setTaskModel("gpt-6-sol", codex);
  settings.setTaskEffort("ultra", codex);
  settings.setTaskModel("retired", claude);

  ModelCatalog catalog;
  EXPECT_EQ(settings.taskModel(codex, catalog), "gpt-6-sol");
  EXPECT_EQ(settings.taskEffort(codex, "gpt-6-sol", catalog), "ultra");
  EXPECT_EQ(settings.taskModel(claude, catalog), std::nullopt);
  catalog.codex = {{.id = "gpt-6-luna", .efforts = {"low"}}};
  catalog.codexConfiguredModel = "gpt-6-luna";
  EXPECT_EQ(settings.taskModel(codex, catalog), std::nullopt);
  EXPECT_EQ(settings.taskEffort(codex, {}, catalog), std::nullopt);
  EXPECT_EQ(settings.taskEffort(codex, "unlisted", catalog), "ultra");
}

}  // namespace
}  // namespace vale::test
