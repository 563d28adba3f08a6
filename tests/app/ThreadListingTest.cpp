#include "app/ThreadListing.h"

#include <gmock/gmock.h>

namespace vale {
namespace {

TEST(ThreadListing, findsAllWordsInTitleProjectAndPageTheLatestFirst) {
  std::map<Uuid, ThreadSummary> threads;
  const auto add = [&](const char* title, AgentThread::Kind kind, AgentRunStatus status) -> ThreadSummary& {
    ThreadSummary one{.id = Uuid::random(), .kind = kind, .title = title, .status = status};
    one.updatedAt = Date(Seconds(static_cast<double>(threads.size())));
    one.projectPath = "/home/a/kitchen";
    return threads[one.id] = one;
  };
  using enum AgentRunStatus;
  add("Leek soup", AgentThreadKind::project, failed);
  add("Straße\nto Köln", AgentThreadKind::page, running).page =
      PageReference{.url = "https://maps.example.org/"};
  add("Bread", AgentThreadKind::project, completed).needsAttention = true;
  const auto list = [&](std::string_view words, std::size_t most = 9) {
    std::string lines;
    for (const auto& one : listedThreads(
             threads, words, [](const auto&) { return "Kitchen"; }, most))
      lines += one.title + " | " + one.facts + "\n";
    return lines;
  };
  EXPECT_EQ(list(""), "Bread | Kitchen · needs a look\nStraße to Köln | About a page · working\n"
                      "Leek soup | Kitchen · failed\n");
  EXPECT_EQ(list(" SOUP  kitchen "), "Leek soup | Kitchen · failed\n");
  EXPECT_EQ(list("strasse maps"), "Straße to Köln | About a page · working\n");
  EXPECT_EQ(list("soup bread"), "");
  EXPECT_EQ(list("kitchen", 1), "Bread | Kitchen · needs a look\n");
}

}  // namespace
}  // namespace vale
