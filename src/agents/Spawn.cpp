#include "agents/Spawn.h"

#include <fmt/format.h>

#include <array>
#include <cerrno>
#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <unistd.h>

namespace vale {
namespace {

/// The same pipe end above the standard streams: were it one of them, arranging the child's would overwrite
/// it.
FileDescriptor aboveStandardStreams(int descriptor) {
  FileDescriptor owned(descriptor);
  if (descriptor > STDERR_FILENO) return owned;
  FileDescriptor moved(::fcntl(descriptor, F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
  if (!moved) throw ChildProcessError("Could not create a pipe: " + systemErrorText(errno));
  return moved;
}

struct SpawnAttributes {
  SpawnAttributes() {
    ::posix_spawn_file_actions_init(&actions);
    ::posix_spawnattr_init(&attributes);
  }
  ~SpawnAttributes() {
    ::posix_spawn_file_actions_destroy(&actions);
    ::posix_spawnattr_destroy(&attributes);
  }
  SpawnAttributes(const SpawnAttributes&) = delete;
  SpawnAttributes& operator=(const SpawnAttributes&) = delete;

  posix_spawn_file_actions_t actions;
  posix_spawnattr_t attributes;
};

std::vector<char*> pointers(std::vector<std::string>& strings) {
  std::vector<char*> result;
  result.reserve(strings.size() + 1);
  for (auto& string : strings) result.push_back(string.data());
  result.push_back(nullptr);
  return result;
}

}  // namespace

Pipe Pipe::make() {
  std::array<int, 2> ends{};
  if (::pipe2(ends.data(), O_CLOEXEC) != 0) {
    throw ChildProcessError("Could not create a pipe: " + systemErrorText(errno));
  }
  FileDescriptor write(ends[1]);
  Pipe made;
  made.read = aboveStandardStreams(ends[0]);
  made.write = aboveStandardStreams(write.release());
  return made;
}

pid_t spawn(const ChildProcess::Launch& launch, int input, int output, int errors) {
  const std::string name = launch.executable.native();
  std::vector<std::string> arguments{name};
  arguments.insert(arguments.end(), launch.arguments.begin(), launch.arguments.end());
  std::vector<std::string> environment;
  for (const auto& [key, value] : launch.environment) environment.push_back(key + "=" + value);
  for (const auto* list : {&arguments, &environment}) {
    for (const auto& text : *list) {
      if (text.find('\0') == std::string::npos) continue;
      throw ChildProcessError(fmt::format("Could not launch {}: an argument holds a NUL character.", name));
    }
  }

  SpawnAttributes spawning;
  ::posix_spawn_file_actions_adddup2(&spawning.actions, input, STDIN_FILENO);
  ::posix_spawn_file_actions_adddup2(&spawning.actions, output, STDOUT_FILENO);
  ::posix_spawn_file_actions_adddup2(&spawning.actions, errors, STDERR_FILENO);
  ::posix_spawn_file_actions_addclosefrom_np(&spawning.actions, STDERR_FILENO + 1);
  if (launch.directory) ::posix_spawn_file_actions_addchdir_np(&spawning.actions, launch.directory->c_str());
  sigset_t all;
  sigset_t none;
  ::sigfillset(&all);
  ::sigemptyset(&none);
  ::posix_spawnattr_setsigdefault(&spawning.attributes, &all);
  ::posix_spawnattr_setsigmask(&spawning.attributes, &none);
  ::posix_spawnattr_setpgroup(&spawning.attributes, 0);
  ::posix_spawnattr_setflags(&spawning.attributes,
                             POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK);

  pid_t pid = 0;
  const int error = ::posix_spawn(&pid, name.c_str(), &spawning.actions, &spawning.attributes,
                                  pointers(arguments).data(), pointers(environment).data());
  if (error == 0) return pid;
  std::error_code ignored;
  if (launch.directory && !std::filesystem::is_directory(*launch.directory, ignored)) {
    throw ChildProcessError(
        fmt::format("Could not launch {}: the folder {} is not there.", name, launch.directory->native()));
  }
  throw ChildProcessError(fmt::format("Could not launch {}: {}", name, systemErrorText(error)));
}

}  // namespace vale
