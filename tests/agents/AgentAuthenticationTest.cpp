#include "agents/AgentProviderStatus.h"
#include "support/Program.h"
#include "support/TemporaryFolder.h"
#include "support/TestQueues.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace vale::test {
namespace {

using testing::HasSubstr;
using enum AgentProvider;

struct AgentAuthenticationTest : testing::Test {
  TestQueues queues;
  TemporaryFolder folder;

  AgentAuthentication probe(AgentProvider provider, const std::string& script,
                            EnvironmentVariables environment = {}, Seconds timeout = Seconds(20)) {
    const auto cli = script.empty() ? folder / "missing" : writeProgram(folder / "cli", script);
    return queues.run(AgentAuthentication::probe(provider, cli, environment, timeout, queues.workers));
  }

  /// What a real CLI printed when asked with these words, and how it exited.
  static std::string recorded(std::string_view words, std::string_view name) {
    return fmt::format(
        "[ \"$*\" = '{}' ] && cd '{}/fixtures/samples' && cat {}.stdout && cat {}.stderr >&2 && "
        "exit $(cat {}.exit)\nexit 9",
        words, VALE_TESTS_DIR, name, name, name);
  }
};

TEST_F(AgentAuthenticationTest, readsWhatTheRealProgramsPrint) {
  const std::pair<std::string, AgentAuthentication> claudeCases[] = {
      {"signed-out",
       {false, "Sign in to Claude Code with claude auth login in Terminal, then check agents again."}},
      {"api-key", {true, "Signed in to Claude Code using an API key (ANTHROPIC_API_KEY).", "api_key"}},
      {"oauth-token", {true, "Signed in to Claude Code using an access token.", "oauth_token"}},
  };
  for (const auto& [name, expected] : claudeCases) {
    EXPECT_EQ(probe(claude, recorded("auth status", "claude-auth-status-" + name)), expected) << name;
  }
  const std::pair<std::string, AgentAuthentication> codexCases[] = {
      {"signed-out", {false, "Sign in to Codex with codex login in Terminal, then check agents again."}},
      {"api-key", {true, "Signed in to Codex using an API key.", "API key"}},
      {"chatgpt", {true, "Signed in to Codex using ChatGPT.", "ChatGPT"}},
  };
  const AgentAuthentication ofKey{true, "Signed in to Codex using an API key (CODEX_API_KEY).", "API key"};
  for (const auto& [name, expected] : codexCases) {
    const auto script = recorded("login status", "codex-login-status-" + name);
    EXPECT_EQ(probe(codex, script, {{"CODEX_API_KEY", " "}}), expected) << name;
    EXPECT_EQ(probe(codex, script, {{"CODEX_API_KEY", "sk-secret"}}), ofKey) << name;
  }
}

TEST_F(AgentAuthenticationTest, staysUnknownWhereTheProgramDoesNotAnswer) {
  EXPECT_EQ(probe(claude, "exec sleep 1000", {}, Seconds(0.2)),
            (AgentAuthentication{{}, "Claude Code did not report its sign-in in time. Check agents again."}));
  EXPECT_EQ(probe(codex, "exit 1", {{"CODEX_API_KEY", "sk-secret"}}).signedIn, std::nullopt);
  EXPECT_THAT(probe(codex, "").message,
              HasSubstr("Codex could not be asked for its sign-in: Could not launch "));
}

TEST(AgentAuthentication, readsTheOtherFormsOfClaudeStatus) {
  const std::pair<std::string, AgentAuthentication> cases[] = {
      {R"({"loggedIn":true,"authMethod":"claude.ai","email":"a@b.c","orgName":"Org","subscriptionType":"max"})",
       {true, "Signed in to Claude Code as a@b.c (Max plan).", "claude.ai", "a@b.c", "max"}},
      {"Warning!\n{\"loggedIn\":true,\"email\":null,\"orgName\":\" Or\\ng \",\"planTier\":\"Pro\"}\n",
       {true, "Signed in to Claude Code as Or g (Pro plan).", {}, "Or g", "Pro"}},
      {R"({"loggedIn":true,"authMethod":"third_party","apiProvider":"bedrock"})",
       {true, "Signed in to Claude Code using Amazon Bedrock.", "third_party"}},
      {R"({"loggedIn":true,"authMethod":"api_key","apiKeySource":"sk-ant-secret"})",
       {true, "Signed in to Claude Code using an API key.", "api_key"}},
  };
  for (const auto& [output, expected] : cases)
    EXPECT_EQ(AgentAuthentication::fromClaudeStatus(output), expected);
  for (const auto* output : {R"({"loggedIn":"yes"})", R"({"loggedIn":true)", "Logged in", "}{", ""}) {
    const auto result = AgentAuthentication::fromClaudeStatus(output);
    EXPECT_EQ(result.signedIn, std::nullopt) << output;
    EXPECT_THAT(result.message, HasSubstr("Run claude auth status in Terminal")) << output;
  }
}

TEST(AgentAuthentication, readsTheOtherWordsOfCodexStatusAndNoKey) {
  const std::tuple<std::string, int, std::string> cases[] = {
      {"WARNING: Not logged in yet?\n  Not logged in\n", 1, "Sign in to Codex with codex login"},
      {"Logged in using an API key - sk-proj-***ABCDE", 0, "Signed in to Codex using an API key."},
      {"Logged in using Amazon Bedrock API key - sk-***", 0,
       "Signed in to Codex using Amazon Bedrock API key."},
      {"All is well with sk-proj-***ABCDE", 0, "Signed in to Codex."},
      {"Error loading configuration: key = sk-proj-ABCDE", 1, "Run codex login status in Terminal"},
  };
  for (const auto& [output, exitStatus, message] : cases) {
    const auto result = AgentAuthentication::fromCodexStatus(output, exitStatus);
    EXPECT_THAT(result.message, testing::AllOf(HasSubstr(message), testing::Not(HasSubstr("sk-")))) << output;
    EXPECT_EQ(result.signedIn == true, exitStatus == 0) << output;
  }
}

}  // namespace
}  // namespace vale::test
