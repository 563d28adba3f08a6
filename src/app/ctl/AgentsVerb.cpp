#include "app/ConsoleApplication.h"
#include "app/ctl/Ctl.h"

#include <fmt/format.h>

#include <cstdio>

namespace vale::ctl {
namespace {

struct Candidate {
  std::string path;
  std::optional<std::string> version;
};
BOOST_DESCRIBE_STRUCT(Candidate, (), (path, version))

struct Agent {
  AgentProvider provider = AgentProvider::codex;
  std::string name;
  std::optional<std::string> executable;
  std::optional<std::string> version;
  std::vector<Candidate> candidates;
  std::optional<bool> signedIn;
  std::optional<std::string> method;
  std::optional<std::string> account;
  std::optional<std::string> plan;
  bool isReady = false;
  std::string message;
};
BOOST_DESCRIBE_STRUCT(Agent, (),
                      (provider, name, executable, version, candidates, signedIn, method, account, plan,
                       isReady, message))

std::optional<std::string> versionOf(const CLIInstallation& installation) {
  return installation.version ? std::optional(installation.version->description()) : std::nullopt;
}

Agent describe(const AgentProviderStatus& status) {
  Agent agent{.provider = status.provider, .name = std::string(productName(status.provider))};
  if (status.installation) {
    agent.executable = status.installation->url.native();
    agent.version = versionOf(*status.installation);
  }
  for (const auto& candidate : status.candidates) {
    agent.candidates.push_back({.path = candidate.url.native(), .version = versionOf(candidate)});
  }
  if (status.authentication) {
    agent.signedIn = status.authentication->signedIn;
    agent.method = status.authentication->method;
    agent.account = status.authentication->account;
    agent.plan = status.authentication->plan;
  }
  agent.isReady = status.isReady();
  agent.message = status.message();
  return agent;
}

void print(const Agent& agent) {
  fmt::print("{}{}\n", agent.name, agent.version ? " " + *agent.version : "");
  if (agent.executable) fmt::print("  {}\n", *agent.executable);
  fmt::print("  {}\n", agent.message);
  for (const auto& candidate : agent.candidates) {
    if (candidate.path == agent.executable) continue;
    fmt::print("  also {} ({})\n", candidate.path, candidate.version.value_or("version unknown"));
  }
}

Task<bool> refresh(AgentRuntime& agents) {
  co_await agents.refresh();
  co_return true;
}

int listAgents(const CommonOptions& options) {
  ConsoleApplication application(options.support);
  application.run(refresh(application.agents()));
  std::vector<Agent> agents;
  for (const auto provider : {AgentProvider::codex, AgentProvider::claude}) {
    agents.push_back(describe(application.agents().status(provider)));
  }
  if (options.json) {
    printJson(encode(agents));
  } else {
    for (const auto& agent : agents) print(agent);
  }
  return done;
}

}  // namespace

void addAgentsVerb(CLI::App& app, const CommonOptions& options, Work& work) {
  auto* verb =
      app.add_subcommand("agents", "Show the agent CLIs: where they are, their versions, the sign-in");
  verb->callback([&] { work = [&] { return listAgents(options); }; });
}

}  // namespace vale::ctl
