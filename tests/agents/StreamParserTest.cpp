#include "agents/AgentStreamParser.h"
#include "common/FileDescriptor.h"
#include "common/Text.h"
#include "support/ScopedVariable.h"
#include "support/StreamReplay.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace vale::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Lines = std::vector<std::string>;

constexpr auto claude = AgentProvider::claude;
constexpr auto codex = AgentProvider::codex;

std::string delta(std::string_view kind, int block, std::string_view words) {
  return fmt::format(
      R"({{"type":"stream_event","parent_tool_use_id":null,"event":{{"type":"content_block_delta",)"
      R"("index":{},"delta":{{"type":"{}_delta","{}":"{}"}}}}}})",
      block, kind, kind, words);
}
std::string start(std::string_view message) {
  return fmt::format(
      R"({{"type":"stream_event","event":{{"type":"message_start","message":{{"id":"{}"}}}}}})", message);
}
std::string whole(std::string_view message, std::string_view blocks, std::string_view parent = "null") {
  return fmt::format(
      R"({{"parent_tool_use_id":{},"message":{{"id":"{}","content":[{}]}},"type":"assistant"}})", parent,
      message, blocks);
}
std::string words(std::string_view kind, std::string_view text) {
  return fmt::format(R"({{"type":"{}","{}":"{}"}})", kind, kind, text);
}

/// For each recorded stream, the file in transcripts holds what a view should show and the run should hold.
TEST(StreamParser, recordedRunsShowEverythingOnce) {
  const ScopedVariable home("HOME", "/home/somebody");
  const std::filesystem::path fixtures = VALE_TESTS_DIR "/fixtures";
  for (const auto& file : std::filesystem::directory_iterator(fixtures / "streams")) {
    const std::string name = file.path().stem();
    StreamReplay replay(name.starts_with("claude") ? claude : codex);
    replay.read(recordedStream(name)).finish();
    EXPECT_EQ(replay.report(), readFile(fixtures / "transcripts" / (name + ".txt")).value()) << name;
    EXPECT_EQ(replay.state.failure.has_value(), !replay.state.success.value()) << name;
    EXPECT_TRUE(replay.state.resultArrived && replay.state.sessionID) << name;
  }
}

TEST(StreamParser, figuresCountTheRunAlone) {
  const auto cost = [](std::string_view rest) {
    return StreamReplay(claude)
        .read({fmt::format(R"({{"type":"result","is_error":false,"total_cost_usd":0.5{}}})", rest)})
        .state.usage->costUSD;
  };
  EXPECT_EQ(cost(""), 0.5);
  EXPECT_EQ(cost(R"(,"model_usage_since_last_result":{"a":{"costUSD":0.125},"b":{"costUSD":0.25}})"), 0.375)
      << "the whole session's cost is not the run's";

  const auto figures = [](AgentUsage earlier) {
    const auto used =
        *StreamReplay(codex, earlier).read(recordedStream("codex-task-readonly-tool")).state.usage;
    return std::vector{used.inputTokens, used.cachedInputTokens, used.outputTokens, used.reasoningTokens};
  };
  EXPECT_THAT(
      figures({.inputTokens = 150, .cachedInputTokens = 60, .outputTokens = 80, .reasoningTokens = 1}),
      ElementsAre(250, 100, 0, 23));
  EXPECT_THAT(figures({.inputTokens = 150, .cachedInputTokens = 161}), ElementsAre(400, 160, 80, 24))
      << "figures that fell do not count the thread";
}

TEST(StreamParser, aBlockReplacesItsPiecesAndTheMessageGoesOn) {
  StreamReplay replay(claude);
  replay.read(
      {start("m"), delta("thinking", 0, "Hm"), whole("m", words("thinking", "Hm.")), delta("text", 1, "He")});
  EXPECT_EQ(replay.state.textDelta, "He");
  EXPECT_THAT(replay.transcript(), ElementsAre("thinking: Hm.", "text: He"));
  replay.read({delta("text", 1, "llo"), whole("m", words("text", "Hello.")), delta("text", 2, "Bye")});
  EXPECT_THAT(replay.transcript(), ElementsAre("thinking: Hm.", "text: Hello.", "text: Bye"));
  EXPECT_EQ(replay.answer, "Hello.");

  StreamReplay unstreamed(claude);
  unstreamed.read({whole("m", words("text", "One.")), whole("m", words("text", "Two.")),
                   whole("n", words("text", "Three.") + "," + words("text", "Four.")),
                   whole("", words("text", "Five."))});
  EXPECT_THAT(unstreamed.transcript(),
              ElementsAre("text: One.", "text: Two.", "text: Three.", "text: Four.", "text: Five."));
  EXPECT_EQ(unstreamed.answer, "One.Two.Three.Four.Five.");
}

