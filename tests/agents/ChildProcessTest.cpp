#include "agents/ChildProcess.h"

#include "support/Census.h"
#include "support/TemporaryFolder.h"
#include "support/TestQueues.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <fstream>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>

namespace vale::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

/// Follows one child and keeps what it delivered.
struct Follower {
  std::vector<std::string> lines;
  std::optional<ChildProcess::Exit> exit;
  int exits = 0;
  bool linesAfterExit = false;

  void attach(ChildProcess& child) {
    child.attach(
        [this](const LineBatch& batch) {
          linesAfterExit |= exit.has_value();
          for (std::size_t i = 0; i < batch.size(); ++i) lines.emplace_back(batch[i]);
        },
        [this](const ChildProcess::Exit& ended) {
          exit = ended;
          ++exits;
        });
  }
};

struct ChildProcessTest : testing::Test {
  TestQueues queues;
  Follower follower;

  std::shared_ptr<ChildProcess> launch(const std::string& script, std::vector<std::string> arguments = {}) {
    arguments.insert(arguments.begin(), {"-c", script, "sh"});
    auto child = ChildProcess::launch(
        {.executable = "/bin/sh", .arguments = arguments, .environment = {{"PATH", "/usr/bin:/bin"}}},
        queues.main.executor(), queues.workers);
    follower = {};
    follower.attach(*child);
    return child;
  }

  void untilExit() {
    queues.runUntil([&] { return follower.exit.has_value(); });
    EXPECT_EQ(follower.exits, 1);
    EXPECT_FALSE(follower.linesAfterExit);
  }

  static bool isRunning(pid_t pid) {
    std::ifstream stat("/proc/" + std::to_string(pid) + "/stat");
    std::string text((std::istreambuf_iterator<char>(stat)), {});
    return !text.empty() && text.find(") Z") == std::string::npos;
  }
};

TEST_F(ChildProcessTest, deliversEveryLineInOrderWhateverItsBytes) {
  struct Case {
    const char* script;
    std::vector<std::string> lines;
  };
  const Case cases[] = {
      {"", {}},
      {"printf 'one\\ntwo\\n'", {"one", "two"}},
      {"printf 'one\\n\\nlast without newline'", {"one", "", "last without newline"}},
      {"printf 'a\\000b\\n\\377\\376\\r\\n'", {std::string("a\0b", 3), "\xff\xfe\r"}},
      {"printf half; sleep 0.05; printf ' line\\nnext'", {"half line", "next"}},
  };
  for (const auto& item : cases) {
    const auto child = launch(item.script);
    untilExit();
    EXPECT_EQ(follower.lines, item.lines) << item.script;
    EXPECT_EQ(follower.exit->status, 0);
  }

  const auto child = launch("seq 300000");
  untilExit();
  ASSERT_EQ(follower.lines.size(), 300000u);
  for (std::size_t i = 0; i < follower.lines.size(); i += 997)
    EXPECT_EQ(follower.lines[i], std::to_string(i + 1));
}

TEST_F(ChildProcessTest, aLineOf64MegabytesArrivesWhole) {
  const auto child = launch("echo before; head -c 67108864 /dev/zero | tr '\\0' x; echo; echo after");
  untilExit();
  ASSERT_EQ(follower.lines.size(), 3u);
  EXPECT_EQ(follower.lines[1].size(), 67108864u);
  EXPECT_EQ(follower.lines[2], "after");
}

TEST_F(ChildProcessTest, outputThatNobodyTakesStopsTheChildInsteadOfGrowing) {
  const auto child = ChildProcess::launch({.executable = "/bin/sh",
                                           .arguments = {"-c", "seq 3000000; echo done >&2"},
                                           .environment = {{"PATH", "/usr/bin:/bin"}}},
                                          queues.main.executor(), queues.workers);
  // The child can only end once its lines are taken: 20 MB do not fit what is kept for the callback queue.
  std::size_t held = 0;
  std::size_t largest = 0;
  child->attach(
      [&](const LineBatch& batch) {
        held += batch.size();
        std::size_t bytes = 0;
        for (std::size_t i = 0; i < batch.size(); ++i) bytes += batch[i].size() + 1;
        largest = std::max(largest, bytes);
      },
      [&](const ChildProcess::Exit& exit) { follower.exit = exit; });
  queues.runUntil([&] { return follower.exit.has_value(); });
  EXPECT_EQ(held, 3000000u);
  EXPECT_LE(largest, ChildProcess::pendingLimit + 128 * 1024);
}

