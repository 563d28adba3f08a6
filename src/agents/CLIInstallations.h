#pragma once

#include "agents/AgentProvider.h"
#include "agents/CLIVersion.h"
#include "common/Date.h"
#include "common/Queues.h"

#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace vale {

/// A child's environment variables by name.
using EnvironmentVariables = std::map<std::string, std::string>;

/// An agent CLI found on this machine.
struct CLIInstallation {
  AgentProvider provider = AgentProvider::codex;
  /// The executable.
  std::filesystem::path url;
  std::optional<CLIVersion> version;
  /// What the CLI printed when asked for its version: one line, its beginning only.
  std::string versionText;
};

/// Where the agent CLIs are, and which of them to use.
namespace CLIInstallations {

/// The executables that exist, best place first: the home folder's own folders, the fixed folders, PATH, the
/// login shell's PATH, package managers' folders. The same file is listed once, where it is found first;
/// relative folders are passed over. Reads the disk; not for the main thread.
std::vector<std::filesystem::path> candidates(AgentProvider provider, const std::filesystem::path& home,
                                              const std::optional<std::string>& pathVariable,
                                              const std::optional<std::string>& loginPath);

/// The folders of Node version managers under the home folder that may hold a CLI. Reads the disk.
std::vector<std::filesystem::path> packageManagerFolders(const std::filesystem::path& home);

/// Whether Node.js is on either PATH, so that a package can be installed with npm. Reads the disk.
bool findsNode(const std::optional<std::string>& pathVariable, const std::optional<std::string>& loginPath);

/// Asks every candidate for its version, all at once, each at most `timeout`; those that answered, in the
/// order given.
Task<std::vector<CLIInstallation>> discover(AgentProvider provider,
                                            std::vector<std::filesystem::path> candidates,
                                            EnvironmentVariables environment, Seconds timeout,
                                            WorkerPool& workers);

/// One candidate; none when it cannot be run, does not end in time, or fails. `environment` is that of a run;
/// the folder of the executable is put on its PATH.
Task<std::optional<CLIInstallation>> probe(std::filesystem::path executable, AgentProvider provider,
                                           EnvironmentVariables environment, Seconds timeout,
                                           WorkerPool& workers);

/// The first whose version passes, else the first.
std::optional<CLIInstallation> preferred(const std::vector<CLIInstallation>& installations);

/// Where the sentence will be read: it ends with what to do there.
enum class Place { browser, onboarding };

/// Nothing when the version is recent enough, else a sentence with the command that updates. A version that
/// could not be read does not pass.
std::optional<std::string> versionProblem(const CLIInstallation& installation, Place place = Place::browser);

CLIVersion minimumVersion(AgentProvider provider);

}  // namespace CLIInstallations

}  // namespace vale