TEST(StreamParser, whatABrokenStreamBeganIsWithdrawnWhenItIsAnsweredAnew) {
  for (const auto& next : {start("n"), whole("n", words("text", "Hello."))}) {
    StreamReplay replay(claude);
    replay.read({start("m"), delta("text", 0, "Hel"), next, whole("n", words("text", "Hello."))});
    EXPECT_EQ(replay.transcript()[0], "text: Hello.") << next;
  }
}

TEST(StreamParser, subagentsAndTheCommandLineToolDoNotSpeakForTheAgent) {
  const std::string call = R"({"type":"tool_use","id":"t1","name":"Grep","input":{"pattern":"x"}})";
  const std::string nudge =
      R"({"type":"user","isSynthetic":true,"message":{"content":[{"type":"text","text":"Go on."}]}})";
  const std::string result =
      R"({"type":"user","parent_tool_use_id":"p","message":{"content":)"
      R"([{"type":"tool_result","tool_use_id":"t1","content":[{"type":"text","text":"hit"}]}]}})";
  auto foreignDelta = delta("text", 0, "Sub");
  foreignDelta.replace(foreignDelta.find("null"), 4, "\"p\"");
  StreamReplay replay(claude);
  replay.read({start("m"), delta("text", 0, "I"), foreignDelta, whole("s", words("text", "Sub"), "\"p\""),
               whole("s", call, "\"p\""), nudge, result, delta("text", 0, " am"),
               whole("m", words("text", "I am"))});
  EXPECT_THAT(replay.transcript(), ElementsAre("text: I am", "search completed: Search for “x”"));
  EXPECT_EQ(replay.answer, "I am");
  EXPECT_EQ(replay.calls.back().resultPreview, "hit");
}

TEST(StreamParser, theReasonOfAFailureIsToldOnce) {
  const std::string overloaded = "We are overloaded.";
  const auto error = [](std::string_view text) {
    return fmt::format(R"({{"type":"error","message":"{}"}})", text);
  };
  const auto failed = [](std::string_view text) {
    return fmt::format(R"({{"type":"turn.failed","error":{{"message":"{}"}}}})", text);
  };
  const auto apiError =
      fmt::format(R"({{"type":"assistant","is_api_error_message":true,"message":{{"content":[{}]}}}})",
                  words("text", overloaded));
  const auto result = [](std::string_view rest) {
    return fmt::format(R"({{"type":"result","is_error":true{}}})", rest);
  };
  const std::string done = R"({"type":"turn.completed","usage":{}})";
  const struct {
    AgentProvider provider;
    Lines lines;
    Lines transcript;
  } cases[] = {
      {codex, {error(overloaded), failed(overloaded)}, {"error: " + overloaded, "ended: badly"}},
      {codex, {error(overloaded)}, {"error: " + overloaded, "ended: badly"}},
      {codex, {error(overloaded), done}, {"notice: " + overloaded, "ended: well"}},
      {codex, {error("A"), error("B"), failed("C")}, {"notice: A", "notice: B", "error: C", "ended: badly"}},
      {codex, {R"({"type":"error"})"}, {"error: Codex reported an error.", "ended: badly"}},
      {codex, {R"({"type":"turn.failed"})"}, {"error: Codex failed this turn.", "ended: badly"}},
      {codex, {error("A"), R"({"type":"turn.failed"})"}, {"error: A", "ended: badly"}},
      {codex, {done, error("late")}, {"ended: well"}},
      {claude,
       {apiError, result(R"(,"result":"We are overloaded.")")},
       {"error: " + overloaded, "ended: badly"}},
      {claude, {apiError}, {"error: " + overloaded, "ended: badly"}},
      {claude, {apiError, result("")}, {"error: " + overloaded, "ended: badly"}},
      {claude, {result(R"(,"errors":["One.","Two."],"result":"x")")}, {"error: One.\nTwo.", "ended: badly"}},
      {claude, {result(R"(,"errors":[])")}, {"error: Claude Code failed this turn.", "ended: badly"}},
      {claude, {whole("m", words("text", "Half"))}, {"text: Half"}},
  };
  for (const auto& expected : cases) {
    SCOPED_TRACE(testing::PrintToString(expected.lines));
    EXPECT_EQ(StreamReplay(expected.provider).read(expected.lines).finish().transcript(),
              expected.transcript);
  }
}