TEST_F(ChildProcessTest, writesInOrderAndTellsWhenTheReaderIsGone) {
  std::vector<std::optional<int>> results;
  const auto note = [&](std::optional<int> error) { results.push_back(error); };

  auto child = launch("cat");
  child->send("first\n", ChildProcess::AfterSending::keepOpen, note);
  child->send("second\n", ChildProcess::AfterSending::close, note);
  untilExit();
  EXPECT_THAT(follower.lines, ElementsAre("first", "second"));

  child = launch("wc -c");
  child->send(std::string(50 * 1024 * 1024, 'p'), ChildProcess::AfterSending::close, note);
  untilExit();
  EXPECT_THAT(follower.lines, ElementsAre("52428800"));
  EXPECT_THAT(results, ElementsAre(std::nullopt, std::nullopt, std::nullopt));

  for (const char* script : {"exit 0", "exec 0<&-; sleep 0.2", "sleep 0.2; exit 4"}) {
    results.clear();
    child = launch(script);
    child->send(std::string(10 * 1024 * 1024, 'p'), ChildProcess::AfterSending::close, note);
    untilExit();
    queues.runUntil([&] { return !results.empty(); });
    EXPECT_THAT(results, ElementsAre(std::optional(EPIPE))) << script;
  }
}

TEST_F(ChildProcessTest, tellsHowTheChildEndedAndWhatItSaidLast) {
  struct Case {
    const char* script;
    int status;
    std::optional<int> signal;
    const char* diagnostic;
  };
  const Case cases[] = {
      {"exit 7", 7, {}, ""},
      {"kill -9 $$", 137, 9, ""},
      {"echo '  why it failed ' >&2; exit 1", 1, {}, "why it failed"},
      {"printf 'bad \\377 byte' >&2", 0, {}, "bad \xef\xbf\xbd byte"},
  };
  for (const auto& item : cases) {
    const auto child = launch(item.script);
    untilExit();
    EXPECT_EQ(follower.exit->status, item.status) << item.script;
    EXPECT_EQ(follower.exit->signal, item.signal) << item.script;
    EXPECT_EQ(follower.exit->diagnostic, item.diagnostic) << item.script;
  }
  const auto child = launch("seq 100000 >&2; echo the last >&2");
  untilExit();
  EXPECT_LE(follower.exit->diagnostic.size(), ChildProcess::stderrTailLimit);
  EXPECT_TRUE(follower.exit->diagnostic.ends_with("100000\nthe last"));
}

TEST_F(ChildProcessTest, aGrandchildOnThePipeDelaysTheEndByTwoSecondsAndIsEndedAfterIt) {
  const auto begun = std::chrono::steady_clock::now();
  const auto child = launch("sleep 60 & echo $!; printf 'no newline'");
  untilExit();
  const Seconds taken = std::chrono::steady_clock::now() - begun;
  ASSERT_EQ(follower.lines.size(), 2u);
  EXPECT_EQ(follower.lines[1], "no newline");
  EXPECT_GE(taken, Seconds(1.9));
  EXPECT_LT(taken, Seconds(30));
  queues.runUntil([&] { return !isRunning(std::stoi(follower.lines[0])); });

  const auto quiet = launch("trap '' TERM; sh -c 'sleep 60; sleep 60' >/dev/null 2>&1 & echo $!");
  untilExit();
  queues.runUntil([&] { return !isRunning(std::stoi(follower.lines[0])); });
}

TEST_F(ChildProcessTest, terminatingEndsTheGroupAndWhoLeftItAndNobodyElse) {
  Follower strangers;
  const auto stranger = ChildProcess::launch({.executable = "/bin/sleep", .arguments = {"60"}},
                                             queues.main.executor(), queues.workers);
  strangers.attach(*stranger);

  const auto child = launch("sleep 60 & echo $!; setsid sleep 60 & echo $!;"
                            "setsid sh -c \"trap '' TERM; echo \\$\\$; sleep 60; sleep 60\" & wait");
  queues.runUntil([&] { return follower.lines.size() == 3; });
  child->terminate(Seconds(0.5));
  child->terminate(Seconds(60));  // Changes nothing.
  untilExit();
  EXPECT_EQ(follower.exit->signal, SIGTERM);
  for (const auto& line : follower.lines) {
    queues.runUntil([&] { return !isRunning(std::stoi(line)); });
  }
  EXPECT_TRUE(isRunning(stranger->pid()));
  stranger->terminate(Seconds(5));
  queues.runUntil([&] { return strangers.exit.has_value(); });
}

TEST_F(ChildProcessTest, killsAChildThatIgnoresTheRequestOnceItsGraceIsOver) {
  const auto child = launch("trap '' TERM; echo ready; while :; do sleep 0.05; done");
  queues.runUntil([&] { return !follower.lines.empty(); });
  child->terminate(Seconds(0.3));
  untilExit();
  EXPECT_EQ(follower.exit->signal, SIGKILL);
  child->terminate(Seconds(0.1));
}

