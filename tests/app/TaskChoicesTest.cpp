#include "app/TaskChoices.h"

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

}  // namespace
}  // namespace vale
