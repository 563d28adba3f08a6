#include "intelligence/IntelligenceService.h"

#include "common/PrivateFiles.h"
#include "common/Text.h"
#include "support/Census.h"
#include "support/ManualClock.h"
#include "support/ScriptedCLI.h"
#include "support/TestQueues.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace vale::test {
namespace {

using enum AgentProvider;
using enum IntelligenceOperation;
using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

constexpr const char* unreadable = "The agent did not return the requested JSON. Try again.";

TEST(JsonObjectTextTest, takesAnObjectBareOrInAFenceAndNothingElse) {
  const std::pair<std::string, std::string> cases[] = {
      {"{\"a\": 1}", "{\"a\": 1}"},
      {"\n\t {}\u2003\n", "{}"},
      {"```json\n{\"a\":\"```\"}\n```", "{\"a\":\"```\"}"},
      {" ```\r\n{}\r\n```  \n", "{}"},
      {"```json\n{}", "{}"},
  };
  for (const auto& [answer, expected] : cases)
    EXPECT_EQ(IntelligenceService::jsonObjectText(answer), expected);
  for (const char* answer :
       {"[{}]", "\"{}\"", "Sure! {}", "{\"a\":", "{} {}", "```{}```", "```", "", "{\"\xff"})
    EXPECT_THROW(IntelligenceService::jsonObjectText(answer), Error) << answer;
  EXPECT_THROW(IntelligenceService::jsonObjectText(std::string(100000, '[')), Error);
}

struct IntelligenceServiceTest : testing::Test {
  ScriptedCLI cli;
  TestQueues queues;
  ManualClock clock;
  Surroundings surroundings{queues.main, queues.workers, clock};
  AgentRuntime agents{cli.places(), queues.main, queues.workers, clock};
  Preferences preferences{cli.home() / "preferences.json", queues.main, queues.workers, clock};
  IntelligenceSettings settings{preferences};
  ModelCatalogReader catalog{cli.home() / ".codex", surroundings};
  std::optional<IntelligenceService> service;

  void SetUp() override {
    service.emplace(IntelligenceService::Parts{.runtime = agents,
                                               .settings = settings,
                                               .catalog = catalog,
                                               .workingDirectory = cli.home() / "support/Library",
                                               .surroundings = surroundings});
  }

  /// Codex gives this answer, and then does the rest of the script.
  void codexAnswers(const std::string& answer, const std::string& rest = "") {
    const auto file = cli.home() / "answer.jsonl";
    PrivateFiles::write(
        jsonText({{"type", "item.completed"},
                  {"item", {{"id", "item_0"}, {"type", "agent_message"}, {"text", answer}}}}) +
            "\n{\"type\":\"turn.completed\",\"usage\":{\"input_tokens\":7,\"output_tokens\":2}}\n",
        file);
    cli.script("codex", "cat '" + file.string() + "'\n" + rest);
  }

  /// A CLI of this version whose sign-in probe ends so.
  void install(const std::string& name, const std::string& version, const std::string& signIn) const {
    writeProgram(cli.home() / ".local/bin" / name,
                 "[ \"$1\" = --version ] && echo '" + version + "' || { " + signIn + "; }");
  }

  static IntelligenceService::Question question(IntelligenceCallKind kind = IntelligenceCallKind::classify) {
    return {.kind = kind, .operation = routing, .prompt = "Where?", .schema = "{\"type\":\"object\"}"};
  }

  /// The answer, or the error's message.
  std::string asked(IntelligenceService::Question question) {
    try {
      return queues.run(service->ask(std::move(question))).text;
    } catch (const Error& error) {
      return error.message;
    }
  }

  /// A question under way; `message` is set when it has failed.
  struct Pending {
    std::string message;
    Cancellation cancellation;
  };
  std::shared_ptr<Pending> begin() {
    auto pending = std::make_shared<Pending>();
    auto it = question();
    it.cancellation = pending->cancellation;
    asio::co_spawn(queues.context, service->ask(std::move(it)),
                   [pending](std::exception_ptr thrown, const IntelligenceService::Answer&) {
                     try {
                       std::rethrow_exception(thrown);
                     } catch (const Error& error) {
                       pending->message = error.message;
                     }
                   });
    return pending;
  }
  /// Until the process of so many runs has been started.
  void awaitProcess(std::size_t runs) {
    queues.runUntil([&] { return agents.runs().size() == runs && agents.runs().back()->processID(); });
  }
  std::string messageOf(const Pending& pending) {
    queues.runUntil([&] { return !pending.message.empty(); });
    return pending.message;
  }