TEST_F(ChildProcessTest, saysWhyAChildCannotBeStarted) {
  const TemporaryFolder folder;
  std::ofstream(folder / "plain") << "#!/bin/sh\n";
  struct Case {
    ChildProcess::Launch launch;
    std::string sentence;
  };
  const Case cases[] = {
      {{.executable = folder / "missing"}, "No such file or directory"},
      {{.executable = folder / "plain"}, "Permission denied"},
      {{.executable = folder.path()}, "Permission denied"},
      {{.executable = "/bin/sh", .directory = folder / "gone"}, "the folder " + (folder / "gone").string()},
      {{.executable = "/bin/sh", .arguments = {std::string("a\0b", 3)}}, "NUL"},
      {{.executable = "/bin/sh", .arguments = {std::string(1 << 22, 'x')}}, "Argument list too long"},
  };
  launch("true");  // The first child makes the event loop open what it needs.
  untilExit();
  queues.runUntil(Census::childrenAreGone);
  const Census before = Census::take();
  for (const auto& item : cases) {
    try {
      ChildProcess::launch(item.launch, queues.main.executor(), queues.workers);
      ADD_FAILURE() << "started: " << item.sentence;
    } catch (const ChildProcessError& error) {
      EXPECT_THAT(error.message, HasSubstr("Could not launch " + item.launch.executable.string()));
      EXPECT_THAT(error.message, HasSubstr(item.sentence));
    }
  }
  rlimit limit{};
  ::getrlimit(RLIMIT_NOFILE, &limit);
  const rlimit tight{.rlim_cur = 3, .rlim_max = limit.rlim_max};
  ::setrlimit(RLIMIT_NOFILE, &tight);
  std::string message;
  try {
    ChildProcess::launch({.executable = "/bin/true"}, queues.main.executor(), queues.workers);
  } catch (const ChildProcessError& error) {
    message = error.message;
  }
  ::setrlimit(RLIMIT_NOFILE, &limit);
  EXPECT_EQ(message, "Could not create a pipe: Too many open files");
  EXPECT_EQ(Census::take(), before);
}

TEST_F(ChildProcessTest, leavesNothingBehindAndHandsNothingDown) {
  launch("true");
  untilExit();
  queues.runUntil(Census::childrenAreGone);
  const Census before = Census::take();
  for (int i = 0; i < 20; ++i) {
    const auto child = launch("ls /proc/self/fd | wc -l; kill -PIPE $$; echo survived");
    untilExit();
    // Three streams and the folder that ls reads.
    EXPECT_THAT(follower.lines, ElementsAre("4"));
    EXPECT_EQ(follower.exit->signal, SIGPIPE);
  }
  queues.runUntil([&] { return Census::take() == before; });
  EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1);
  EXPECT_EQ(errno, ECHILD);
}

TEST_F(ChildProcessTest, capturesTheOutputOfAShortCommandOrEndsAHangingOne) {
  const auto capture = [&](const std::string& script, Seconds timeout) {
    return queues.run(ChildProcess::capture(
        {.executable = "/bin/sh", .arguments = {"-c", script}, .environment = {{"PATH", "/usr/bin:/bin"}}},
        timeout, queues.workers));
  };
  auto captured = capture("echo 1.2.3; echo note >&2; cat; exit 3", Seconds(10));
  ASSERT_TRUE(captured);
  EXPECT_EQ(captured->output, "1.2.3\n");
  EXPECT_EQ(captured->exit.status, 3);
  EXPECT_EQ(captured->exit.diagnostic, "note");
  EXPECT_FALSE(captured->timedOut);

  captured = capture("echo begun; trap '' TERM; sleep 60; sleep 60", Seconds(1.5));
  ASSERT_TRUE(captured);
  EXPECT_TRUE(captured->timedOut);
  EXPECT_EQ(captured->output, "begun\n");

  captured = capture("while :; do echo 0123456789012345678901234567890123456789; done", Seconds(60));
  ASSERT_TRUE(captured);
  EXPECT_LE(captured->output.size(), ChildProcess::captureLimit);
  EXPECT_FALSE(captured->timedOut);

  EXPECT_FALSE(
      queues.run(ChildProcess::capture({.executable = "/no/such/file"}, Seconds(1), queues.workers)));
}

TEST_F(ChildProcessTest, theEndOfTheProgramEndsItsChildren) {
  pid_t grandchild = 0;
  {
    TestQueues passing;
    const auto child = ChildProcess::launch(
        {.executable = "/bin/sh",
         .arguments = {"-c", "trap '' TERM; setsid sleep 60 & echo $!; sleep 60; sleep 60"},
         .environment = {{"PATH", "/usr/bin:/bin"}}},
        passing.main.executor(), passing.workers);
    follower.attach(*child);
    passing.runUntil([&] { return !follower.lines.empty(); });
    grandchild = std::stoi(follower.lines[0]);
    passing.workers.stop();
    EXPECT_FALSE(isRunning(child->pid()));
  }
  queues.runUntil([&] { return !isRunning(grandchild); });
}

}  // namespace
}  // namespace vale::test
