#include "agents/AgentRuntime.h"

#include "support/Census.h"
#include "support/ManualClock.h"
#include "support/ScriptedCLI.h"
#include "support/TestQueues.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>

namespace vale::test {
namespace {

using testing::Contains;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

constexpr const char* session = "01a204f4-3a94-75e3-84ce-63a42480ee65";

struct AgentRuntimeTest : testing::Test {
  ScriptedCLI cli;
  TestQueues queues;
  ManualClock clock;
  AgentRuntime agents{cli.places(), queues.main, queues.workers, clock};

  static Task<bool> refreshed(AgentRuntime& agents) {
    co_await agents.refresh();
    co_return true;
  }
  static Task<std::string> answered(AgentRuntime& agents, AgentProvider provider, AgentProfile profile,
                                    Seconds timeout) {
    auto completion =
        co_await agents.completion("Which?", provider, profile, {}, "{\"type\":\"object\"}", timeout);
    co_return completion.text;
  }

  void SetUp() override { queues.run(refreshed(agents)); }

  AgentRequest request(AgentProvider provider, std::string prompt = "Do it") const {
    AgentRequest made;
    made.provider = provider;
    made.prompt = std::move(prompt);
    made.workingDirectory = cli.project();
    return made;
  }

  std::shared_ptr<AgentRun> finished(AgentRequest made) {
    int finishes = 0;
    int completes = 0;
    made.onFinish = [&] { ++finishes; };
    made.onComplete = [&](AgentRun&) { ++completes; };
    auto run = agents.start(std::move(made));
    queues.runUntil([&] { return finishes > 0; });
    EXPECT_EQ(finishes, 1);
    EXPECT_EQ(completes, 1);
    return run;
  }

