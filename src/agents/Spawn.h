#pragma once

#include "agents/ChildProcess.h"
#include "common/FileDescriptor.h"

#include <sys/types.h>

namespace vale {

/// A pipe whose ends close on exec.
struct Pipe {
  FileDescriptor read;
  FileDescriptor write;

  /// Throws ChildProcessError.
  static Pipe make();
};

/// Starts the program as the leader of a new process group, with `input`, `output` and `errors` as its
/// standard streams, every signal at its default and nothing else of ours open. Throws ChildProcessError.
pid_t spawn(const ChildProcess::Launch& launch, int input, int output, int errors);

}  // namespace vale
