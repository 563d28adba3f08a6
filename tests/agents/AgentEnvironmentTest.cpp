#include "agents/AgentEnvironment.h"

#include "support/Program.h"
#include "support/TemporaryFolder.h"
#include "support/TestQueues.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace vale::test {
namespace {

using testing::StartsWith;

TEST(AgentEnvironment, leavesOutTheMarksOfAnAgentAndKeepsTheRest) {
  const EnvironmentVariables kept{
      {"CLAUDE_CONFIG_DIR", "/config"}, {"CLAUDETTE", "1"}, {"CODEX_HOME", "/codex"}};
  auto base = kept;
  base.insert({{"CLAUDECODE", "1"}, {"CLAUDE_CODE_SESSION_ID", "1"}, {"ANTHROPIC_BASE_URL", "http://proxy"}});
  auto expected = kept;
  expected["NO_COLOR"] = "1";
  expected["PATH"] = "/h/.local/bin:/opt/homebrew/bin:/usr/local/bin:/usr/bin:/bin";
  EXPECT_EQ(AgentEnvironment::child(base, "/h", "claude.ai", {}, {}), expected);
  expected["ANTHROPIC_BASE_URL"] = "http://proxy";
  EXPECT_EQ(AgentEnvironment::child(base, "/h", "api_key", {}, {}), expected);
}

TEST(AgentEnvironment, searchesTheExecutablesFolderFirstAndEveryFolderOnce) {
  const EnvironmentVariables base{{"PATH", "/usr/local/bin:/mine::/usr/bin:/mine"}, {"CLAUDECODE", "1"}};
  const auto path = "/nowhere/bin:/h/.local/bin:/opt/homebrew/bin:/usr/local/bin:/mine:/usr/bin:/login";
  EXPECT_EQ(AgentEnvironment::forExecutable(base, "/nowhere/bin/codex", "/h", "/login:/mine:"),
            (EnvironmentVariables{{"PATH", path}, {"CLAUDECODE", "1"}}));
}

struct LoginPath : testing::Test {
  TestQueues queues;
  TemporaryFolder home;

  std::string ask(const std::string& shell, std::string_view startUpFile, Seconds timeout = Seconds(20)) {
    std::ofstream(home / ".profile") << startUpFile;
    EnvironmentVariables environment{{"SHELL", shell}, {"HOME", home.path()}, {"PATH", "/usr/bin:/bin"}};
    return queues.run(AgentEnvironment::loginPath(environment, timeout, queues.workers)).value_or("none");
  }
};

TEST_F(LoginPath, isWhatTheStartUpFilesMakeItWhateverElseTheyDo) {
  for (const auto* startUpFile :
       {"printf 'PATH=/noise\\0'; read answer; PATH=/login:$PATH",
        "export OTHER='\nPATH=/noise'; printf PATH=/noise; PATH=/login:$PATH; false",
        "trap 'echo PATH=/noise' EXIT; PATH=/login:$PATH; no-such-command"}) {
    EXPECT_THAT(ask("/bin/sh", startUpFile), StartsWith("/login:")) << startUpFile;
    EXPECT_THAT(ask("/bin/bash", startUpFile), StartsWith("/login:")) << startUpFile;
  }
}

TEST_F(LoginPath, isNoneWhereTheShellDoesNotTell) {
  EXPECT_EQ(ask("/bin/sh", "exec sleep 1000", Seconds(0.2)), "none");
  EXPECT_EQ(ask("/bin/sh", "exit 3"), "none");
  EXPECT_EQ(ask("/no/such/shell", ""), "none");
  EXPECT_EQ(ask(writeProgram(home / "nologin", "printf 'PATH=/ran\\0'"), ""), "none");
}

}  // namespace
}  // namespace vale::test
