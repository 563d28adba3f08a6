#include "intelligence/ModelCatalog.h"

#include "common/PrivateFiles.h"
#include "intelligence/ModelCatalogReader.h"
#include "support/ManualClock.h"
#include "support/TemporaryFolder.h"
#include "support/TestQueues.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/stat.h>

namespace vale::test {
namespace {

using enum AgentProvider;
using testing::ElementsAre;
using testing::Field;
using testing::IsEmpty;

ModelCatalog catalogOf(const std::vector<std::string>& codexModels) {
  ModelCatalog catalog;
  for (const auto& id : codexModels) catalog.codex.push_back({.id = id});
  return catalog;
}

TEST(ModelCatalogTest, asksForTheUsualModelOrTheFastOneOrNone) {
  using enum IntelligenceOperation;
  const auto both = catalogOf({"gpt-6-sol", "gpt-6-luna"});
  EXPECT_EQ(both.intelligenceChoice(tabAssignment, codex).model, "gpt-6-sol");
  EXPECT_EQ(both.intelligenceChoice(tabGrouping, codex).model, "gpt-6-luna");
  EXPECT_EQ(both.intelligenceChoice(tabGrouping, claude).model, "sonnet");
  EXPECT_EQ(both.intelligenceChoice(tabGrouping, claude).effort, std::nullopt);
  EXPECT_EQ(both.intelligenceChoice(projectAreas, claude).effort, "low");
  EXPECT_EQ(catalogOf({"gpt-6-luna"}).intelligenceChoice(routing, codex).model, "gpt-6-luna");
  EXPECT_EQ(catalogOf({"gpt-6-sol"}).intelligenceChoice(general, codex).model, std::nullopt);
  EXPECT_EQ(catalogOf({}).intelligenceChoice(routing, codex).model, std::nullopt);
  EXPECT_EQ(description(ModelCatalog().intelligenceChoice(routing, codex)), "default");
}

TEST(ModelCatalogTest, suggestsAnUpdateOnlyWhereItWouldHelp) {
  auto catalog = catalogOf({"gpt-5.5"});
  catalog.codexCacheClientVersion = CLIVersion::parse("0.144.4");
  const auto version = [](const char* text) { return CLIVersion::parse(text); };
  EXPECT_EQ(catalog.codexUpdateNote(version("0.144.4")),
            "Update Codex with codex update in Terminal to use gpt-6-luna");
  EXPECT_EQ(catalog.codexUpdateNote(version("0.169.0")), std::nullopt);
  EXPECT_EQ(catalog.codexUpdateNote({}), std::nullopt);
  EXPECT_EQ(catalogOf({}).codexUpdateNote(version("0.144.4")), std::nullopt);
  EXPECT_EQ(catalogOf({"gpt-6-luna"}).codexUpdateNote(version("0.144.4")), std::nullopt);
}

TEST(ModelCatalogTest, listsCodexModelsByPriorityWhateverElseIsInTheFile) {
  const auto read = ModelCatalog::codexModels(R"({"client_version": "0.169.0", "models": [
    {"slug": "last", "visibility": "list"},
    {"slug": "b", "visibility": "list", "priority": 2, "display_name": "B\nb", "description": "Bee",
     "supported_reasoning_levels": [{"effort": "low"}, {"effort": 7}, "x", {"effort": "high"}],
     "default_reasoning_level": "low"},
    {"slug": "b2", "visibility": "list", "priority": 2},
    {"slug": "hidden", "visibility": "hide", "priority": 0},
    {"slug": "unsaid", "priority": 0}, {"visibility": "list"}, 7, null,
    {"slug": "--config=x", "visibility": "list"},
    {"slug": "a", "visibility": "list", "priority": -1.5}]})");
  EXPECT_THAT(read.models, ElementsAre(Field(&AgentModel::id, "a"), Field(&AgentModel::id, "b"),
                                       Field(&AgentModel::id, "b2"), Field(&AgentModel::id, "last")));
  EXPECT_EQ(
      read.models[1],
      (AgentModel{
          .id = "b", .label = "B b", .summary = "Bee", .efforts = {"low", "high"}, .defaultEffort = "low"}));
  EXPECT_EQ(read.models[0].label, "a");
  EXPECT_EQ(read.clientVersion, CLIVersion::parse("0.169.0"));
  for (const char* broken : {"", "[]", "{\"models\": {}}", "{\"models\": [", "\xff\0"}) {
    EXPECT_THAT(ModelCatalog::codexModels(broken).models, IsEmpty()) << broken;
  }
}

TEST(ModelCatalogTest, readsATopLevelStringOfTOML) {
  const std::pair<const char*, const char*> cases[] = {
      {"# model = \"no\"\nmodel_provider = \"x\"\nmodel = \"gpt-6-sol\" # yes\n", "gpt-6-sol"},
      {"model='it\\s'\r\n", "it\\s"},
      {"model = \"a\\\"b\"", "a\"b"},
  };
  for (const auto& [toml, value] : cases)
    EXPECT_EQ(ModelCatalog::topLevelString("model", toml), value) << toml;
  for (const char* none : {"[profile]\nmodel = \"no\"", "model = \"\"", "model = \"open", "model = 5",
                           "model = \"\"\"a\"\"\"", "model = \"a\" \"b\"", ""})
    EXPECT_EQ(ModelCatalog::topLevelString("model", none), std::nullopt) << none;
}

TEST(ModelCatalogTest, followsTheFilesOfCodex) {
  TemporaryFolder folder;
  TestQueues queues;
  ManualClock clock;
  ModelCatalogReader reader(folder.path(), {queues.main, queues.workers, clock});
  int changes = 0;
  const auto subscription = reader.catalog().subscribe([&](const auto&) { ++changes; });
  const auto refresh = [&] {
    bool ended = false;
    asio::co_spawn(queues.context, reader.refresh(), [&](std::exception_ptr) { ended = true; });
    queues.runUntil([&] { return ended; });
    return reader.catalog().value();
  };
  EXPECT_EQ(refresh(), ModelCatalog());

  PrivateFiles::write(R"({"models": [{"slug": "a", "visibility": "list"}]})", folder / "models_cache.json");
  PrivateFiles::write("model = \"b\"\n", folder / "config.toml");
  EXPECT_EQ(refresh().codex.size(), 1u);
  EXPECT_EQ(refresh().codexConfiguredModel, "b");
  EXPECT_EQ(changes, 1);

  // Too large, not a file, and gone: as if there were none.
  PrivateFiles::write(std::string(5 << 20, ' '), folder / "models_cache.json");
  std::filesystem::remove(folder / "config.toml");
  ASSERT_EQ(::mkfifo((folder / "config.toml").c_str(), 0600), 0);
  EXPECT_EQ(refresh(), ModelCatalog());
}

}  // namespace
}  // namespace vale::test
