#include "agents/ChildProcess.h"

#include "agents/ProcessTree.h"
#include "agents/Spawn.h"
#include "common/Log.h"
#include "common/Text.h"

#include <boost/asio/posix/stream_descriptor.hpp>
#include <boost/asio/write.hpp>

#include <cerrno>
#include <condition_variable>
#include <cstring>
#include <deque>
#include <fcntl.h>
#include <mutex>
#include <signal.h>
#include <sys/eventfd.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace vale {
namespace {

constexpr std::size_t readSize = 64 * 1024;
/// After so many reads in a row the other work of the queue's thread gets its turn.
constexpr int readsInARow = 16;
/// When the program ends first, children get this long to end by themselves.
constexpr Seconds graceAtShutdown{1.0};

using Steady = std::chrono::steady_clock;

Steady::time_point after(Seconds seconds) {
  return Steady::now() + std::chrono::duration_cast<Steady::duration>(seconds);
}

}  // namespace

/// Everything about one child; shared by the handle, the queues' handlers and the waiting thread. `lock`
/// guards every member that is not constant, but for the descriptors: `output` and `errors` belong to `io`,
/// `input` to `writer`.
struct ChildProcess::State : std::enable_shared_from_this<ChildProcess::State> {
  struct Write {
    std::string data;
    AfterSending after = AfterSending::keepOpen;
    SendCallback completion;
  };
  /// One of the two streams being read.
  struct Source {
    asio::posix::stream_descriptor descriptor;
    /// Once the child has ended: how many bytes are still to be read.
    std::optional<std::size_t> remaining;
  };
  enum class ReadResult { more, later, paused, ended };

  State(const Launch& launch, Executor callbacks, WorkerPool& pool)
      : executable(launch.executable), callbackQueue(std::move(callbacks)), workers(pool),
        io(pool, launch.label),
        writer(pool, launch.label + ".stdin"), output{asio::posix::stream_descriptor(io.executor()), {}},
        errors{asio::posix::stream_descriptor(io.executor()), {}}, input(writer.executor()) {}

  // Reading, on `io`.
  void await(Source& source);
  void readFrom(Source& source);
  ReadResult readOutput();
  ReadResult readErrors();
  void findLines(std::size_t from);
  void close(Source& source);
  void drain();
  // Delivering, on the callback queue.
  void scheduleDelivery();
  void deliver();
  void deliverExit();
  // Writing, on `writer`.
  void writeNext();
  void noteInputEnded();
  void post(SendCallback completion, std::optional<int> error);
  // The threads of its own.
  void waitForEnd();
  void end(Seconds grace, int interrupt);
  void endRemainder();
  void beginTermination(Seconds grace);

  const std::filesystem::path executable;
  pid_t pid = 0;
  const Executor callbackQueue;
  WorkerPool& workers;
  const SerialQueue io;
  const SerialQueue writer;
  Source output;
  Source errors;
  asio::posix::stream_descriptor input;
  std::deque<Write> writes;
  bool writing = false;

  std::mutex lock;
  /// Standard output not yet delivered: complete lines up to `lineEnds`, then the beginning of the next.
  std::string buffer;
  std::vector<std::size_t> lineEnds;
  /// Memory of the last batch, for the next one.
  std::string spareBytes;
  std::vector<std::size_t> spareEnds;
  bool droppingLine = false;
  bool deliveryScheduled = false;
  /// Nothing is read until the callback queue has taken what waits for it.
  bool paused = false;
  std::string stderrTail;
  int openStreams = 2;
  bool inputEnded = false;
  std::condition_variable streamsClosed;
  bool abandoned = false;
  bool ended = false;
  bool reaped = false;
  bool terminating = false;
  std::optional<Exit> finalExit;
  bool exitDelivered = false;
  LinesCallback onLines;
  ExitCallback onExit;

 private:
  std::size_t pendingBytes() const { return lineEnds.empty() ? 0 : lineEnds.back() + 1; }
};

