#include "agents/AgentThreadFolder.h"
#include "benchmarks/Rows.h"
#include "common/FileDescriptor.h"
#include "tests/support/TemporaryFolder.h"

#include <fmt/format.h>

#include <memory>

namespace vale::bench {
namespace {

constexpr int threadCount = 1000;
constexpr std::size_t threadBytes = 100'000;

/// A conversation as they are: requests, answers, calls with their outputs, diffs.
AgentThread conversation() {
  const Date date = std::chrono::system_clock::now();
  AgentThread thread{.id = Uuid::random(),
                     .projectPath = "/home/user/code/project",
                     .provider = AgentProvider::claude,
                     .cliSessionID = Uuid::random().text(),
                     .title = "Make the parser keep comments",
                     .createdAt = date,
                     .updatedAt = date};
  std::string output;
  for (int i = 0; i < 30; ++i) output += fmt::format("{:6}\tconst auto line{} = \"read\";\n", i, i);
  for (std::size_t bytes = 0; bytes < threadBytes;) {
    AgentTurn turn{.id = Uuid::random(),
                   .prompt = "Please look at the parser and make it keep the comments.",
                   .startedAt = date,
                   .finishedAt = date,
                   .status = AgentRunStatus::completed};
    for (int i = 0; i < 10; ++i) {
      turn.items.push_back({.id = fmt::format("msg_{}:0", i),
                            .kind = TranscriptItemKind::message,
                            .text = "I will read the file and see where the comments are lost. " + output});
      turn.items.push_back({.id = fmt::format("toolu_{}", i),
                            .kind = TranscriptItemKind::toolCall,
                            .tool = ToolCall{.id = fmt::format("toolu_{}", i),
                                             .kind = ToolKind::read,
                                             .name = "Read",
                                             .summary = "Read src/parser.cpp",
                                             .inputPreview = "src/parser.cpp",
                                             .status = ToolStatus::completed,
                                             .resultPreview = output,
                                             .files = {"src/parser.cpp"},
                                             .startedAt = date}});
      turn.items.push_back({.id = fmt::format("toolu_{}/1", i),
                            .kind = TranscriptItemKind::filePatch,
                            .patch = FilePatch{.path = "src/parser.cpp", .kind = "update", .diff = output},
                            .toolID = fmt::format("toolu_{}", i)});
    }
    bytes += jsonText(encode(turn)).size();
    thread.turns.push_back(std::move(turn));
  }
  return thread;
}

class ThreadFiles {
 public:
  ThreadFiles() {
    AgentThreadFolder folder(folder_.path());
    auto thread = conversation();
    for (int i = 0; i < threadCount; ++i) {
      thread.id = Uuid::random();
      folder.write(thread);
    }
  }
  ~ThreadFiles() { workers_.stop(); }

  double load() {
    AgentThreadFolder folder(folder_.path(), &workers_);
    std::size_t loaded = 0;
    const double seconds = secondsOf([&] { loaded = folder.readAll().size(); });
    if (loaded != threadCount) throw Unmeasured("not every thread was loaded");
    return threadCount / seconds;
  }

  double parse() const {
    return threadCount / secondsOf([&] {
             for (const auto& entry : std::filesystem::directory_iterator(folder_.path())) {
               keep(json::parse(*readFile(entry.path())));
             }
           });
  }

 private:
  test::TemporaryFolder folder_;
  WorkerPool workers_;
};

}  // namespace

void addThreadRows(Table& table) {
  const auto shared = std::make_shared<std::unique_ptr<ThreadFiles>>();
  const auto with = [shared]() -> ThreadFiles& {
    if (!*shared) *shared = std::make_unique<ThreadFiles>();
    return **shared;
  };
  table.add({.name = "1,000 threads of 100 KB loaded",
             .unit = "threads/s",
             .ours = [with] { return with().load(); },
             .peerName = "bare read + Boost.JSON parse",
             .peer = [with] { return with().parse(); },
             .direction = Goal::atLeast,
             .goal = 0.7});
}

}  // namespace vale::bench
