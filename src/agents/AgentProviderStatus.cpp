#include "agents/AgentProviderStatus.h"

#include <fmt/format.h>

namespace vale {
namespace {

std::string installMessage(AgentProvider provider, bool nodeFound) {
  std::string_view command = "curl -fsSL https://claude.ai/install.sh | bash";
  std::string_view addition;
  if (provider == AgentProvider::codex) {
    command = "npm install -g @openai/codex";
#ifdef __APPLE__
    if (!nodeFound) command = "brew install --cask codex";
#else
    if (!nodeFound) addition = " Install Node.js 18 or later first.";
#endif
  }
  return fmt::format("Install {} with {} in Terminal, then sign in with {}.{}", productName(provider),
                     command, signInCommand(provider), addition);
}

}  // namespace

bool AgentProviderStatus::isReady() const {
  return installation && !CLIInstallations::versionProblem(*installation) && authentication &&
         authentication->signedIn == true;
}

std::string AgentProviderStatus::message(CLIInstallations::Place place) const {
  if (!installation) return installMessage(provider, nodeFound);
  if (auto problem = CLIInstallations::versionProblem(*installation, place)) return *std::move(problem);
  if (!authentication) return "Checking sign-in…";
  return authentication->message;
}

}  // namespace vale