// ----------------------------------------------------------------------------------------------------------
// Reading

void ChildProcess::State::await(Source& source) {
  source.descriptor.async_wait(asio::posix::stream_descriptor::wait_read,
                               [self = shared_from_this(), &source](const boost::system::error_code& error) {
                                 if (!error) self->readFrom(source);
                               });
}

void ChildProcess::State::readFrom(Source& source) {
  if (!source.descriptor.is_open()) return;
  for (int i = 0; i < readsInARow; ++i) {
    const ReadResult result = &source == &output ? readOutput() : readErrors();
    if (result == ReadResult::ended) return close(source);
    if (result == ReadResult::paused) return;
    if (result == ReadResult::later) {
      // A child that has ended leaves nothing to wait for, even if another process still holds the pipe.
      return source.remaining ? close(source) : await(source);
    }
  }
  asio::post(io.executor(), [self = shared_from_this(), &source] { self->readFrom(source); });
}

ChildProcess::State::ReadResult ChildProcess::State::readOutput() {
  std::unique_lock guard(lock);
  if (pendingBytes() >= pendingLimit) {
    paused = true;
    return ReadResult::paused;
  }
  const std::size_t before = buffer.size();
  ssize_t count = 0;
  int error = 0;
  buffer.resize_and_overwrite(before + readSize, [&](char* bytes, std::size_t) {
    do {
      count = ::read(output.descriptor.native_handle(), bytes + before, readSize);
      error = errno;
    } while (count < 0 && error == EINTR);
    return before + static_cast<std::size_t>(std::max<ssize_t>(count, 0));
  });
  if (count < 0) return error == EAGAIN ? ReadResult::later : ReadResult::ended;
  if (count == 0) return ReadResult::ended;
  findLines(before);
  if (output.remaining) {
    *output.remaining -= std::min(*output.remaining, static_cast<std::size_t>(count));
    if (*output.remaining == 0) return ReadResult::ended;
  }
  return ReadResult::more;
}

void ChildProcess::State::findLines(std::size_t from) {
  if (droppingLine) {
    const auto newline = buffer.find('\n', from);
    buffer.erase(pendingBytes(),
                 newline == std::string::npos ? std::string::npos : newline + 1 - pendingBytes());
    if (newline == std::string::npos) return;
    droppingLine = false;
    from = pendingBytes();
  }
  const char* begin = buffer.data();
  const char* end = begin + buffer.size();
  for (const char* at = begin + from; at < end;) {
    const auto* newline = static_cast<const char*>(std::memchr(at, '\n', static_cast<std::size_t>(end - at)));
    if (!newline) break;
    lineEnds.push_back(static_cast<std::size_t>(newline - begin));
    at = newline + 1;
  }
  if (buffer.size() - pendingBytes() > lineLimit) {
    log::warning("{} wrote a line of more than {} bytes, which is dropped", executable.filename().native(),
                 lineLimit);
    buffer.resize(pendingBytes());
    droppingLine = true;
  }
  if (!lineEnds.empty()) scheduleDelivery();
}

ChildProcess::State::ReadResult ChildProcess::State::readErrors() {
  std::array<char, 4096> bytes;
  const ssize_t count = ::read(errors.descriptor.native_handle(), bytes.data(), bytes.size());
  if (count < 0)
    return errno == EINTR ? ReadResult::more : errno == EAGAIN ? ReadResult::later : ReadResult::ended;
  if (count == 0) return ReadResult::ended;
  {
    std::lock_guard guard(lock);
    stderrTail.append(bytes.data(), static_cast<std::size_t>(count));
    if (stderrTail.size() > stderrTailLimit) stderrTail.erase(0, stderrTail.size() - stderrTailLimit);
  }
  if (errors.remaining) {
    *errors.remaining -= std::min(*errors.remaining, static_cast<std::size_t>(count));
    if (*errors.remaining == 0) return ReadResult::ended;
  }
  return ReadResult::more;
}

