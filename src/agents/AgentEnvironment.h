#pragma once

#include "agents/CLIInstallations.h"

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace vale {

/// The environment that agent CLIs get.
namespace AgentEnvironment {

/// This process's own environment.
EnvironmentVariables inherited();

/// The environment of a run: `base` without the marks of an agent that Vale itself may have been started
/// from, with a PATH on which the CLI and its tools are found, and NO_COLOR. CLAUDE_CONFIG_DIR stays: without
/// it the user would be signed out. `claudeAuthMethod` is what the sign-in probe reported.
EnvironmentVariables child(const EnvironmentVariables& base, const std::filesystem::path& home,
                           const std::optional<std::string>& claudeAuthMethod,
                           const std::optional<std::filesystem::path>& executable,
                           const std::optional<std::string>& loginPath);

/// `environment` with PATH alone changed, for asking `executable` its version. An empty `home` adds no
/// folder.
EnvironmentVariables forExecutable(const EnvironmentVariables& environment,
                                   const std::filesystem::path& executable, const std::filesystem::path& home,
                                   const std::optional<std::string>& loginPath);

/// Codex's own folder: CODEX_HOME, else ".codex" in the home folder.
std::filesystem::path codexHome(const EnvironmentVariables& environment, const std::filesystem::path& home);

/// The non-empty parts joined with ":", each folder once, where it first stands. An empty folder between two
/// colons, which would mean the working folder, is left out.
std::string joinedPath(const std::vector<std::optional<std::string>>& parts);

/// The PATH of the user's login shell (`$SHELL`, else the account's), or none when the shell does not tell
/// within the time limit. Whatever the shell's start-up files print besides is passed over.
Task<std::optional<std::string>> loginPath(EnvironmentVariables environment, Seconds timeout,
                                           WorkerPool& workers);

}  // namespace AgentEnvironment

}  // namespace vale
