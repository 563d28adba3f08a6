#include "agents/AgentProviderStatus.h"

#include <gtest/gtest.h>

namespace vale::test {
namespace {

TEST(AgentProviderStatus, tellsWhatIsMissingFirst) {
  AgentProviderStatus status;
  EXPECT_EQ(status.message(),
            "Install Codex with npm install -g @openai/codex in Terminal, then sign in with codex "
            "login. Install Node.js 18 or later first.");
  status.nodeFound = true;
  EXPECT_TRUE(status.message().ends_with(" in Terminal, then sign in with codex login."));
  EXPECT_EQ(AgentProviderStatus{.provider = AgentProvider::claude}.message(),
            "Install Claude Code with curl -fsSL https://claude.ai/install.sh | bash in Terminal, then sign "
            "in with "
            "claude auth login.");

  status.authentication = AgentAuthentication{.signedIn = true, .message = "Signed in to Codex."};
  EXPECT_FALSE(status.isReady());
  status.installation = CLIInstallation{AgentProvider::codex, "/opt/codex", CLIVersion::parse("0.144.3"), {}};
  EXPECT_FALSE(status.isReady());
  EXPECT_TRUE(
      status.message(CLIInstallations::Place::onboarding).ends_with(" in Terminal to use it in Vale."));
  status.installation->version = CLIVersion::parse("0.144.4");
  EXPECT_TRUE(status.isReady());
  EXPECT_EQ(status.message(), "Signed in to Codex.");
  status.authentication->signedIn.reset();
  EXPECT_FALSE(status.isReady());
  status.authentication.reset();
  EXPECT_FALSE(status.isReady());
  EXPECT_EQ(status.message(), "Checking sign-in…");
}

}  // namespace
}  // namespace vale::test