void ChildProcess::State::close(Source& source) {
  if (!source.descriptor.is_open()) return;
  boost::system::error_code ignored;
  source.descriptor.close(ignored);
  std::lock_guard guard(lock);
  if (&source == &output && !droppingLine && buffer.size() > pendingBytes()) {
    lineEnds.push_back(buffer.size());
    scheduleDelivery();
  }
  --openStreams;
  streamsClosed.notify_all();
}

/// The child has ended but somebody still holds its pipes: what was written by now is read, and no more.
void ChildProcess::State::drain() {
  for (Source* source : {&output, &errors}) {
    if (!source->descriptor.is_open()) continue;
    int available = 0;
    ::ioctl(source->descriptor.native_handle(), FIONREAD, &available);
    source->remaining = static_cast<std::size_t>(std::max(available, 0));
    boost::system::error_code ignored;
    source->descriptor.cancel(ignored);
    readFrom(*source);
  }
}

// -------------------------------------------------------------------------------------------------------
// Delivering

/// With `lock` held.
void ChildProcess::State::scheduleDelivery() {
  if (deliveryScheduled || !onLines) return;
  deliveryScheduled = true;
  asio::post(callbackQueue, [self = shared_from_this()] { self->deliver(); });
}

void ChildProcess::State::deliver() {
  std::string bytes;
  std::vector<std::size_t> ends;
  LinesCallback callback;
  {
    std::lock_guard guard(lock);
    deliveryScheduled = false;
    if (lineEnds.empty() || !onLines) return;
    callback = onLines;
    bytes = std::exchange(buffer, std::move(spareBytes));
    ends = std::exchange(lineEnds, std::move(spareEnds));
    buffer.clear();
    lineEnds.clear();
    const std::size_t next = std::min(ends.back() + 1, bytes.size());
    buffer.append(bytes, next);
    if (std::exchange(paused, false)) {
      io.post([self = shared_from_this()] { self->readFrom(self->output); });
    }
  }
  LineBatch batch(std::move(bytes), std::move(ends));
  callback(batch);
  std::lock_guard guard(lock);
  std::tie(spareBytes, spareEnds) = std::move(batch).release();
  // One huge line must not keep its memory for the rest of the run.
  if (spareBytes.capacity() > 2 * pendingLimit) spareBytes = {};
}

void ChildProcess::State::deliverExit() {
  deliver();
  ExitCallback callback;
  Exit exit;
  {
    std::lock_guard guard(lock);
    if (exitDelivered || !finalExit || !onExit) return;
    exitDelivered = true;
    callback = std::exchange(onExit, nullptr);
    onLines = nullptr;
    exit = *finalExit;
  }
  callback(exit);
}

// ----------------------------------------------------------------------------------------------------------
// Writing

void ChildProcess::State::post(SendCallback completion, std::optional<int> error) {
  if (!completion) return;
  asio::post(callbackQueue, [completion = std::move(completion), error] { completion(error); });
}

void ChildProcess::State::writeNext() {
  if (writing) return;
  while (!writes.empty() && (!input.is_open() || writes.front().data.empty())) {
    Write next = std::move(writes.front());
    writes.pop_front();
    if (!input.is_open()) {
      post(std::move(next.completion), next.data.empty() ? std::nullopt : std::optional(EPIPE));
      continue;
    }
    post(std::move(next.completion), std::nullopt);
    if (next.after == AfterSending::close) {
      boost::system::error_code ignored;
      input.close(ignored);
    }
  }
  if (writes.empty()) return;
  writing = true;
  asio::async_write(input, asio::buffer(writes.front().data),
                    [self = shared_from_this()](const boost::system::error_code& error, std::size_t) {
                      self->writing = false;
                      Write done = std::move(self->writes.front());
                      self->writes.pop_front();
                      // A pipe closed under the write has lost its reader, whoever closed it.
                      const int code = error == asio::error::operation_aborted ? EPIPE : error.value();
                      if (error || done.after == AfterSending::close) {
                        boost::system::error_code ignored;
                        self->input.close(ignored);
                      }
                      self->post(std::move(done.completion), error ? std::optional(code) : std::nullopt);
                      self->writeNext();
                      self->noteInputEnded();
                    });
}

