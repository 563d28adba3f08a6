#pragma once

#include "agents/AgentHub.h"
#include "support/ManualClock.h"
#include "support/ScriptedCLI.h"
#include "support/TestQueues.h"

#include <gtest/gtest.h>

#include <deque>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

namespace vale::test {

/// A hub over a scripted `claude` that writes each prompt into a log, waits for the file "go" of its folder,
/// and then answers in one session.
struct HubTest : testing::Test {
  static constexpr const char* session = "01a204f4-3a94-75e3-84ce-63a42480ee65";

  ScriptedCLI cli;
  TestQueues queues;
  ManualClock clock;
  EnvironmentVariables environment = cli.places().environment;
  AgentRuntime agents{cli.places(), queues.main, queues.workers, clock};
  std::deque<RoutedRequest> routes;
  std::vector<TurnEnd> ends;
  std::unique_ptr<AgentHub> hub;

  std::filesystem::path support() const { return cli.support(); }

  void SetUp() override {
    answer();
    queues.run(refreshed(agents));
    start();
  }

  /// Ends the hub and begins another one, as a restart does.
  void start() {
    hub.reset();
    ends.clear();
    hub = std::make_unique<AgentHub>(
        AgentHub::Places{.supportFolder = support(),
                         .anywhereFolder = cli.home() / "Anywhere",
                         .queueFile = support() / AgentHub::queueFileName,
                         .environment = environment},
        AgentHub::Services{.route = [this](QueuedRequest) { return routed(routes); },
                           .usualProvider = [] { return AgentProvider::claude; }},
        agents, Surroundings{queues.main, queues.workers, clock});
    hub->turnEnded().connect([this](const TurnEnd& end) { ends.push_back(end); });
    queues.run(loaded(*hub));
  }

  static std::string line(const std::string& json) { return "printf '%s\\n' '" + json + "'\n"; }
  static std::string said(const std::string& text) {
    return line(R"({"type":"assistant","message":{"id":"m","content":[{"type":"text","text":")" + text +
                "\"}]}}");
  }
  /// What `claude` does between its first line and its result.
  void answer(const std::string& work = "while [ ! -e go ]; do sleep 0.02; done") {
    cli.script(
        "claude",
        "{ cat '" + (cli.home() / "claude.input").string() + "'; echo; } >> '" + log().string() + "'\n" +
            line(std::string(R"({"type":"system","subtype":"init","session_id":")") + session + R"("})") +
            work + "\n" + said("Done.") +
            line(R"({"type":"result","is_error":false,"result":"Done.","usage":{}})"));
  }
  void go(const std::filesystem::path& project) { std::ofstream(project / "go") << "now"; }
  std::filesystem::path log() const { return cli.home() / "log"; }
  /// The prompts that were run, in their order.
  std::string prompts() const {
    std::ostringstream text;
    text << std::ifstream(log()).rdbuf();
    return text.str();
  }
  std::filesystem::path project(const char* name) const {
    const auto folder = cli.home() / name;
    std::filesystem::create_directories(folder);
    return folder;
  }

  SentRequest send(RequestDestination destination, std::string prompt,
                   AgentAccess access = AgentAccess::readOnly) {
    UserRequest request{.prompt = std::move(prompt)};
    request.options.access = access;
    return queues.run(hub->send(std::move(destination), std::move(request)));
  }
  const std::string& queueOf(const Uuid& thread) const { return hub->threads().at(thread).queue; }
  void untilRunning(const std::string& queue) {
    queues.runUntil(
        [&] { return hub->live(queue) && hub->live(queue)->run && hub->live(queue)->run->sessionID(); });
  }
  void untilEnded(std::size_t count) {
    queues.runUntil([&] { return ends.size() >= count; });
  }
  AgentThread thread(const Uuid& id) { return queues.run(hub->thread(id)).value(); }
  /// The first turn of a thread as a Vale that starts now would read it; none before it is written.
  std::optional<AgentTurn> turnOnDisk(const Uuid& id) {
    std::ostringstream text;
    text << std::ifstream(support() / "Threads" / (id.text() + ".json")).rdbuf();
    if (text.str().empty()) return std::nullopt;
    const auto thread = decodeText<AgentThread>(text.str());
    return thread.turns.empty() ? std::nullopt : std::optional(thread.turns[0]);
  }

  static Task<bool> removed(AgentHub& hub, Uuid thread) {
    co_await hub.removeThread(thread);
    co_return true;
  }

 private:
  static Task<bool> refreshed(AgentRuntime& agents) {
    co_await agents.refresh();
    co_return true;
  }
  static Task<bool> loaded(AgentHub& hub) {
    co_await hub.load();
    co_return true;
  }
  static Task<RoutedRequest> routed(std::deque<RoutedRequest>& routes) {
    if (routes.empty()) throw Error("Claude Code could not read the routing answer.");
    auto next = std::move(routes.front());
    routes.pop_front();
    co_return next;
  }
};

}  // namespace vale::test
