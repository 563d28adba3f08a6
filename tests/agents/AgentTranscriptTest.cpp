#include "agents/AgentTranscript.h"

#include "agents/AgentThread.h"
#include "agents/TranscriptBounds.h"
#include "common/Text.h"
#include "support/StreamReplay.h"

#include <gmock/gmock.h>

#include <filesystem>

namespace vale::test {
namespace {

using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using Kind = TranscriptItemKind;

std::vector<TranscriptItem> readBack(const std::vector<TranscriptItem>& items) {
  AgentTurn turn{.id = Uuid::random(), .items = items};
  return decodeText<AgentTurn>(jsonText(encode(turn))).items;
}

/// An item as the recorded transcripts write it; none for a patch, which they do not show among the others.
std::optional<std::string> shown(const TranscriptItem& item) {
  switch (item.kind) {
  case Kind::message:
    return "text: " + *item.text;
  case Kind::reasoning:
    return "thinking: " + *item.text;
  case Kind::toolCall:
    return fmt::format("{} {}: {}", rawValue(item.tool->kind), rawValue(item.tool->status),
                       item.tool->summary);
  case Kind::notice:
    return "notice: " + *item.text;
  case Kind::error:
    return "error: " + *item.text;
  default:
    return std::nullopt;
  }
}

AgentTranscript transcriptOf(const std::string& recording) {
  AgentStreamParser parser(recording.starts_with("claude") ? AgentProvider::claude : AgentProvider::codex,
                           "/home/user/code/proj");
  AgentTranscript transcript;
  const auto apply = [&transcript](const AgentStreamUpdate& update) {
    transcript.add(update.events);
    if (update.usage) transcript.addDenials(*update.usage);
  };
  for (const auto& line : recordedStream(recording)) apply(parser.parse(line));
  apply(parser.finish());
  transcript.finish();
  return transcript;
}

ToolCall call(std::string id, ToolStatus status, std::string output = {}) {
  return {.id = std::move(id),
          .kind = ToolKind::command,
          .name = "Bash",
          .summary = "Run make",
          .status = status,
          .resultPreview = output.empty() ? std::nullopt : std::optional(std::move(output))};
}

std::size_t weightOf(const std::vector<TranscriptItem>& items) {
  std::size_t bytes = 0;
  for (const auto& item : items) bytes += vale::weightOf(item);
  return bytes;
}

TEST(AgentTranscript, recordedRunsAreKeptAsTheyWereShown) {
  std::size_t recordings = 0;
  for (const auto& entry : std::filesystem::directory_iterator(VALE_TESTS_DIR "/fixtures/streams")) {
    const std::string name = entry.path().stem();
    SCOPED_TRACE(name);
    ++recordings;
    StreamReplay replay(name.starts_with("claude") ? AgentProvider::claude : AgentProvider::codex);
    auto expected = replay.read(recordedStream(name)).finish().transcript();
    std::vector<std::string> texts;
    std::erase_if(expected, [&texts](const std::string& line) {
      if (line.starts_with("text: ")) texts.push_back(line.substr(6));
      const bool isAnswer = line.starts_with("final: ");
      const bool isStreamed = isAnswer && std::ranges::find(texts, line.substr(7)) != texts.end();
      return isStreamed || line.starts_with("ended: ");
    });
    for (auto& line : expected) {
      if (line.starts_with("final: ")) line.replace(0, 5, "text");
    }

    const auto transcript = transcriptOf(name);
    std::vector<std::string> lines;
    for (const auto& item : transcript.items()) {
      EXPECT_TRUE(item.finished);
      if (auto line = shown(item)) lines.push_back(std::move(*line));
    }
    EXPECT_EQ(lines, expected);
    EXPECT_EQ(readBack(transcript.items()), transcript.items());
  }
  EXPECT_GE(recordings, 15u);
}

TEST(AgentTranscript, diffsFollowTheirCallAndRefusalsSayWhatWasRefused) {
  const auto writing = transcriptOf("claude-task-write-tool").items();
  const auto patch = std::ranges::find(writing, Kind::filePatch, &TranscriptItem::kind);
  ASSERT_NE(patch, writing.end());
  EXPECT_EQ(patch->toolID, std::prev(patch)->tool->id);
  EXPECT_THAT(std::prev(patch)->tool->patches, IsEmpty());
  EXPECT_THAT(patch->patch->diff.value_or(""), HasSubstr("@@"));

  AgentTranscript transcript;
  const auto running = call("b", ToolStatus::running);
  transcript.add({running, call("c", ToolStatus::running), stream::Text{"t", "Done.", false}});
  auto ended = call("b", ToolStatus::completed);
  ended.patches = {{"a.cpp", "update", "@@"}, {"b.cpp", "add", {}}};
  transcript.add({ended, ended});
  const AgentUsage usage{.denials = {{{"Write", "c", "Write x", "x"}, {"Edit", {}, "Edit y", {}}}}};
  transcript.addDenials(usage);
  transcript.addDenials(usage);
  std::vector<std::string> ids;
  for (const auto& item : transcript.items()) ids.push_back(item.id);
  EXPECT_THAT(ids, ElementsAre("b", "b/1", "b/2", "c", "t", "toolCall-6"));
  EXPECT_EQ(transcript.items()[3].tool->status, ToolStatus::denied);
  EXPECT_EQ(transcript.items()[3].denial->target, "x");
  EXPECT_EQ(transcript.items()[5].tool->summary, "Edit y");
  EXPECT_EQ(transcript.lastMessage(), "Done.");
}

TEST(AgentTranscript, piecesAreJoinedReplacedWithdrawnAndInTheEndTakenAsTheyAre) {
  AgentTranscript transcript;
  transcript.add({stream::Thinking{"x", "Hm", true}, stream::Text{"x", "Hel", true},
                  stream::Text{"x", "lo", true}, stream::Text{"y", "never", true}});
  EXPECT_FALSE(transcript.items()[1].finished);
  transcript.add({stream::Text{"x", "Hello.", false}, stream::Text{"y", "", false},
                  call("r", ToolStatus::running), stream::Notice{"Reconnecting"},
                  stream::Notice{"Reconnecting"}, stream::FinalText{"Hello.\n"},
                  stream::FinalText{"{\"a\":1}"}});
  // What was kept of a turn that was running when Vale stopped.
  AgentTranscript kept(readBack(transcript.items()));
  EXPECT_EQ(kept.items(), transcript.items());
  kept.finish();
  std::vector<std::string> lines;
  for (const auto& item : kept.items()) lines.push_back(*shown(item));
  EXPECT_THAT(lines, ElementsAre("thinking: Hm", "text: Hello.", "command failed: Run make",
                                 "notice: Reconnecting", "text: {\"a\":1}"));
}

TEST(AgentTranscript, aLongTextLosesItsMiddleAndSaysSo) {
  const std::string family = "👨‍👩‍👧‍👦";  // one character of 25 bytes
  std::string whole = "begin";
  while (whole.size() < 3 * AgentTranscript::maximumTextBytes) whole += family;
  whole += "the end";
  AgentTranscript streamed, atOnce;
  for (std::size_t i = 0; i < whole.size(); i += 1000)
    streamed.add(stream::Text{"t", whole.substr(i, 1000), true});
  atOnce.add(stream::Text{"t", whole, false});
  for (const auto* transcript : {&streamed, &atOnce}) {
    const auto& item = transcript->items().front();
    EXPECT_LT(item.text->size(), AgentTranscript::maximumTextBytes * 5 / 4 + 100);
    const auto mark = fmt::format("\n[… {} bytes left out …]\n", item.omittedBytes.value());
    EXPECT_TRUE(item.text->starts_with("begin" + family) && item.text->ends_with(family + "the end"));
    EXPECT_NE(item.text->find(family + mark + family), std::string::npos);
    EXPECT_EQ(item.text->size() - mark.size() + std::size_t(*item.omittedBytes), whole.size());
  }
}

TEST(AgentTranscript, aRunThatNeverStopsStaysWithinItsBounds) {
  struct Case {
    const char* name;
    std::function<AgentStreamEvent(int)> event;
    int count;
  };
  const std::string output(4000, 'x');
  const Case cases[] = {
      {"calls", [&](int i) { return call(std::to_string(i), ToolStatus::completed, output); }, 20'000},
      {"calls without an end", [&](int i) { return call(std::to_string(i), ToolStatus::running); }, 20'000},
      {"messages",
       [&](int i) {
         return stream::Text{std::to_string(i), output, false};
       },
       20'000},
      {"errors", [&](int i) { return stream::Error{std::to_string(i) + output}; }, 5'000},
      {"many files",
       [&](int i) {
         auto changing = call(std::to_string(i), ToolStatus::completed);
         changing.patches.assign(3'000, {"file", "update", output});
         changing.files.assign(3'000, "file");
         return changing;
       },
       20}};
  for (const auto& [name, event, count] : cases) {
    SCOPED_TRACE(name);
    AgentTranscript transcript;
    transcript.add(stream::Text{"answer", "I am at it.", false});
    for (int i = 0; i < count; ++i) transcript.add(event(i));
    const auto& items = transcript.items();
    EXPECT_LE(items.size(), AgentTranscript::maximumItems);
    EXPECT_GT(items.size(), 100u);
    EXPECT_LE(weightOf(items), AgentTranscript::maximumBytes);
    EXPECT_LT(jsonText(encode(items)).size(), AgentTranscript::maximumBytes);
    EXPECT_FALSE(transcript.lastMessage().empty());
  }
}

TEST(AgentTranscript, theOldestOutputsGoFirstAndANoticeCountsWhatIsGone) {
  AgentTranscript transcript;
  transcript.add(stream::Text{"m", "Building.", false});
  const std::string output(8000, 'x');
  for (int i = 0; i < 600; ++i) transcript.add(call(std::to_string(i), ToolStatus::completed, output));
  const auto& items = transcript.items();
  ASSERT_EQ(items.size(), 601u);
  EXPECT_EQ(items[1].tool->resultPreview, std::nullopt);
  EXPECT_EQ(items[1].omittedBytes, 8000);
  EXPECT_EQ(items.back().tool->resultPreview, output);

  for (int i = 600; i < 5000; ++i) transcript.add(call(std::to_string(i), ToolStatus::completed));
  EXPECT_THAT(*items.front().text, EndsWith(" earlier steps were left out."));
  EXPECT_EQ(items[1].text, "Building.");
  const std::size_t gone = std::stoul(*items.front().text);
  EXPECT_EQ(gone + items.size() - 1, 5001u);
}

TEST(AgentTranscript, itemsOfAnotherValeAreKeptAsTheyStand) {
  const std::string text = R"([{"kind":"hologram","depth":3},17,{"id":"a","kind":"toolCall"},)"
                           R"({"id":"b","kind":"notice","text":5},{"id":"c","kind":"notice","finished":true,)"
                           R"("text":"hi"}])";
  const auto items = decodeText<std::vector<TranscriptItem>>(text);
  std::vector<Kind> kinds;
  for (const auto& item : items) kinds.push_back(item.kind);
  EXPECT_THAT(kinds, ElementsAre(Kind::other, Kind::other, Kind::other, Kind::other, Kind::notice));
  EXPECT_EQ(jsonText(encode(items)), text);
}

}  // namespace
}  // namespace vale::test
