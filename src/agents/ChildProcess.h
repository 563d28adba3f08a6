#pragma once

#include "agents/CLIInstallations.h"
#include "common/Date.h"
#include "common/Error.h"
#include "common/Queues.h"

#include <cstddef>
#include <expected>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace vale {

/// Why a child could not be started.
struct ChildProcessError : Error {
  using Error::Error;
};

/// Complete lines of output, in order, without their line feeds: one buffer, so that a batch of thousands
/// costs no allocation a line. Any bytes may stand in a line, NUL and invalid UTF-8 included.
class LineBatch {
 public:
  LineBatch() = default;
  /// `ends` holds, for each line, the offset just behind it; lines are parted by one byte.
  LineBatch(std::string bytes, std::vector<std::size_t> ends)
      : bytes_(std::move(bytes)), ends_(std::move(ends)) {}

  std::size_t size() const { return ends_.size(); }
  bool empty() const { return ends_.empty(); }
  std::string_view operator[](std::size_t index) const {
    const std::size_t begin = index == 0 ? 0 : ends_[index - 1] + 1;
    return std::string_view(bytes_).substr(begin, ends_[index] - begin);
  }

  /// Gives its memory back, for the next batch.
  std::pair<std::string, std::vector<std::size_t>> release() && {
    return {std::move(bytes_), std::move(ends_)};
  }

 private:
  std::string bytes_;
  std::vector<std::size_t> ends_;
};

/// A child process that leads a process group of its own: its standard output arrives as batches of lines,
/// the end of its standard error is kept, and it can be ended together with all that it started. Reading and
/// writing run on two serial queues of the worker pool, waiting on a thread of its own; the callbacks run on
/// the callback queue alone. What the child leaves running in its group when it ends is ended after it. A
/// child outlives neither `terminate` nor the worker pool.
class ChildProcess : public std::enable_shared_from_this<ChildProcess> {
 public:
  struct Launch {
    std::filesystem::path executable;
    std::vector<std::string> arguments{};
    std::optional<std::filesystem::path> directory{};
    EnvironmentVariables environment{};
    /// Names the queues: "Vale.child" gives "Vale.child" and "Vale.child.stdin".
    std::string label = "Vale.child";
  };

  struct Exit {
    /// The exit status; of a child ended by a signal 128 + the signal, as shells have it.
    int status = 0;
    /// The terminating signal, if any.
    std::optional<int> signal{};
    /// The end of standard error, trimmed.
    std::string diagnostic{};
  };

  struct Capture {
    Exit exit;
    /// All standard output, or as much as `captureLimit`.
    std::string output;
    bool timedOut = false;
  };

  /// The batch is good until the callback returns.
  using LinesCallback = std::function<void(const LineBatch&)>;
  using ExitCallback = std::function<void(const Exit&)>;
  /// Receives an errno value on failure, or none.
  using SendCallback = std::function<void(std::optional<int>)>;

  /// Of standard error this many bytes are kept.
  static constexpr std::size_t stderrTailLimit = 16 * 1024;
  /// Reading pauses while this many bytes of complete lines wait for the callback queue.
  static constexpr std::size_t pendingLimit = 4 * 1024 * 1024;
  /// A longer line is dropped whole, with a log line.
  static constexpr std::size_t lineLimit = 256 * 1024 * 1024;
  /// How long after the child's end its output may still be open elsewhere.
  static constexpr Seconds drainLimit{2.0};
  static constexpr std::size_t captureLimit = 4 * 1024 * 1024;

  /// Starts the child with three pipes. `callbackQueue` must run one handler at a time and outlive `workers`.
  /// Throws ChildProcessError.
  static std::shared_ptr<ChildProcess> launch(const Launch& launch, Executor callbackQueue,
                                              WorkerPool& workers);

  ~ChildProcess();

  int pid() const;
  const std::filesystem::path& executable() const;

  /// Installs the callbacks; output that arrived earlier is delivered then. `onExit` is called once, after
  /// the last line.
  void attach(LinesCallback onLines, ExitCallback onExit);

  /// Writes to the child's standard input, in the order of the calls; `completion` runs on the callback
  /// queue.
  enum class AfterSending { keepOpen, close };
  void send(std::string data, AfterSending after, SendCallback completion = {});

  /// Closes the child's standard input once everything sent is written.
  void closeInput();

  /// Asks the child's whole group to end (SIGTERM), with the descendants that left the group, and kills after
  /// `grace` what is still there. Nothing that the child did not start is signalled. Harmless after the end,
  /// and when called again.
  void terminate(Seconds grace);

  /// Runs a short command to its end and collects its standard output; ends it after `timeout`. Its standard
  /// input is closed at once.
  static Task<std::expected<Capture, ChildProcessError>> capture(Launch launch, Seconds timeout,
                                                                 WorkerPool& workers);

 private:
  struct State;
  explicit ChildProcess(std::shared_ptr<State> state);

  std::shared_ptr<State> state_;
};

}  // namespace vale
