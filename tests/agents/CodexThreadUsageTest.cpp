#include "agents/CodexThreadUsage.h"

#include "common/PrivateFiles.h"
#include "support/TemporaryFolder.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

namespace vale::test {
namespace {

constexpr std::string_view thread = "01a20553-d798-7a42-993b-fa4dc7bb37df";

std::string figures(int input) {
  return fmt::format(R"({{"timestamp":"2026-11-22T22:15:10.899Z","ordinal":22,"type":"event_msg","payload":)"
                     R"({{"type":"token_count","info":{{"total_token_usage":{{"input_tokens":{},)"
                     R"("cached_input_tokens":160,"cache_write_input_tokens":0,"output_tokens":80,)"
                     R"("reasoning_output_tokens":24,"total_tokens":480}},"model_context_window":258400}},)"
                     R"("rate_limits":{{"limit_id":"codex"}}}}}})"
                     "\n",
                     input);
}

class CodexThreadUsage : public testing::Test {
 protected:
  std::optional<AgentUsage> of(const std::string& rollout) {
    PrivateFiles::write(
        rollout, folder_ / fmt::format("sessions/2026/11/22/rollout-2026-11-22T22-15-10-{}.jsonl", thread));
    return earlierCodexUsage(folder_.path(), thread);
  }
  TemporaryFolder folder_;
};

TEST_F(CodexThreadUsage, isTheLastTotalOfTheRollout) {
  const auto usage =
      of(figures(200) + figures(400) + "{\"type\":\"event_msg\",\"payload\":{\"type\":\"task_complete\"}}\n");
  ASSERT_TRUE(usage);
  EXPECT_EQ(
      *usage,
      (AgentUsage{.inputTokens = 400, .cachedInputTokens = 160, .outputTokens = 80, .reasoningTokens = 24}));
  EXPECT_EQ(earlierCodexUsage(folder_.path(), "01A20553-D798-7A42-993B-FA4DC7BB37DF"), usage);
  EXPECT_EQ(of("{}\n" + figures(7))->inputTokens, 7);
  EXPECT_EQ(of(figures(7).substr(0, figures(7).size() - 1))->inputTokens, 7) << "without the last line's end";
}

TEST_F(CodexThreadUsage, isFoundBeforeLongLinesWhereverTheyEnd) {
  for (const std::size_t length :
       {0u, 200'000u, 262'000u, 262'144u, 270'000u, 279'000u, 1'200'000u, 5'000'000u}) {
    const auto quoted =
        "{\"type\":\"response_item\",\"payload\":\"\\\"total_token_usage\\\" \\\"token_count\\\"" +
        std::string(length, 'x') + "\"}\n";
    EXPECT_EQ(of(figures(1) + figures(2) + quoted).value_or(AgentUsage{}).inputTokens, 2) << length;
  }
  std::string quotes;
  for (int i = 0; i < 200'000; ++i) quotes += "\"total_token_usage\"";
  EXPECT_EQ(of(figures(3) + quotes + "\n").value_or(AgentUsage{}).inputTokens, 3);
}

}  // namespace
}  // namespace vale::test
