#include "agents/AgentEnvironment.h"
#include "agents/AgentRuntime.h"
#include "common/OneShot.h"

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/use_awaitable.hpp>

// How the runtime learns which CLIs there are and whether the user is signed in.

namespace vale {
namespace {

/// The one asked for, or both.
std::vector<AgentProvider> wanted(std::optional<AgentProvider> only) {
  if (only) return {*only};
  return {AgentProvider::codex, AgentProvider::claude};
}

/// What the disk says, before any CLI is asked.
struct Found {
  std::map<AgentProvider, std::vector<std::filesystem::path>> candidates;
  bool node = false;
};

Task<Found> find(std::vector<AgentProvider> providers, std::filesystem::path home,
                 std::optional<std::string> path, std::optional<std::string> loginPath) {
  Found found;
  for (const AgentProvider provider : providers) {
    found.candidates[provider] = CLIInstallations::candidates(provider, home, path, loginPath);
  }
  found.node = CLIInstallations::findsNode(path, loginPath);
  co_return found;
}

/// Runs a task beside the caller and gives its value to whoever awaits the shot.
template <typename T>
OneShot<std::pair<std::exception_ptr, T>> beside(const Executor& executor, Task<T> task) {
  OneShot<std::pair<std::exception_ptr, T>> shot;
  asio::co_spawn(executor, std::move(task), [shot](std::exception_ptr error, T value) {
    shot.set({error, std::move(value)});
  });
  return shot;
}

template <typename T> Task<T> valueOf(OneShot<std::pair<std::exception_ptr, T>> shot) {
  auto outcome = co_await shot.wait();
  if (outcome.first) std::rethrow_exception(outcome.first);
  co_return std::move(outcome.second);
}

}  // namespace

const AgentProviderStatus& AgentRuntime::status(AgentProvider provider) const {
  return statuses_[static_cast<std::size_t>(provider)];
}

AgentProviderStatus& AgentRuntime::mutableStatus(AgentProvider provider) {
  return statuses_[static_cast<std::size_t>(provider)];
}

EnvironmentVariables AgentRuntime::childEnvironment(AgentProvider provider,
                                                    const std::filesystem::path& executable) const {
  const auto& authentication = status(AgentProvider::claude).authentication;
  const auto method =
      provider == AgentProvider::claude && authentication ? authentication->method : std::nullopt;
  return AgentEnvironment::child(places_.environment, places_.home, method, executable, loginPath_);
}

Task<> AgentRuntime::refresh(std::optional<AgentProvider> only) {
  const auto providers = wanted(only);
  const std::weak_ptr<AgentRuntime*> self = self_;
  if (!std::exchange(loginPathAsked_, true)) {
    auto path = co_await AgentEnvironment::loginPath(places_.environment, places_.limits.loginPath, workers_);
    if (self.expired()) co_return;
    loginPath_ = std::move(path);
  }
  const auto inherited = places_.environment.find("PATH");
  const auto path =
      inherited == places_.environment.end() ? std::nullopt : std::optional<std::string>(inherited->second);
  const Found found = co_await asio::co_spawn(
      workers_.executor(), find(providers, places_.home, path, loginPath_), asio::use_awaitable);
  if (self.expired()) co_return;

  const auto environment =
      AgentEnvironment::child(places_.environment, places_.home, std::nullopt, std::nullopt, loginPath_);
  std::map<AgentProvider, OneShot<std::pair<std::exception_ptr, std::vector<CLIInstallation>>>> searches;
  for (const AgentProvider provider : providers) {
    searches.emplace(provider, beside(main_.executor(), CLIInstallations::discover(
                                                            provider, found.candidates.at(provider),
                                                            environment, places_.limits.version, workers_)));
  }
  for (const AgentProvider provider : providers) {
    auto installations = co_await valueOf(searches.at(provider));
    if (self.expired()) co_return;
    auto& status = mutableStatus(provider);
    status.provider = provider;
    status.candidates = std::move(installations);
    status.installation = CLIInstallations::preferred(status.candidates);
    status.nodeFound = found.node;
    if (!status.installation) status.authentication.reset();
    discovered_[static_cast<std::size_t>(provider)] = true;
  }
  for (const AgentProvider provider : providers) statusChanged_.emit(provider);
  co_await refreshAuthentication(only);
}

Task<> AgentRuntime::refreshAuthentication(std::optional<AgentProvider> only) {
  const std::weak_ptr<AgentRuntime*> self = self_;
  std::map<AgentProvider, OneShot<std::pair<std::exception_ptr, AgentAuthentication>>> probes;
  for (const AgentProvider provider : wanted(only)) {
    const auto& installation = status(provider).installation;
    if (!installation) continue;
    const auto environment = AgentEnvironment::child(places_.environment, places_.home, std::nullopt,
                                                     installation->url, loginPath_);
    probes.emplace(provider, beside(main_.executor(),
                                    AgentAuthentication::probe(provider, installation->url, environment,
                                                               places_.limits.signIn, workers_)));
  }
  for (const auto& [provider, probe] : probes) {
    auto authentication = co_await valueOf(probe);
    if (self.expired()) co_return;
    auto& known = mutableStatus(provider).authentication;
    if (known == authentication) continue;
    known = std::move(authentication);
    statusChanged_.emit(provider);
  }
}

}  // namespace vale
