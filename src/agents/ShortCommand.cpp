#include "agents/ShortCommand.h"

#include "agents/Spawn.h"
#include "common/Text.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <fcntl.h>
#include <poll.h>
#include <ranges>
#include <signal.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace vale::ShortCommand {
namespace {

constexpr std::size_t diagnosticLimit = 4 * 1024;
constexpr std::size_t readStep = 256 * 1024;

/// What of `output` came; false at its end.
bool readMore(int descriptor, std::string& output, std::size_t limit) {
  std::array<char, 64 * 1024> buffer;
  for (std::size_t taken = 0; taken < readStep;) {
    const ssize_t got = ::read(descriptor, buffer.data(), buffer.size());
    if (got < 0) return errno == EAGAIN || errno == EINTR;
    if (got == 0) return false;
    taken += std::size_t(got);
    // One byte beyond the limit shows that there was more.
    output.append(buffer.data(), std::min(std::size_t(got), limit + 1 - std::min(output.size(), limit + 1)));
  }
  return true;
}

void doNotBlock(const FileDescriptor& descriptor) {
  ::fcntl(descriptor.get(), F_SETFL, ::fcntl(descriptor.get(), F_GETFL) | O_NONBLOCK);
}

/// The child, which is killed with its group unless it was waited for.
class Child {
 public:
  explicit Child(pid_t pid) : pid_(pid), handle_(int(::syscall(SYS_pidfd_open, pid, 0))) {}
  ~Child() {
    if (pid_ > 0) end();
  }
  Child(const Child&) = delete;
  Child& operator=(const Child&) = delete;

  int handle() const { return handle_.get(); }
  /// Kills what still runs; gives the status.
  int end() {
    ::kill(-pid_, SIGKILL);
    return wait();
  }
  int wait() {
    int status = 0;
    while (::waitpid(pid_, &status, 0) < 0 && errno == EINTR) {
    }
    pid_ = -1;
    return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
  }

 private:
  pid_t pid_;
  FileDescriptor handle_;
};

}  // namespace

Outcome run(const ChildProcess::Launch& launch, std::string_view input, std::size_t outputLimit,
            Seconds timeout) {
  using Clock = std::chrono::steady_clock;
  const auto deadline = Clock::now() + std::chrono::duration_cast<Clock::duration>(timeout);
  Pipe in = Pipe::make();
  Pipe out = Pipe::make();
  Pipe errors = Pipe::make();
  Child child(spawn(launch, in.read.get(), out.write.get(), errors.write.get()));
  in.read.reset();
  out.write.reset();
  errors.write.reset();
  for (const auto* end : {&in.write, &out.read, &errors.read}) doNotBlock(*end);
  if (input.empty()) in.write.reset();

  Outcome outcome;
  // The output's end, then the child's own: it may close its output before.
  while (true) {
    const bool reading = out.read || errors.read;
    std::array<pollfd, 4> waits{{{in.write.get(), POLLOUT, 0},
                                 {out.read.get(), POLLIN, 0},
                                 {errors.read.get(), POLLIN, 0},
                                 {reading ? -1 : child.handle(), POLLIN, 0}}};
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now()).count();
    outcome.timedOut = left <= 0;
    outcome.tooLong = outcome.output.size() > outputLimit;
    if (outcome.timedOut || outcome.tooLong) break;
    if (!reading && child.handle() < 0) break;
    if (::poll(waits.data(), waits.size(), int(std::min<long long>(left, 1'000))) <= 0) continue;
    if (waits[0].revents) {
      const ssize_t written = ::write(in.write.get(), input.data(), input.size());
      if (written > 0) input.remove_prefix(std::size_t(written));
      // What it does not want to read is its own affair.
      if (input.empty() || (written < 0 && errno != EAGAIN && errno != EINTR)) in.write.reset();
    }
    if (waits[1].revents && !readMore(out.read.get(), outcome.output, outputLimit)) out.read.reset();
    if (waits[2].revents && !readMore(errors.read.get(), outcome.diagnostic, diagnosticLimit)) {
      errors.read.reset();
    }
    if (waits[3].revents) break;
  }
  outcome.status = outcome.timedOut || outcome.tooLong ? child.end() : child.wait();
  outcome.output.resize(std::min(outcome.output.size(), outputLimit));
  outcome.diagnostic = std::string(trimmed(validUtf8(std::move(outcome.diagnostic))));
  return outcome;
}

std::optional<std::filesystem::path> find(std::string_view name, std::string_view path) {
  for (const auto& part : path | std::views::split(':')) {
    const std::filesystem::path folder{std::string_view(part)};
    if (!folder.is_absolute()) continue;
    auto candidate = folder / name;
    std::error_code unreadable;
    if (std::filesystem::is_regular_file(candidate, unreadable) && ::access(candidate.c_str(), X_OK) == 0) {
      return candidate;
    }
  }
  return std::nullopt;
}

}  // namespace vale::ShortCommand