/// Once the input is closed and every completion is on its way.
void ChildProcess::State::noteInputEnded() {
  if (input.is_open() || writing) return;
  std::lock_guard guard(lock);
  inputEnded = true;
  streamsClosed.notify_all();
}

// ---------------------------------------------------------------------------------------------- Waiting and
// ending

void ChildProcess::State::waitForEnd() {
  siginfo_t info{};
  while (::waitid(P_PID, static_cast<id_t>(pid), &info, WEXITED | WNOWAIT) != 0 && errno == EINTR) {
  }
  {
    std::unique_lock guard(lock);
    ended = true;
    streamsClosed.notify_all();
    const auto closed = [this] { return openStreams == 0; };
    streamsClosed.wait_until(guard, after(drainLimit), [&] { return closed() || abandoned; });
    if (!closed()) {
      io.post([self = shared_from_this()] { self->drain(); });
      streamsClosed.wait(guard, [&] { return closed() || abandoned; });
    }
    if (!closed()) {
      io.post([self = shared_from_this()] {
        self->close(self->output);
        self->close(self->errors);
      });
      streamsClosed.wait(guard, closed);
    }
  }
  {
    std::lock_guard guard(lock);
    Exit exit;
    exit.status = info.si_status;
    if (info.si_code != CLD_EXITED) {
      exit.signal = info.si_status;
      exit.status = 128 + info.si_status;
    }
    exit.diagnostic = trimmed(validUtf8(stderrTail));
    finalExit = std::move(exit);
  }
  writer.post([self = shared_from_this()] {
    boost::system::error_code ignored;
    self->input.close(ignored);
    self->writeNext();
    self->noteInputEnded();
  });
  {
    std::unique_lock guard(lock);
    streamsClosed.wait(guard, [this] { return inputEnded; });
  }
  asio::post(callbackQueue, [self = shared_from_this()] { self->deliverExit(); });

  endRemainder();
  // Until here the ended child kept its number, so that signals to it and to its group could reach nobody
  // else.
  std::lock_guard guard(lock);
  while (::waitpid(pid, nullptr, 0) < 0 && errno == EINTR) {
  }
  reaped = true;
}

/// Ends what the child has left running in its group.
void ChildProcess::State::endRemainder() {
  const auto left = ProcessTree::startedBy(pid);
  for (const auto& process : left) process.signal(SIGTERM);
  if (ProcessTree::awaitEnd(left, after(graceAtShutdown), -1)) return;
  for (const auto& process : left) process.signal(SIGKILL);
}

