#include "agents/CLIInstallations.h"

#include "agents/AgentEnvironment.h"
#include "agents/ChildProcess.h"
#include "common/Log.h"
#include "common/Text.h"

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/deferred.hpp>
#include <boost/asio/experimental/parallel_group.hpp>
#include <boost/asio/use_awaitable.hpp>

#include <algorithm>
#include <ranges>
#include <set>
#include <system_error>
#include <unistd.h>

namespace vale {
namespace {

namespace fs = std::filesystem;

/// More than any CLI's version takes.
constexpr std::size_t versionTextLimit = 200;

#ifdef __APPLE__
constexpr std::string_view thisComputer = "this Mac";
#else
constexpr std::string_view thisComputer = "this computer";
#endif

std::vector<fs::path> absoluteFolders(const std::optional<std::string>& pathVariable) {
  std::vector<fs::path> folders;
  if (!pathVariable) return folders;
  for (const auto range : *pathVariable | std::views::split(':')) {
    fs::path folder(range.begin(), range.end());
    if (folder.is_absolute()) folders.push_back(std::move(folder));
  }
  return folders;
}

bool isExecutableFile(const fs::path& path) {
  std::error_code error;
  return fs::is_regular_file(path, error) && ::access(path.c_str(), X_OK) == 0;
}

/// The path without what changes nothing in it; ".." may lead elsewhere where folders are links.
fs::path tidy(const fs::path& path) {
  return std::ranges::find(path, "..") == path.end() ? path.lexically_normal() : path;
}

}  // namespace

std::vector<fs::path> CLIInstallations::packageManagerFolders(const fs::path& home) {
  std::vector<fs::path> versions;
  std::error_code error;
  const auto nodes = home / ".nvm/versions/node";
  for (fs::directory_iterator entry(nodes, error), end; !error && entry != end; entry.increment(error)) {
    std::error_code ignored;
    if (entry->is_directory(ignored)) versions.push_back(entry->path());
  }
  std::ranges::stable_sort(versions, {}, &fs::path::native);

  std::vector<fs::path> folders{home / ".local/share/fnm/aliases/default/bin"};
  for (const auto& version : versions) folders.push_back(version / "bin");
  return folders;
}

std::vector<fs::path> CLIInstallations::candidates(AgentProvider provider, const fs::path& home,
                                                   const std::optional<std::string>& pathVariable,
                                                   const std::optional<std::string>& loginPath) {
  std::vector<fs::path> paths;
  const auto add = [&](const fs::path& folder) { paths.push_back(tidy(folder / executableName(provider))); };
  add(home / ".local/bin");
  if (provider == AgentProvider::claude) add(home / ".claude/local");
  for (const auto* folder : {"/opt/homebrew/bin", "/usr/local/bin"}) add(folder);
  if (provider == AgentProvider::codex) {
    for (const auto* application : {"ChatGPT", "Codex"}) {
      add(fs::path("/Applications") / (application + std::string(".app/Contents/Resources")));
    }
  }
  std::ranges::for_each(absoluteFolders(pathVariable), add);
  std::ranges::for_each(absoluteFolders(loginPath), add);
  std::ranges::for_each(packageManagerFolders(home), add);

  std::set<fs::path> seen;
  std::erase_if(paths, [&](const fs::path& path) {
    if (!isExecutableFile(path)) return true;
    std::error_code error;
    const auto file = fs::canonical(path, error);
    return !seen.insert(error ? path : file).second;
  });
  return paths;
}

bool CLIInstallations::findsNode(const std::optional<std::string>& pathVariable,
                                 const std::optional<std::string>& loginPath) {
  const auto holdsNode = [](const fs::path& folder) { return isExecutableFile(folder / "node"); };
  return std::ranges::any_of(absoluteFolders(pathVariable), holdsNode) ||
         std::ranges::any_of(absoluteFolders(loginPath), holdsNode);
}

Task<std::optional<CLIInstallation>> CLIInstallations::probe(fs::path executable, AgentProvider provider,
                                                             EnvironmentVariables environment,
                                                             Seconds timeout, WorkerPool& workers) {
  const fs::path home = environment.contains("HOME") ? fs::path(environment.at("HOME")) : fs::path();
  ChildProcess::Launch launch;
  launch.executable = executable;
  launch.arguments = {"--version"};
  // Not the working folder, whose own settings and tool versions would have a say.
  launch.directory = "/";
  launch.environment = AgentEnvironment::forExecutable(environment, executable, home, std::nullopt);
  const auto capture = co_await ChildProcess::capture(std::move(launch), timeout, workers);
  if (!capture) {
    log::info("{} is passed over: {}", executable.native(), capture.error().message);
    co_return std::nullopt;
  }
  if (capture->timedOut || capture->exit.status != 0) {
    log::info("{} is passed over: asked for its version, it {}", executable.native(),
              capture->timedOut ? "did not end in time" : fmt::format("ended with {}", capture->exit.status));
    co_return std::nullopt;
  }
  CLIInstallation installation;
  installation.provider = provider;
  installation.url = std::move(executable);
  installation.version = CLIVersion::parse(capture->output);
  installation.versionText =
      singleLine(firstCharacters(trimmed(validUtf8(capture->output)), versionTextLimit));
  co_return installation;
}

Task<std::vector<CLIInstallation>> CLIInstallations::discover(AgentProvider provider,
                                                              std::vector<fs::path> candidates,
                                                              EnvironmentVariables environment,
                                                              Seconds timeout, WorkerPool& workers) {
  std::vector<CLIInstallation> found;
  if (candidates.empty()) co_return found;
  const auto start = [&](const fs::path& candidate) {
    return asio::co_spawn(workers.executor(), probe(candidate, provider, environment, timeout, workers),
                          asio::deferred);
  };
  std::vector<decltype(start(candidates.front()))> probes;
  for (const auto& candidate : candidates) probes.push_back(start(candidate));
  auto [order, errors, results] = co_await asio::experimental::make_parallel_group(std::move(probes))
                                      .async_wait(asio::experimental::wait_for_all(), asio::use_awaitable);
  for (auto& result : results) {
    if (result) found.push_back(std::move(*result));
  }
  co_return found;
}

std::optional<CLIInstallation>
CLIInstallations::preferred(const std::vector<CLIInstallation>& installations) {
  if (installations.empty()) return std::nullopt;
  const auto passing = std::ranges::find_if(
      installations, [](const auto& installation) { return !versionProblem(installation); });
  return passing == installations.end() ? installations.front() : *passing;
}

std::optional<std::string> CLIInstallations::versionProblem(const CLIInstallation& installation,
                                                            Place place) {
  const auto minimum = minimumVersion(installation.provider);
  if (installation.version && *installation.version >= minimum) return std::nullopt;
  const auto product = productName(installation.provider);
  const auto found = installation.version
                         ? fmt::format("{} has {}", thisComputer, installation.version->description())
                         : fmt::format("the version of {} could not be read", installation.url.native());
  return fmt::format("{} needs version {} or later; {}. Update {} with {} update in Terminal{}", product,
                     minimum.description(), found, product, executableName(installation.provider),
                     place == Place::browser ? ", then check agents again." : " to use it in Vale.");
}

CLIVersion CLIInstallations::minimumVersion(AgentProvider provider) {
  return provider == AgentProvider::codex ? CLIVersion{{0, 144, 4}, {}} : CLIVersion{{2, 1, 261}, {}};
}

}  // namespace vale