  std::string completionError(AgentProvider provider, AgentProfile profile, Seconds timeout = Seconds(60)) {
    try {
      return "answered: " + queues.run(answered(agents, provider, profile, timeout));
    } catch (const AgentRuntimeError& error) {
      return error.message;
    }
  }
};

TEST_F(AgentRuntimeTest, followsRecordedRunsToTheirEnd) {
  struct Case {
    AgentProvider provider;
    const char* stream;
    int exit;
    AgentRunStatus status;
    const char* message;
    const char* answer;
    const char* activity;
  };
  using enum AgentRunStatus;
  const auto claude = AgentProvider::claude;
  const auto codex = AgentProvider::codex;
  const Case cases[] = {
      {claude, "claude-task-write-tool", 0, completed, "", "Stub answer: the quick brown fox. Done.",
       "Using Write"},
      {claude, "claude-task-write-denied", 0, completed, "", "Stub answer: the quick brown fox. Done.",
       "3 tool action(s) denied by the configured permissions. Continue in Terminal if broader access is "
       "needed."},
      {claude, "claude-signed-out", 1, failed, "Not logged in · Please run /login", "", ""},
      {claude, "claude-stream-cut", 1, failed,
       "Claude Code exited with code 1 before completing. Check sign-in and usage limits in Terminal.", "",
       ""},
      {codex, "codex-task-readonly-tool", 0, completed, "", "Stub answer: the quick brown fox. Done.",
       "Running cat README.md"},
      {codex, "codex-error-400", 1, failed, "stub: scripted error 400", "", ""},
      {codex, "codex-error-500", 1, failed,
       "We’re currently experiencing high demand, which may cause temporary errors.", "", ""},
  };
  for (const auto& item : cases) {
    SCOPED_TRACE(item.stream);
    cli.replay(std::string(executableName(item.provider)), item.stream, item.exit);
    const auto run = finished(request(item.provider));
    EXPECT_EQ(run->status(), item.status);
    EXPECT_EQ(run->message(), item.message);
    if (item.status == completed) {
      EXPECT_EQ(run->finalMessage(), item.answer);
      EXPECT_THAT(run->activity(), Contains(item.activity));
    }
    EXPECT_THAT(run->activity().front(), StartsWith("Started "));
    EXPECT_TRUE(run->sessionID());
    EXPECT_FALSE(run->streaming());
    EXPECT_EQ(run->exitCode(), item.exit);
  }
}

TEST_F(AgentRuntimeTest, aBadCLIEndsInTheRightStateWithASentence) {
  struct Case {
    const char* script;
    std::string message;
    std::size_t promptSize = 10;
    bool reads = true;
  };
  const std::string exited = "Claude Code exited with code ";
  const Case cases[] = {
      {"exit 3", exited + "3 before completing. Check sign-in and usage limits in Terminal."},
      {"echo 'error: unknown option' >&2; exit 1", "\nerror: unknown option"},
      {"kill -SEGV $$", exited + "139 before"},
      {"printf '{\"type\":\"result\",\"is_err'; exit 1", exited + "1 before"},
      {"printf '\\000\\377\\n[1,2]\\nnull\\n{}\\n{\"type\":7}\\n'; exit 2", exited + "2 before"},
      {"head -c 20000000 /dev/zero; exit 5", exited + "5 before"},
      {"exec 0<&-; sleep 0.1; exit 1", "Claude Code exited before reading the request.", 1 << 22, false},
      {"exec 0<&-; sleep 0.1; exit 0", "Claude Code exited before reading the request.", 1 << 22, false},
      {"echo no room >&2; exit 1", "request.\nno room", 1 << 22, false},
      {"cat '" VALE_TESTS_DIR "/fixtures/streams/claude-signed-out.jsonl'; exit 0", "Not logged in"},
  };
  for (const auto& item : cases) {
    SCOPED_TRACE(item.script);
    cli.script("claude", item.script, item.reads);
    const auto run = finished(request(AgentProvider::claude, std::string(item.promptSize, 'p')));
    EXPECT_EQ(run->status(), AgentRunStatus::failed);
    EXPECT_THAT(run->message(), HasSubstr(item.message));
  }

  std::filesystem::remove(cli.home() / ".local/bin/claude");
  EXPECT_THAT(finished(request(AgentProvider::claude))->message(),
              StartsWith("Could not launch Claude Code"));
  cli.script("claude", "exit 0");
  auto withImage = request(AgentProvider::claude);
  withImage.images = {cli.home() / "gone.png"};
  EXPECT_THAT(finished(withImage)->message(), HasSubstr("gone.png"));
}

TEST_F(AgentRuntimeTest, aCLIThatStaysAfterItsResultIsEndedAndItsAnswerKept) {
  cli.script("claude",
             "cat '" VALE_TESTS_DIR "/fixtures/streams/claude-task-readonly-tool.jsonl'; sleep 60 & wait");
  auto run = agents.start(request(AgentProvider::claude));
  queues.runUntil([&] { return run->receivedSuccess(); });
  clock.advance(Seconds(9));
  EXPECT_EQ(run->status(), AgentRunStatus::running);
  clock.advance(Seconds(2));
  queues.runUntil([&] { return run->status() != AgentRunStatus::running; });
  EXPECT_EQ(run->status(), AgentRunStatus::completed);
  EXPECT_EQ(run->finalMessage(), "Stub answer: the quick brown fox. Done.");
}

TEST_F(AgentRuntimeTest, refusesWhatCannotRunWithItsSentence) {
  AgentRuntime fresh({.home = cli.home(), .supportFolder = cli.home(), .environment = {}}, queues.main,
                     queues.workers, clock);
  const auto refusal = [](AgentRuntime& runtime, const AgentRequest& made) -> std::string {
    try {
      runtime.start(made);
      return "started";
    } catch (const AgentRuntimeError& error) {
      return error.message;
    }
  };
  auto made = request(AgentProvider::claude);
  EXPECT_EQ(refusal(fresh, made), "Vale is still finding Claude Code. Send again in a moment.");
  made.prompt = " \n\t\u00a0";
  EXPECT_EQ(refusal(fresh, made), "Enter a prompt first.");
  made = request(AgentProvider::codex);
  made.workingDirectory = cli.home() / "moved away/";
  EXPECT_EQ(refusal(agents, made),
            "moved away folder isn’t where it was. Choose another project, or add the folder again.");
  made = request(AgentProvider::codex);
  for (const char* id : {"", "latest", "01a204f4-3a94-75e3-84ce-63a42480ee6"}) {
    made.sessionID = id;
    EXPECT_EQ(refusal(agents, made), "This session does not have a valid resumable identifier.");
  }
  std::filesystem::remove(cli.home() / ".local/bin/codex");
  queues.run(refreshed(agents));
  EXPECT_EQ(refusal(agents, request(AgentProvider::codex)), "Install Codex first.");

  cli.script("claude", "sleep 60 & wait");
  made = request(AgentProvider::claude);
  made.sessionID = session;
  const auto run = agents.start(made);
  made.sessionID = "01A204F4-3A94-75E3-84CE-63A42480EE65";
  EXPECT_EQ(refusal(agents, made), "This session already has a running task in Vale.");
  agents.cancelAll();
}

TEST_F(AgentRuntimeTest, cancellingHoldsWhateverTheCLIDoesNext) {
  for (const char* script : {"echo '{\"type\":\"system\"}'; trap 'exit 0' TERM; sleep 60 & wait",
                             "echo '{\"type\":\"system\"}'; setsid sleep 60 & wait", "sleep 60"}) {
    SCOPED_TRACE(script);
    cli.script("claude", script);
    int finishes = 0;
    std::optional<int> launched;
    auto made = request(AgentProvider::claude);
    made.onFinish = [&] { ++finishes; };
    made.onLaunch = [&](int pid) { launched = pid; };
    const auto run = agents.start(made);
    queues.runUntil([&] { return launched.has_value(); });
    EXPECT_EQ(launched, run->processID());
    agents.cancel(run->id);
    EXPECT_EQ(run->status(), AgentRunStatus::cancelled);
    EXPECT_THAT(run->activity(), Contains("Cancellation requested"));
    queues.runUntil([&] { return finishes > 0; });
    agents.cancel(run->id, "again");
    EXPECT_EQ(run->status(), AgentRunStatus::cancelled);
    EXPECT_EQ(run->message(), "");
    EXPECT_EQ(finishes, 1);
  }

  cli.replay("claude", "claude-task-write-tool", 0);
  const auto done = finished(request(AgentProvider::claude));
  agents.cancel(done->id);
  EXPECT_EQ(done->status(), AgentRunStatus::completed);

  // Before its process is there.
  int finishes = 0;
  auto made = request(AgentProvider::claude);
  made.onFinish = [&] { ++finishes; };
  const auto early = agents.start(made);
  agents.cancel(early->id);
  queues.runUntil([&] { return finishes == 1; });
  EXPECT_FALSE(early->processID());
}

TEST_F(AgentRuntimeTest, eventsArePublishedTogetherAfterSixtyMilliseconds) {
  cli.script("claude",
             "cat '" VALE_TESTS_DIR "/fixtures/streams/claude-task-readonly-tool.jsonl'; sleep 60 & wait");
  const auto run = agents.start(request(AgentProvider::claude));
  std::vector<std::size_t> batches;
  std::string streamed;
  run->published().connect([&](const auto& events) {
    batches.push_back(events.size());
    for (const auto& event : events) {
      if (const auto* text = std::get_if<stream::Text>(&event); text && text->append) streamed += text->text;
    }
  });
  queues.runUntil([&] { return run->receivedSuccess(); });
  EXPECT_TRUE(batches.empty());
  clock.advance(Seconds(0.05));
  EXPECT_TRUE(batches.empty());
  clock.advance(Seconds(0.02));
  ASSERT_EQ(batches.size(), 1u);
  EXPECT_GT(batches[0], 4u);
  EXPECT_THAT(streamed, HasSubstr("the quick brown fox. Done."));
  agents.cancelAll();
}

TEST_F(AgentRuntimeTest, keepsTheNewestFinishedRunsAndForgetsNoneThatRuns) {
  cli.script("claude", "exit 0");
  cli.script("codex", "sleep 60 & wait");
  const auto running = agents.start(request(AgentProvider::codex));
  const auto first = finished(request(AgentProvider::claude));
  std::shared_ptr<AgentRun> analysis;
  for (std::size_t i = 0; i < AgentRuntime::keptAnalysisRuns + 1; ++i) {
    auto made = request(AgentProvider::claude);
    made.profile = AgentProfile::explore;
    analysis = finished(made);
  }
  for (std::size_t i = 0; i < AgentRuntime::keptRuns - 1; ++i) finished(request(AgentProvider::claude));
  EXPECT_THAT(agents.runs(), Contains(first));
  EXPECT_EQ(agents.runs().size(), 1 + AgentRuntime::keptRuns + AgentRuntime::keptAnalysisRuns);
  const auto last = finished(request(AgentProvider::claude));
  EXPECT_THAT(agents.runs(), Not(Contains(first)));
  EXPECT_EQ(agents.runs().front(), running);
  EXPECT_EQ(agents.runs().back(), last);
  EXPECT_THAT(agents.runs(), Contains(analysis));
  agents.cancelAll();
}

TEST_F(AgentRuntimeTest, completionsAnswerOrSayWhyNot) {
  const auto temporary = cli.home() / "temporary";
  std::filesystem::create_directory(temporary);
  ::setenv("TMPDIR", temporary.c_str(), 1);
  cli.script(
      "codex",
      "while [ $# -gt 1 ]; do [ \"$1\" = --output-schema ] && schema=$(cat \"$2\"); shift; done\n"
      "printf '{\"type\":\"item.completed\",\"item\":{\"id\":\"item_0\",\"type\":\"agent_message\",\"text\":"
      "\"{}\"}}\\n'; [ \"$schema\" = '{\"type\":\"object\"}' ]");
  EXPECT_EQ(queues.run(answered(agents, AgentProvider::codex, AgentProfile::classify, Seconds(60))), "{}");
  EXPECT_EQ(cli.input("codex"), "Which?");
  EXPECT_TRUE(std::filesystem::is_directory(cli.home() / "support/AgentAnalysis"));

  cli.script("codex", "exit 0");
  EXPECT_EQ(completionError(AgentProvider::codex, AgentProfile::explore),
            "Codex ended without an answer. Try again.");
  cli.replay("codex", "codex-error-400", 1);
  EXPECT_EQ(completionError(AgentProvider::codex, AgentProfile::classify), "stub: scripted error 400");

  ::setenv("TMPDIR", (cli.home() / "no such folder").c_str(), 1);
  EXPECT_THAT(completionError(AgentProvider::codex, AgentProfile::classify),
              StartsWith("The folder for temporary files cannot be used"));
  ::setenv("TMPDIR", temporary.c_str(), 1);

  // The clock runs out, the process is ended, and nothing of it stays.
  cli.script("claude", "trap '' HUP; sleep 60 & wait");
  std::string error;
  asio::co_spawn(queues.context,
                 answered(agents, AgentProvider::claude, AgentProfile::classify, Seconds(120)),
                 [&](std::exception_ptr thrown, const std::string&) {
                   try {
                     std::rethrow_exception(thrown);
                   } catch (const AgentRuntimeError& timeout) {
                     error = timeout.message;
                   }
                 });
  queues.runUntil([&] { return agents.runs().back()->processID().has_value(); });
  clock.advance(Seconds(120));
  queues.runUntil([&] { return !error.empty(); });
  EXPECT_EQ(error, "Claude Code did not answer within 120 seconds. Try again.");
  EXPECT_EQ(agents.runs().back()->status(), AgentRunStatus::cancelled);
  queues.runUntil(Census::childrenAreGone);
  EXPECT_TRUE(std::filesystem::is_empty(temporary));
  ::unsetenv("TMPDIR");
}

TEST_F(AgentRuntimeTest, aWarmClassifierIsUsedOnceAndOnlyForItsShape) {
  cli.script(
      "claude",
      "echo '{\"type\":\"system\",\"subtype\":\"ui_invalidate\"}'; while read -r line; do printf '%s\\n' "
      "'{\"type\":\"result\",\"is_error\":false,\"structured_output\":{\"pid\":'$$'}}'; done",
      false);
  const auto& pool = agents.classifierPool();
  agents.prewarmClassifier("{\"type\":\"object\"}");
  queues.runUntil([&] { return pool.hasIdle(); });
  agents.prewarmClassifier("{\"type\":\"object\"}");
  const auto first = queues.run(answered(agents, AgentProvider::claude, AgentProfile::classify, Seconds(60)));
  EXPECT_FALSE(pool.hasIdle());
  EXPECT_EQ(pool.launchCount(), 1);
  EXPECT_EQ(first, "{\"pid\":" + std::to_string(agents.runs().back()->processID().value()) + "}");
  EXPECT_NE(queues.run(answered(agents, AgentProvider::claude, AgentProfile::classify, Seconds(60))), first);

  agents.prewarmClassifier("{}");
  queues.runUntil([&] { return pool.hasIdle(); });
  queues.run(answered(agents, AgentProvider::claude, AgentProfile::classify, Seconds(60)));
  EXPECT_TRUE(pool.hasIdle());
  clock.advance(Seconds(601));
  EXPECT_FALSE(pool.hasIdle());
  queues.runUntil(Census::childrenAreGone);

  // One that dies while it waits is not handed out.
  cli.script("claude", "exit 1", false);
  agents.prewarmClassifier("{}");
  queues.runUntil([&] { return pool.launchCount() == 3; });
  queues.runUntil([&] { return !pool.hasIdle(); });
}

TEST_F(AgentRuntimeTest, twentyRunsLeaveNothingBehind) {
  cli.replay("claude", "claude-task-write-tool", 0);
  finished(request(AgentProvider::claude));
  queues.runUntil(Census::childrenAreGone);
  const Census before = Census::take();
  for (int i = 0; i < 20; ++i) finished(request(AgentProvider::claude));
  queues.runUntil([&] { return Census::take() == before; });
}

}  // namespace
}  // namespace vale::test
