#include "agents/AgentStreamParser.h"
#include "agents/ChildProcess.h"
#include "agents/Spawn.h"
#include "benchmarks/Rows.h"
#include "common/FileDescriptor.h"

#include <boost/json.hpp>

#include <condition_variable>
#include <cstring>
#include <fstream>
#include <memory>
#include <mutex>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace vale::bench {
namespace {

constexpr std::size_t lineLength = 100;
constexpr std::size_t lineCount = 4'000'000;

/// A file of lines of 100 bytes, line feed included, that `cat` writes into the pipe.
class LineFile {
 public:
  LineFile() {
    std::string pattern = (std::filesystem::temp_directory_path() / "vale-bench-XXXXXX").string();
    const FileDescriptor file(::mkstemp(pattern.data()));
    path_ = pattern;
    std::string block;
    for (int i = 0; i < 10'000; ++i)
      block.append(lineLength - 1, static_cast<char>('a' + i % 26)).push_back('\n');
    for (std::size_t written = 0; written < lineCount * lineLength; written += block.size()) {
      if (const int error = writeAll(file.get(), block)) throw Unmeasured(systemErrorText(error));
    }
  }
  ~LineFile() {
    std::error_code ignored;
    std::filesystem::remove(path_, ignored);
  }
  LineFile(const LineFile&) = delete;
  LineFile& operator=(const LineFile&) = delete;

  ChildProcess::Launch writer() const { return {.executable = "/bin/cat", .arguments = {path_}}; }

 private:
  std::string path_;
};

double throughChildProcess(const LineFile& file, WorkerPool& workers) {
  const SerialQueue queue(workers, "Vale.bench");
  std::size_t lines = 0;
  std::mutex lock;
  std::condition_variable ended;
  bool done = false;
  const double seconds = secondsOf([&] {
    const auto child = ChildProcess::launch(file.writer(), queue.executor(), workers);
    child->attach([&](const LineBatch& batch) { lines += batch.size(); },
                  [&](const ChildProcess::Exit&) {
                    std::lock_guard guard(lock);
                    done = true;
                    ended.notify_all();
                  });
    std::unique_lock guard(lock);
    ended.wait(guard, [&] { return done; });
  });
  if (lines != lineCount) throw Unmeasured("not every line arrived");
  return static_cast<double>(lines) / seconds;
}

double throughBareRead(const LineFile& file) {
  std::size_t lines = 0;
  const double seconds = secondsOf([&] {
    Pipe input = Pipe::make();
    Pipe output = Pipe::make();
    Pipe errors = Pipe::make();
    const pid_t pid = spawn(file.writer(), input.read.get(), output.write.get(), errors.write.get());
    output.write.reset();
    std::vector<char> bytes(64 * 1024);
    for (;;) {
      const ssize_t count = ::read(output.read.get(), bytes.data(), bytes.size());
      if (count <= 0) break;
      const char* end = bytes.data() + count;
      for (const char* at = bytes.data(); at < end; ++at) {
        at = static_cast<const char*>(std::memchr(at, '\n', static_cast<std::size_t>(end - at)));
        if (!at) break;
        ++lines;
      }
    }
    ::waitpid(pid, nullptr, 0);
  });
  if (lines != lineCount) throw Unmeasured("not every line arrived");
  return static_cast<double>(lines) / seconds;
}

double peakMegabytes() {
  rusage usage{};
  ::getrusage(RUSAGE_SELF, &usage);
  return static_cast<double>(usage.ru_maxrss) / 1024;
}

std::vector<std::string> recordedLines(const std::string& names) {
  std::vector<std::string> lines;
  for (const auto& entry : std::filesystem::directory_iterator(VALE_TESTS_DIR "/fixtures/streams")) {
    if (!entry.path().filename().string().starts_with(names)) continue;
    std::ifstream file(entry.path());
    for (std::string line; std::getline(file, line);) lines.push_back(line);
  }
  if (lines.empty()) throw Unmeasured("there are no recorded streams");
  return lines;
}

void addParserRow(Table& table, AgentProvider provider) {
  const auto lines = std::make_shared<std::vector<std::string>>();
  const auto repeated = [lines, provider](auto once) {
    if (lines->empty()) *lines = recordedLines(std::string(rawValue(provider)) + "-");
    constexpr int repetitions = 300;
    const double seconds = secondsOf([&] {
      for (int i = 0; i < repetitions; ++i) once(*lines);
    });
    return static_cast<double>(lines->size()) * repetitions / seconds;
  };
  table.add({.name = "stream lines of " + std::string(productName(provider)) + " to events",
             .unit = "lines/s",
             .ours =
                 [=] {
                   return repeated([&](const auto& all) {
                     AgentStreamParser parser(provider, "/home/user/code/proj");
                     for (const auto& line : all) keep(parser.parse(line));
                   });
                 },
             .peerName = "Boost.JSON, bare parse",
             .peer =
                 [=] {
                   return repeated([](const auto& all) {
                     for (const auto& line : all) keep(boost::json::parse(line));
                   });
                 },
             .direction = Goal::atLeast,
             .goal = 0.5});
}

}  // namespace

void addStreamRows(Table& table) {
  struct Shared {
    LineFile file;
    WorkerPool workers;
  };
  const auto shared = std::make_shared<std::unique_ptr<Shared>>();
  const auto with = [shared]() -> Shared& {
    if (!*shared) *shared = std::make_unique<Shared>();
    return **shared;
  };
  table.add({.name = "lines of 100 bytes through ChildProcess",
             .unit = "lines/s",
             .ours = [with] { return throughChildProcess(with().file, with().workers); },
             .peerName = "read + memchr",
             .peer = [with] { return throughBareRead(with().file); },
             .direction = Goal::atLeast,
             .goal = 0.6});
  table.add({.name = "memory that 400 MB of lines add",
             .unit = "MB",
             .ours =
                 [with] {
                   const double before = peakMegabytes();
                   throughChildProcess(with().file, with().workers);
                   return peakMegabytes() - before;
                 },
             .direction = Goal::atMost,
             .goal = 16});
  addParserRow(table, AgentProvider::claude);
  addParserRow(table, AgentProvider::codex);
}

}  // namespace vale::bench