void ChildProcess::State::beginTermination(Seconds grace) {
  {
    std::lock_guard guard(lock);
    if (reaped || terminating) return;
    terminating = true;
  }
  auto interrupt = std::make_shared<FileDescriptor>(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
  const auto ending = [self = shared_from_this(), grace, interrupt] { self->end(grace, interrupt->get()); };
  try {
    workers.runThread("Vale ending " + std::to_string(pid), ending,
                      [interrupt] { ::eventfd_write(interrupt->get(), 1); });
  } catch (const std::system_error&) {
    workers.post(ending);
  }
}

void ChildProcess::State::end(Seconds grace, int interrupt) {
  std::vector<ProcessHandle> started;
  const auto signalGroup = [this](int number) {
    std::lock_guard guard(lock);
    if (reaped) return;
    if (::kill(-pid, number) != 0) ::kill(pid, number);
  };
  {
    // The child cannot be reaped while its descendants are looked up by its number.
    std::lock_guard guard(lock);
    if (reaped) return;
    started = ProcessTree::startedBy(pid);
  }
  signalGroup(SIGTERM);
  for (const auto& process : started) {
    if (process.group() != pid) process.signal(SIGTERM);
  }
  const auto deadline = after(grace);
  const auto allEnded = [&](Steady::time_point until, int wake, bool untilAbandoned) {
    if (!ProcessTree::awaitEnd(started, until, wake)) return false;
    std::unique_lock guard(lock);
    streamsClosed.wait_until(guard, until, [&] { return ended || (untilAbandoned && abandoned); });
    return ended;
  };
  if (allEnded(deadline, interrupt, true)) return;
  if (allEnded(std::min(deadline, after(graceAtShutdown)), -1, false)) return;
  ProcessTree::addDescendants(started);
  signalGroup(SIGKILL);
  for (const auto& process : started) process.signal(SIGKILL);
}

// ------------------------------------------------------------------------------------------------------- The
// handle

std::shared_ptr<ChildProcess> ChildProcess::launch(const Launch& launch, Executor callbackQueue,
                                                   WorkerPool& workers) {
  static std::once_flag ignoringBrokenPipes;
  std::call_once(ignoringBrokenPipes, [] { ::signal(SIGPIPE, SIG_IGN); });

  Pipe input = Pipe::make();
  Pipe output = Pipe::make();
  Pipe errors = Pipe::make();
  auto state = std::make_shared<State>(launch, std::move(callbackQueue), workers);
  for (const int ours : {input.write.get(), output.read.get(), errors.read.get()}) {
    ::fcntl(ours, F_SETFL, ::fcntl(ours, F_GETFL) | O_NONBLOCK);
  }
  try {
    state->input.assign(input.write.get());
    input.write.release();
    state->output.descriptor.assign(output.read.get());
    output.read.release();
    state->errors.descriptor.assign(errors.read.get());
    errors.read.release();
  } catch (const boost::system::system_error& error) {
    throw ChildProcessError("Could not create a pipe: " + error.code().message());
  }

  state->pid = spawn(launch, input.read.get(), output.write.get(), errors.write.get());
  try {
    workers.runThread(
        "Vale child " + std::to_string(state->pid), [state] { state->waitForEnd(); },
        [weak = std::weak_ptr(state)] {
          const auto state = weak.lock();
          if (!state) return;
          state->beginTermination(graceAtShutdown);
          std::lock_guard guard(state->lock);
          state->abandoned = true;
          state->streamsClosed.notify_all();
        });
  } catch (const std::system_error& error) {
    ::kill(-state->pid, SIGKILL);
    ::waitpid(state->pid, nullptr, 0);
    throw ChildProcessError("Could not launch " + launch.executable.native() + ": " + error.code().message());
  }
  state->io.post([state] {
    state->await(state->output);
    state->await(state->errors);
  });
  return std::shared_ptr<ChildProcess>(new ChildProcess(std::move(state)));
}

ChildProcess::ChildProcess(std::shared_ptr<State> state) : state_(std::move(state)) {}

ChildProcess::~ChildProcess() {
  bool running = false;
  {
    std::lock_guard guard(state_->lock);
    running = !state_->finalExit;
  }
  if (running) terminate(Seconds(5));
}

int ChildProcess::pid() const { return state_->pid; }

const std::filesystem::path& ChildProcess::executable() const { return state_->executable; }

void ChildProcess::attach(LinesCallback onLines, ExitCallback onExit) {
  std::lock_guard guard(state_->lock);
  state_->onLines = std::move(onLines);
  state_->onExit = std::move(onExit);
  if (!state_->lineEnds.empty()) state_->scheduleDelivery();
  if (state_->finalExit && !state_->exitDelivered) {
    asio::post(state_->callbackQueue, [state = state_] { state->deliverExit(); });
  }
}

void ChildProcess::send(std::string data, AfterSending after, SendCallback completion) {
  state_->writer.post(
      [state = state_, write = State::Write{std::move(data), after, std::move(completion)}]() mutable {
        state->writes.push_back(std::move(write));
        state->writeNext();
      });
}

void ChildProcess::closeInput() { send({}, AfterSending::close); }

void ChildProcess::terminate(Seconds grace) { state_->beginTermination(grace); }

}  // namespace vale
