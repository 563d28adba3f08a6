#include "benchmarks/Spawn.h"

#include "benchmarks/Table.h"

#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sstream>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

extern char** environ;

namespace vale::bench {
namespace {

std::vector<char*> pointers(const std::vector<std::string>& texts) {
  std::vector<char*> result;
  for (const std::string& text : texts) result.push_back(const_cast<char*>(text.c_str()));
  return result;
}

}  // namespace

Spawned::Spawned(const std::vector<std::string>& command, const std::vector<std::string>& environment) {
  std::vector<char*> arguments = pointers(command);
  arguments.push_back(nullptr);
  // The first of two values of a name is the one that getenv finds.
  std::vector<char*> variables = pointers(environment);
  for (char** variable = environ; *variable; ++variable) variables.push_back(*variable);
  variables.push_back(nullptr);

  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
  posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
  const int failure = posix_spawn(&pid_, arguments[0], &actions, nullptr, arguments.data(), variables.data());
  posix_spawn_file_actions_destroy(&actions);
  if (failure) {
    pid_ = -1;
    throw Unmeasured(command[0] + " cannot be started: " + systemErrorText(failure));
  }
}

Spawned::~Spawned() {
  if (pid_ < 0) return;
  kill(pid_, SIGTERM);
  for (int tenths = 0; tenths < 30; ++tenths) {
    if (waitpid(pid_, nullptr, WNOHANG) != 0) return;
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
  }
  kill(pid_, SIGKILL);
  wait();
}

int Spawned::wait() {
  int status = 0;
  while (waitpid(pid_, &status, 0) < 0 && errno == EINTR) {
  }
  pid_ = -1;
  return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}

std::filesystem::path builtProgram(const std::string& name) {
  return std::filesystem::read_symlink("/proc/self/exe").parent_path() / name;
}

std::filesystem::path programOnPath(const std::string& name) {
  const char* path = std::getenv("PATH");
  std::istringstream folders(path ? path : "");
  for (std::string folder; std::getline(folders, folder, ':');) {
    const std::filesystem::path candidate = std::filesystem::path(folder) / name;
    if (access(candidate.c_str(), X_OK) == 0) return candidate;
  }
  throw Unmeasured(name + " is not installed");
}

}  // namespace vale::bench
