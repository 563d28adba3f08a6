#pragma once

#include "agents/ChildProcess.h"

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace vale {

/// A command run to its end on the calling thread, for code that blocks on a worker queue anyway and must not
/// wait for another worker. Its output may be any bytes.
namespace ShortCommand {

struct Outcome {
  /// The exit status; 128 + the signal for a child that a signal ended.
  int status = 0;
  std::string output;
  /// The beginning of standard error, trimmed.
  std::string diagnostic;
  bool timedOut = false;  ///< it was killed after `timeout`
  bool tooLong = false;   ///< it was killed when it printed more than the limit

  /// Ended by itself, with status 0.
  bool succeeded() const { return status == 0 && !timedOut && !tooLong; }
};

/// Writes `input` to the command's standard input and collects its standard output. Throws ChildProcessError
/// when it cannot be started.
Outcome run(const ChildProcess::Launch& launch, std::string_view input, std::size_t outputLimit,
            Seconds timeout);

/// The executable of this name in the absolute folders of a PATH.
std::optional<std::filesystem::path> find(std::string_view name, std::string_view path);

}  // namespace ShortCommand

}  // namespace vale
