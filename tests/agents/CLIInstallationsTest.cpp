#include "agents/CLIInstallations.h"

#include "support/Program.h"
#include "support/TemporaryFolder.h"
#include "support/TestQueues.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/stat.h>

namespace vale::test {
namespace {

using testing::ElementsAre;
namespace fs = std::filesystem;

struct CLIInstallationsTest : testing::Test {
  TestQueues queues;
  TemporaryFolder folder;
  const std::string root = folder.path();

  /// Those below the test's own folder, relative to it: the machine may have CLIs of its own.
  std::vector<std::string> candidates(AgentProvider provider, const std::string& path,
                                      const std::string& loginPath) {
    std::vector<std::string> own;
    for (const auto& candidate : CLIInstallations::candidates(provider, folder / "home", path, loginPath)) {
      if (candidate.string().starts_with(root)) own.push_back(candidate.string().substr(root.size() + 1));
    }
    return own;
  }

  std::vector<CLIInstallation> discover(std::vector<fs::path> candidates, Seconds timeout = Seconds(20)) {
    return queues.run(CLIInstallations::discover(AgentProvider::codex, std::move(candidates),
                                                 {{"PATH", "/usr/bin:/bin"}}, timeout, queues.workers));
  }
};

TEST_F(CLIInstallationsTest, candidatesComeInOrderAndOnce) {
  for (const auto* place :
       {"home/.nvm/versions/node/v9/bin", "home/.nvm/versions/node/v18/bin", "login", "path",
        "home/.local/share/fnm/aliases/default/bin", "home/.claude/local", "home/.local/bin"}) {
    for (const auto* name : {"claude", "codex"}) writeProgram(folder / place / name, "");
  }
  fs::create_directory_symlink("path", folder / "again");
  const auto path = fmt::format("path::{0}/path/:{0}/home/.local/bin:{0}/./path:{0}/again", root);
  const auto login = fmt::format("{0}/no:{0}/again/../login:{0}/path", root);
  EXPECT_THAT(candidates(AgentProvider::claude, path, login),
              ElementsAre("home/.local/bin/claude", "home/.claude/local/claude", "path/claude",
                          "again/../login/claude", "home/.local/share/fnm/aliases/default/bin/claude",
                          "home/.nvm/versions/node/v18/bin/claude", "home/.nvm/versions/node/v9/bin/claude"));
  EXPECT_EQ(candidates(AgentProvider::codex, path, login).size(), 6u) << "all but Claude Code's own folder";
}

TEST_F(CLIInstallationsTest, candidatesAreFilesThatCanBeRun) {
  for (const auto* place : {"folder/codex", "fifo", "text", "dangling"})
    fs::create_directories(folder / place);
  ASSERT_EQ(mkfifo((folder / "fifo/codex").c_str(), 0700), 0);
  std::ofstream(folder / "text/codex") << "not executable";
  fs::create_symlink("nowhere", folder / "dangling/codex");
  const auto path = fmt::format("{0}/folder:{0}/fifo:{0}/text:{0}/dangling", root);
  EXPECT_THAT(candidates(AgentProvider::codex, path, path), testing::IsEmpty());
}

TEST_F(CLIInstallationsTest, asksAllAtOnceAndKeepsThoseThatAnswerInTheOrderGiven) {
  const auto program = [&](const char* name, std::string_view script) {
    return writeProgram(folder / name, script);
  };
  const auto first =
      program("first", "cd ${0%/*}; until [ -e mark ]; do sleep 0.01; done; echo codex-cli 0.169.0");
  const auto early = program("early", "echo $* 0.1.2; echo > ${0%/*}/mark");
  const auto vague = program("vague", "printf 'no\\033number\\nhere\\377'");
  program("own/tool", "echo 3.4");
  const auto launcher = program("own/codex", "exec tool");
  const auto found = discover(
      {folder / "missing", folder.path(), first, program("failing", "echo 1.0; exit 1"),
       program("crashing", "echo 1.0; kill -9 $$"), early, vague, program("endless", "yes 1.0"), launcher});
  std::vector<std::string> texts;
  for (const auto& each : found) texts.push_back(each.versionText);
  ASSERT_THAT(texts, ElementsAre("codex-cli 0.169.0", "--version 0.1.2", "no number here\uFFFD", "3.4"));
  EXPECT_EQ(found[0].version, CLIVersion::parse("0.169.0"));
  EXPECT_EQ(found[2].version, std::nullopt);
  EXPECT_EQ(CLIInstallations::preferred({found[1], found[3], found[0]})->url, launcher);
  EXPECT_EQ(CLIInstallations::preferred({found[2], found[1]})->url, vague);
}

TEST_F(CLIInstallationsTest, passesOverWhatHangs) {
  const auto hanging = writeProgram(folder / "cli", "echo 1.0; trap '' TERM; sleep 1000");
  EXPECT_TRUE(discover({hanging}, Seconds(0.2)).empty());
  EXPECT_TRUE(discover({}).empty());
}

TEST(CLIInstallations, namesTheUpdateCommandOfWhatIsTooOld) {
  const auto problem = [](AgentProvider provider, const char* version, CLIInstallations::Place place) {
    const CLIInstallation installation{provider, "/opt/cli", CLIVersion::parse(version), version};
    return CLIInstallations::versionProblem(installation, place).value_or("none");
  };
  using enum AgentProvider;
  using enum CLIInstallations::Place;
  EXPECT_EQ(problem(codex, "0.144.4", browser), "none");
  EXPECT_EQ(problem(claude, "2.1.261", onboarding), "none");
  EXPECT_EQ(
      problem(codex, "0.144.4-alpha.9", browser),
      "Codex needs version 0.144.4 or later; this computer has 0.144.4-alpha.9. Update Codex with codex "
      "update in Terminal, then check agents again.");
  EXPECT_EQ(
      problem(claude, "unreadable", onboarding),
      "Claude Code needs version 2.1.261 or later; the version of /opt/cli could not be read. Update Claude "
      "Code with claude update in Terminal to use it in Vale.");
}

}  // namespace
}  // namespace vale::test
