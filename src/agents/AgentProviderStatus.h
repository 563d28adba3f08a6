#pragma once

#include "agents/CLIInstallations.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vale {

/// What a CLI says of the user's sign-in.
struct AgentAuthentication {
  /// Absent while unknown.
  std::optional<bool> signedIn;
  /// A sentence for the user. No key, nor any part of one, is ever in it.
  std::string message;
  /// The CLI's own name of the way ("claude.ai", "api_key", "ChatGPT").
  std::optional<std::string> method;
  std::optional<std::string> account;
  std::optional<std::string> plan;

  bool operator==(const AgentAuthentication&) const = default;

  /// Asks the CLI itself: `claude auth status`, `codex login status`. Never fails: what cannot be told is
  /// unknown. `environment` is that of a run (AgentEnvironment::child), so that the answer holds for runs.
  static Task<AgentAuthentication> probe(AgentProvider provider, std::filesystem::path executable,
                                         EnvironmentVariables environment, Seconds timeout,
                                         WorkerPool& workers);

  /// What `claude auth status` printed on standard output: JSON, its keys growing with the versions. Anything
  /// else is unknown.
  static AgentAuthentication fromClaudeStatus(std::string_view output);
  /// What `codex login status` printed, on standard error or standard output. Its exit status is 0 when the
  /// user is signed in, however it words that.
  static AgentAuthentication fromCodexStatus(std::string_view output, int exitStatus);
};

/// Where one provider stands: found or not, which executable is used, and whether the user is signed in.
struct AgentProviderStatus {
  AgentProvider provider = AgentProvider::codex;
  /// The one in use.
  std::optional<CLIInstallation> installation;
  /// All that were found.
  std::vector<CLIInstallation> candidates;
  std::optional<AgentAuthentication> authentication;
  /// The machine has Node.js, so that the npm install command works (CLIInstallations::findsNode).
  bool nodeFound = false;

  /// It can take requests: installed, recent enough, and signed in.
  bool isReady() const;

  /// The sentence shown to the user.
  std::string message(CLIInstallations::Place place = CLIInstallations::Place::browser) const;
};

/// The command that signs the user in: "claude auth login" or "codex login".
constexpr std::string_view signInCommand(AgentProvider provider) {
  return provider == AgentProvider::codex ? "codex login" : "claude auth login";
}

}  // namespace vale
