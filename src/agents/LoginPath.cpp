#include "agents/AgentEnvironment.h"
#include "agents/ChildProcess.h"
#include "common/Log.h"

#include <array>
#include <pwd.h>
#include <ranges>
#include <string_view>
#include <unistd.h>

namespace vale {
namespace {

namespace fs = std::filesystem;

// What start-up files print stands in front of the first entry of the first list only. The last command ends
// what they left running in the background, with the shell; daemons have a session of their own.
constexpr std::string_view command = "/usr/bin/env -0; /usr/bin/env -0; kill 0";
// A C shell that runs a command is never a login shell, so that ~/.login must be read by hand.
constexpr std::string_view cShellCommand = "/usr/bin/env -0; /usr/bin/env -0; if (-r ~/.login) source "
                                           "~/.login; /usr/bin/env -0; /usr/bin/env -0; kill 0";

fs::path accountShell() {
  std::array<char, 16 * 1024> buffer;
  passwd entry{};
  passwd* found = nullptr;
  if (::getpwuid_r(::getuid(), &entry, buffer.data(), buffer.size(), &found) != 0 || !found) return {};
  return entry.pw_shell;
}

std::optional<fs::path> loginShell(const EnvironmentVariables& environment) {
  const auto named = environment.find("SHELL");
  fs::path shell = named == environment.end() ? fs::path() : fs::path(named->second);
  if (!shell.is_absolute()) shell = accountShell();
  const auto name = shell.filename();
  if (!shell.is_absolute() || name == "false" || name == "nologin") return std::nullopt;
  return shell;
}

std::vector<std::string> arguments(const fs::path& shell) {
  const auto name = shell.filename();
  if (name == "csh" || name == "tcsh") return {"-c", std::string(cShellCommand)};
  return {"-l", "-c", std::string(command)};
}

/// The last PATH in lists of NUL-terminated variables.
std::optional<std::string> lastPath(std::string_view output) {
  constexpr std::string_view name = "PATH=";
  std::optional<std::string> path;
  output = output.substr(0, output.rfind('\0') + 1);
  for (const auto range : output | std::views::split('\0')) {
    const std::string_view entry(range.begin(), range.end());
    if (entry.starts_with(name) && entry.size() > name.size()) path = entry.substr(name.size());
  }
  return path;
}

}  // namespace

Task<std::optional<std::string>> AgentEnvironment::loginPath(EnvironmentVariables environment,
                                                             Seconds timeout, WorkerPool& workers) {
  const auto shell = loginShell(environment);
  if (!shell) co_return std::nullopt;
  ChildProcess::Launch launch;
  launch.executable = *shell;
  launch.arguments = arguments(*shell);
  launch.directory = "/";
  launch.environment = std::move(environment);
  const auto capture = co_await ChildProcess::capture(std::move(launch), timeout, workers);
  if (!capture) {
    log::info("The login shell did not tell its PATH: {}", capture.error().message);
    co_return std::nullopt;
  }
  auto path = lastPath(capture->output);
  if (!path) {
    log::info("The login shell {} did not tell its PATH{}", shell->native(),
              capture->timedOut ? " in time" : "");
  }
  co_return path;
}

}  // namespace vale
