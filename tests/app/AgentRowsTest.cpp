#include "app/AgentRows.h"

#include "agents/AgentTranscript.h"
#include "support/StreamReplay.h"

#include <fmt/format.h>
#include <gmock/gmock.h>

#include <algorithm>

namespace vale {
namespace {

const Date start = dateFromSecondsSince2001(1'000);

AgentThread thread(AgentProvider provider = AgentProvider::claude) {
  return {.id = Uuid::random(), .projectPath = "/home/user/kitchen", .provider = provider};
}

AgentTurn turn(AgentRunStatus status = AgentRunStatus::completed) {
  AgentTurn one{.id = Uuid::random(), .prompt = "Tidy up", .startedAt = start};
  one.status = status;
  if (status != AgentRunStatus::running) one.finishedAt = start + Seconds(65);
  return one;
}

/// One line a row, as its kind and what is read at a glance.
std::string glance(const std::vector<AgentRow>& rows) {
  constexpr const char* kinds[] = {"request", "message", "thinking", "call",
                                   "notice",  "error",   "facts",    "changes"};
  constexpr const char* states[] = {"", " …", " ✓", " ✗", " ⊘"};
  std::string lines;
  for (const auto& row : rows) {
    lines += fmt::format("{}{}: {}\n", kinds[static_cast<int>(row.kind)], states[static_cast<int>(row.state)],
                         row.title.empty() ? row.text : row.title);
  }
  return lines;
}

TEST(AgentRows, tellATurnFromItsRequestToItsCost) {
  auto one = turn();
  one.attachment = "the page “Soup”";
  one.model = "opus\nline";
  one.usage = AgentUsage{.inputTokens = 12'345, .outputTokens = 210, .costUSD = 0.0312};
  AgentTranscript transcript;
  transcript.add(stream::Thinking{.id = "t", .text = "hm", .append = false});
  transcript.add(ToolCall{.id = "c",
                          .kind = ToolKind::command,
                          .name = "Bash",
                          .summary = "Run make",
                          .inputPreview = "make -j2",
                          .status = ToolStatus::failed,
                          .resultPreview = "no rule",
                          .exitCode = 2});
  transcript.add(ToolCall{.id = "e",
                          .kind = ToolKind::edit,
                          .name = "Edit",
                          .summary = "Edit a.c",
                          .status = ToolStatus::completed,
                          .patches = {{"a.c", "update", "@@\n-a\n+b"}}});
  transcript.add(stream::Text{.id = "m", .text = "Done.", .append = false});
  transcript.finish();
  one.items = transcript.items();
  const std::map<std::string, ThinkingTime> thinking{{one.items[0].id, {start, start + Seconds(12)}}};
  const auto rows = agentRows(one, thread(), {.thinking = &thinking});
  EXPECT_EQ(glance(rows),
            "request: Read only · With the page “Soup”\n"
            "thinking ✓: Thought for 12 s\n"
            "call ✗: Run make\n"
            "call ✓: Edit a.c\n"
            "message ✓: Done.\n"
            "facts: Claude Code · opus line · 1 min 5 s · 12.3k tokens in, 210 out · $0.0312\n");
  const auto& command = rows[2].details;
  ASSERT_EQ(command.size(), 3U);
  EXPECT_EQ(command[0].label + "|" + command[1].label + "|" + command[2].text, "Command|Output|2");
  ASSERT_EQ(rows[3].details.size(), 1U);
  EXPECT_EQ(rows[3].details[0].form, AgentRowDetail::Form::diff);
  EXPECT_EQ(rows[3].details[0].label, "Changed a.c");
}

TEST(AgentRows, sayWhatToChangeWhenSomethingWasDeniedOrFailed) {
  auto denied = turn();
  PermissionDenial denial{
      .toolName = "Write", .toolUseID = "w", .summary = "Write notes.txt", .target = "notes.txt"};
  TranscriptItem item{.id = "w", .kind = TranscriptItemKind::toolCall, .denial = denial};
  denied.items = {item};
  auto rows = agentRows(denied, thread(), {});
  EXPECT_EQ(rows[1].state, AgentRow::State::denied);
  EXPECT_EQ(rows[1].remedy, AgentRow::Remedy::allowWriting);
  // With leave to write, writing once more would not help.
  denied.access = AgentAccess::projectWrite;
  rows = agentRows(denied, thread(), {});
  EXPECT_EQ(rows[1].remedy, AgentRow::Remedy::none);
  EXPECT_THAT(rows[1].hint, testing::HasSubstr("“notes.txt” is outside"));

  const auto failed = turn(AgentRunStatus::failed);
  rows = agentRows(failed, thread(), {});
  EXPECT_EQ(rows[1].kind, AgentRow::Kind::error);
  EXPECT_EQ(rows[1].remedy, AgentRow::Remedy::sendAgain);
  rows = agentRows(failed, thread(), {.sessionIsGone = true});
  EXPECT_EQ(rows[1].remedy, AgentRow::Remedy::sendInFreshSession);
}

TEST(AgentRows, keepTheirNamesWhileATurnGrows) {
  for (const char* name : {"claude-task-write-tool", "claude-task-write-denied", "codex-task-write-plan",
                           "codex-task-readonly-commands", "claude-error-429"}) {
    const auto provider = name[1] == 'l' ? AgentProvider::claude : AgentProvider::codex;
    AgentTranscript transcript;
    auto growing = turn(AgentRunStatus::running);
    std::vector<std::string> before;
    AgentStreamParser parser(provider, "/home/user/kitchen", {});
    for (const auto& line : test::recordedStream(name)) {
      transcript.add(parser.parse(line).events);
      growing.items = transcript.items();
      std::vector<std::string> now;
      for (const auto& row : agentRows(growing, thread(provider), {.live = true})) now.push_back(row.id);
      // A row may go, but none changes its name or its place.
      std::vector<std::string> kept;
      for (const auto& id : now) {
        if (std::ranges::find(before, id) != before.end()) kept.push_back(id);
      }
      std::erase_if(before, [&](const auto& id) { return std::ranges::find(now, id) == now.end(); });
      EXPECT_EQ(kept, before) << name;
      before = now;
    }
    EXPECT_GT(before.size(), 1U) << name;
  }
}

TEST(AgentRows, countAndTimeAreReadAtAGlance) {
  EXPECT_EQ(spokenDuration(Seconds(7.9)) + "|" + spokenDuration(Seconds(3'661)) + "|" +
                spokenDuration(Seconds(-1)),
            "7 s|1 h 1 min|0 s");
  EXPECT_EQ(spokenCount(999) + "|" + spokenCount(1'250) + "|" + spokenCount(2'000'000), "999|1.2k|2.0M");
}

}  // namespace
}  // namespace vale