  const IntelligenceCall& last() const { return service->recentCalls().front(); }
};

TEST_F(IntelligenceServiceTest, answersWithTheObjectAndRemembersTheCall) {
  PrivateFiles::write(R"({"models": [{"slug": "gpt-6-luna", "visibility": "list"}]})",
                      cli.home() / ".codex/models_cache.json");
  codexAnswers("```json\n{\"kind\": \"a\"}\n```");
  int active = 0;
  int records = 0;
  const auto subscription =
      service->activeCalls().subscribe([&](int count) { active = std::max(active, count); });
  service->recentCallsChanged().connect([&] { ++records; });
  EXPECT_EQ(queues.run(service->classify("Wo? Ä", "{\"type\":\"object\"}", timeline)), "{\"kind\": \"a\"}");
  EXPECT_EQ(active, 1);
  EXPECT_EQ(service->activeCalls().value(), 0);
  EXPECT_EQ(records, 1);
  EXPECT_EQ(last().operation, timeline);
  EXPECT_EQ(last().model, "gpt-6-luna");
  EXPECT_EQ(last().startedAt, clock.now());
  EXPECT_EQ(last().promptBytes, 6u);
  EXPECT_EQ(last().usage->inputTokens, 7);
  EXPECT_FALSE(last().error || last().unreadableResponse);
  EXPECT_EQ(last().prompt, "Wo? Ä");
  EXPECT_EQ(last().answer, "```json\n{\"kind\": \"a\"}\n```");
  EXPECT_THAT(cli.arguments("codex"), HasSubstr("gpt-6-luna"));

  service->setOverride(timeline, IntelligenceChoice{.model = "mine", .effort = {}});
  queues.run(service->classify("?", "{}", timeline));
  EXPECT_EQ(last().model, "mine");
  EXPECT_EQ(last().effort, std::nullopt);
  service->setOverride(timeline, {});
  EXPECT_EQ(service->choice(timeline, codex).model, "gpt-6-luna");
}

TEST_F(IntelligenceServiceTest, keepsTheBeginningOfWhatIsNoObject) {
  std::string huge;
  while (huge.size() < 10'000'000) huge += "ein Käse, ";
  const std::string answers[] = {"I would say a.", "[1]", "{\"kind\":", huge};
  for (const auto& answer : answers) {
    codexAnswers(answer);
    EXPECT_EQ(asked(question()), unreadable);
    EXPECT_EQ(last().error, unreadable);
    const auto& kept = last().unreadableResponse.value();
    EXPECT_TRUE(answer.starts_with(kept) && isValidUtf8(kept));
    EXPECT_EQ(kept.size() < answer.size(), answer.size() > 1000);
    EXPECT_LE(kept.size(), IntelligenceService::longestUnreadableResponse);
    EXPECT_EQ(last().answer, kept);
    EXPECT_EQ(last().usage->outputTokens, 2);
  }
}

TEST_F(IntelligenceServiceTest, everyFailureIsRememberedAndThrown) {
  const std::pair<const char*, const char*> cases[] = {
      {"exit 3", "Codex exited with code 3 before completing."},
      {"kill -9 $$", "Codex exited with code 137"},
      {"echo 'quota exceeded' >&2; exit 1", "quota exceeded"},
      {"exit 0", "Codex ended without an answer. Try again."},
  };
  for (const auto& [script, message] : cases) {
    cli.script("codex", script);
    const auto thrown = asked(question());
    EXPECT_THAT(thrown, HasSubstr(message));
    EXPECT_EQ(last().error, thrown);
    EXPECT_EQ(last().unreadableResponse, std::nullopt);
  }
  // Used up before it failed.
  codexAnswers("{}", "exit 4");
  asked(question());
  EXPECT_EQ(last().usage->inputTokens, 7);

  cli.script("codex", "sleep 60");
  const auto slow = begin();
  awaitProcess(6);
  clock.advance(Seconds(119));
  EXPECT_EQ(slow->message, "");
  clock.advance(Seconds(1));
  EXPECT_EQ(messageOf(*slow), "Codex did not answer within 120 seconds. Try again.");
  EXPECT_EQ(last().duration, 120);

  auto nowhere = question(IntelligenceCallKind::explore);
  EXPECT_EQ(asked(nowhere),
            "The Vale library folder is missing: " + (cli.home() / "support/Library").string());
  EXPECT_EQ(last().kind, IntelligenceCallKind::explore);
  queues.runUntil(Census::childrenAreGone);

  for (int i = 0; i < 20; ++i) asked(nowhere);
  EXPECT_EQ(service->recentCalls().size(), 20u);
  EXPECT_EQ(service->recentCalls().back().kind, IntelligenceCallKind::explore);
}

TEST_F(IntelligenceServiceTest, aCancellationEndsTheCallAtOnce) {
  cli.script("codex", "sleep 60 & wait");
  const auto running = begin();
  awaitProcess(1);
  running->cancellation.cancel();
  EXPECT_EQ(messageOf(*running), "The request was cancelled.");
  EXPECT_EQ(last().error, "The request was cancelled.");
  EXPECT_EQ(agents.runs().back()->status(), AgentRunStatus::cancelled);
  EXPECT_EQ(service->activeCalls().value(), 0);

  auto late = question();
  late.cancellation.cancel();
  EXPECT_EQ(asked(late), "The request was cancelled.");
  EXPECT_EQ(agents.runs().size(), 1u);
  queues.runUntil(Census::childrenAreGone);

  // The service goes before the answer comes.
  const auto orphan = begin();
  awaitProcess(2);
  service.reset();
  agents.cancelAll();
  EXPECT_EQ(messageOf(*orphan), "The request was cancelled.");
}

TEST_F(IntelligenceServiceTest, aCancellationDoesNotWaitForTheSearchForCLIs) {
  const auto end = cli.home() / "end";
  install("codex", "codex-cli 9.9.9", "until [ -e '" + end.string() + "' ]; do sleep 0.02; done");
  const auto searching = begin();
  queues.runUntil([&] { return agents.hasDiscovered(codex); });
  searching->cancellation.cancel();
  EXPECT_EQ(messageOf(*searching), "The request was cancelled.");
  PrivateFiles::write("", end);
  // The search goes on for whoever asks next, to its end.
  for (const auto provider : {codex, AgentProvider::claude})
    queues.runUntil([&] { return agents.status(provider).authentication.has_value(); });
}

TEST_F(IntelligenceServiceTest, saysWhatTheUserHasToDoFirst) {
  const auto found = [&](std::optional<AgentProvider> expected) {
    bool ended = false;
    asio::co_spawn(queues.context, agents.refresh(), [&](std::exception_ptr) { ended = true; });
    queues.runUntil([&] { return ended; });
    EXPECT_EQ(service->provider().value(), expected);
    return queues.run(service->unavailability()).value_or("ready");
  };
  // Looks for itself when nobody has.
  EXPECT_EQ(queues.run(service->unavailability()), std::nullopt);
  EXPECT_EQ(service->provider().value(), codex);

  install("codex", "codex-cli 9.9.9", "echo 'Not logged in' >&2; exit 1");
  EXPECT_EQ(found(claude), "ready");
  install("claude", "9.9.9", "echo '{\"loggedIn\":false}'; exit 1");
  EXPECT_THAT(found(codex), HasSubstr("codex login"));
  settings.setIntelligenceProvider(claude);
  EXPECT_THAT(found(claude), HasSubstr("claude auth login"));
  install("claude", "0.0.1", "echo '{\"loggedIn\":true}'");
  EXPECT_THAT(found(claude), HasSubstr("0.0.1"));
  EXPECT_EQ(asked(question()), agents.status(claude).message());
  EXPECT_EQ(last().error, agents.status(claude).message());
  install("claude", "9.9.9", "echo what");
  EXPECT_EQ(found(claude), "ready");

  for (const char* name : {"claude", "codex"}) std::filesystem::remove(cli.home() / ".local/bin" / name);
  EXPECT_THAT(found({}), AllOf(StartsWith("Install Codex with "), HasSubstr(" Install Claude Code with ")));
  const auto calls = service->recentCalls().size();
  EXPECT_THAT(asked(question()), StartsWith("Install Codex with "));
  EXPECT_EQ(service->recentCalls().size(), calls);
}

TEST_F(IntelligenceServiceTest, aPrewarmedClassifierTakesTheNextCallOnly) {
  cli.script(
      "claude",
      "while read -r line; do echo '{\"type\":\"result\",\"is_error\":false,\"structured_output\":{\"pid\":"
      "'$$'}}'; done",
      false);
  const auto& pool = agents.classifierPool();
  service->prewarm(question().schema, routing);
  ASSERT_EQ(queues.run(service->unavailability()), std::nullopt);
  service->prewarm(question().schema, routing);
  // Codex is what answers, and has nothing to prepare.
  EXPECT_FALSE(pool.hasIdle());
  settings.setIntelligenceProvider(claude);
  service->prewarm(question().schema, routing);
  queues.runUntil([&] { return pool.hasIdle(); });
  const auto first = asked(question());
  EXPECT_FALSE(pool.hasIdle());
  EXPECT_THAT(first, EndsWith(std::to_string(agents.runs().back()->processID().value()) + "}"));
  EXPECT_NE(asked(question()), first);
  EXPECT_EQ(pool.launchCount(), 1);
  EXPECT_FALSE(pool.hasIdle());
}

TEST_F(IntelligenceServiceTest, asksWhomAndWhereTheQuestionSays) {
  cli.script(
      "claude",
      "echo '{\"type\":\"result\",\"is_error\":false,\"structured_output\":{\"where\":\"'$(pwd)'\"}}'");
  std::filesystem::create_directories(service->workingDirectory());
  auto it = question(IntelligenceCallKind::explore);
  it.provider = claude;
  EXPECT_EQ(asked(it), "{\"where\":\"" + service->workingDirectory().string() + "\"}");
  EXPECT_FALSE(agents.hasDiscovered(codex));
  it.directory = cli.project();
  EXPECT_EQ(asked(it), "{\"where\":\"" + cli.project().string() + "\"}");
  it.provider = codex;
  std::filesystem::remove(cli.home() / ".local/bin/codex");
  EXPECT_THAT(asked(it), StartsWith("Install Codex with "));
  EXPECT_EQ(last().provider, codex);
}

}  // namespace
}  // namespace vale::test