TEST(StreamParser, damagedLinesAreRepairedOrPassedOver) {
  const auto said = [](const std::string& text) { return whole("m", words("text", text)); };
  EXPECT_EQ(StreamReplay(claude).read({said(R"(cut \ud83d here)")}).answer, "cut \uFFFD here");
  EXPECT_EQ(StreamReplay(claude).read({said(R"(\ud83d\ude00 \ude00 \\ud83d)")}).answer, "😀 \uFFFD \\ud83d");
  EXPECT_EQ(StreamReplay(claude).read({said("bad \xC3( byte")}).answer, "bad \uFFFD( byte");
  EXPECT_EQ(StreamReplay(claude).read({said(R"(nul \u0000 inside)")}).answer,
            std::string("nul \0 inside", 12));

  const Lines foreign{
      "",
      "not json",
      "[1,2]",
      "\"text\"",
      "null",
      R"({"type":7})",
      R"({"type":"assistant"})",
      R"({"type":"assistant","message":{"content":"x"}})",
      R"({"type":"stream_event","event":[]})",
      R"({"type":"item.completed","item":{"type":"agent_message","text":null}})",
      R"({"type":"item.completed","item":{}})",
      R"({"type":"from the future","text":"x"})",
      said("half").substr(0, 40),
      said("two") + said("objects"),
      std::string("{\"type\":\"system\0\"}", 18),
      std::string(100'000, '['),
      R"({"type":"result","x":)" + std::string(100'000, '[') + std::string(100'000, ']') + "}",
  };
  for (const auto provider : {claude, codex}) {
    StreamReplay replay(provider);
    replay.read(foreign).finish();
    EXPECT_THAT(replay.transcript(), IsEmpty());
    EXPECT_FALSE(replay.state.success);
    EXPECT_EQ(replay.read(recordedStream(provider == claude ? "claude-signed-out" : "codex-error-400"))
                  .state.success,
              false)
        << "the next good line is read as ever";
  }
}

TEST(StreamParser, previewsAreShortWholeAndHarmless) {
  const auto ran = [](const std::string& command, const std::string& output) {
    const auto line =
        fmt::format(R"({{"type":"item.completed","item":{{"id":"i","type":"command_execution",)"
                    R"("command":"{}","aggregated_output":"{}","exit_code":0,"status":"completed"}}}})",
                    command, output);
    return StreamReplay(codex).read({line}).calls.back();
  };
  std::string families;
  for (int i = 0; i < 5000; ++i) families += "👩‍👧";
  const auto call = ran("echo \\u202Egnp.exe\\nrm x", families);
  EXPECT_EQ(call.summary, "Run echo \uFFFDgnp.exe rm x");
  EXPECT_EQ(call.inputPreview, "echo \uFFFDgnp.exe\nrm x");
  EXPECT_EQ(characterCount(*call.resultPreview), 4000u);
  EXPECT_TRUE(call.resultPreview->ends_with("👩‍👧…"));

  EXPECT_EQ(
      ran("x", R"(\u001b[1;31mred\u001b[0m \u001b]8;;http://a\u0007link\r\nb\u0008\u0085c)").resultPreview,
      "red link\nbc");
  const auto large = ran("x", std::string(64 << 20, 'a'));
  EXPECT_EQ(*large.resultPreview, std::string(3999, 'a') + "…");
  std::string accents = "e";
  for (int i = 0; i < 100'000; ++i) accents += "\u0301";
  EXPECT_LE(ran("x", accents).resultPreview->size(), 70'000u) << "one character without end";
}

TEST(StreamParser, errorsBecomeSentences) {
  const std::pair<std::string, std::string> cases[] = {
      {"Plain words.", "Plain words."},
      {R"({"error":{"message":"Inner."},"message":"Outer."})", "Inner."},
      {R"( {"message":"Outer.","error":"text"})", "Outer."},
      {R"({"error":{"message":"{\"error\":{\"message\":\"Nested.\"}}"}})", "Nested."},
      {R"({"detail":"neither"})", R"({"detail":"neither"})"},
      {R"({"message":)", R"({"message":)"},
      {"", ""},
  };
  for (const auto& [text, sentence] : cases) EXPECT_EQ(readableError(text), sentence);
}

}  // namespace
}  // namespace vale::test
