#include "agents/AgentEnvironment.h"

#include <algorithm>
#include <ranges>
#include <string_view>
#include <system_error>
#include <unistd.h>

namespace vale {
namespace {

namespace fs = std::filesystem;

/// The name that Claude Code gives to a sign-in with a subscription account.
constexpr std::string_view subscriptionMethod = "claude.ai";

constexpr int linkLimit = 40;

/// The folder of the executable, then those of its links' targets that hold a `node`: a launcher that npm
/// installed is a script of the Node.js beside it, which a link from elsewhere would leave behind.
std::string launcherFolders(const fs::path& executable) {
  std::string folders = executable.parent_path().native();
  fs::path link = executable;
  for (int i = 0; i < linkLimit; ++i) {
    std::error_code error;
    const auto target = fs::read_symlink(link, error);
    if (error) break;
    link = link.parent_path() / target;
    const auto folder = fs::canonical(link.parent_path(), error);
    if (!error && ::access((folder / "node").c_str(), X_OK) == 0) folders += ":" + folder.native();
  }
  return folders;
}

std::string searchPath(const EnvironmentVariables& environment, const fs::path& home,
                       const std::optional<fs::path>& executable,
                       const std::optional<std::string>& loginPath) {
  const auto inherited = environment.find("PATH");
  return AgentEnvironment::joinedPath(
      {executable ? std::optional(launcherFolders(*executable)) : std::nullopt,
       home.empty() ? std::nullopt : std::optional((home / ".local/bin").native()), "/opt/homebrew/bin",
       "/usr/local/bin",
       inherited == environment.end() || inherited->second.empty() ? "/usr/bin:/bin" : inherited->second,
       loginPath});
}

bool marksAnAgent(std::string_view name) {
  return name == "CLAUDECODE" || (name.starts_with("CLAUDE_") && name != "CLAUDE_CONFIG_DIR");
}

}  // namespace

EnvironmentVariables AgentEnvironment::inherited() {
  EnvironmentVariables variables;
  for (char** entry = environ; entry && *entry; ++entry) {
    const std::string_view text = *entry;
    const auto equals = text.find('=');
    if (equals == std::string_view::npos || equals == 0) continue;
    variables.emplace(text.substr(0, equals), text.substr(equals + 1));
  }
  return variables;
}

EnvironmentVariables AgentEnvironment::child(const EnvironmentVariables& base, const fs::path& home,
                                             const std::optional<std::string>& claudeAuthMethod,
                                             const std::optional<fs::path>& executable,
                                             const std::optional<std::string>& loginPath) {
  auto environment = base;
  std::erase_if(environment, [](const auto& variable) { return marksAnAgent(variable.first); });
  if (claudeAuthMethod == subscriptionMethod) environment.erase("ANTHROPIC_BASE_URL");
  environment["PATH"] = searchPath(base, home, executable, loginPath);
  environment["NO_COLOR"] = "1";
  return environment;
}

fs::path AgentEnvironment::codexHome(const EnvironmentVariables& environment, const fs::path& home) {
  const auto moved = environment.find("CODEX_HOME");
  return moved == environment.end() || moved->second.empty() ? home / ".codex" : fs::path(moved->second);
}

EnvironmentVariables AgentEnvironment::forExecutable(const EnvironmentVariables& environment,
                                                     const fs::path& executable, const fs::path& home,
                                                     const std::optional<std::string>& loginPath) {
  auto changed = environment;
  changed["PATH"] = searchPath(environment, home, executable, loginPath);
  return changed;
}

std::string AgentEnvironment::joinedPath(const std::vector<std::optional<std::string>>& parts) {
  std::vector<std::string_view> folders;
  std::string joined;
  for (const auto& part : parts) {
    if (!part) continue;
    for (const auto range : *part | std::views::split(':')) {
      const std::string_view folder(range.begin(), range.end());
      if (folder.empty() || std::ranges::find(folders, folder) != folders.end()) continue;
      folders.push_back(folder);
      if (!joined.empty()) joined += ':';
      joined += folder;
    }
  }
  return joined;
}

}  // namespace vale
