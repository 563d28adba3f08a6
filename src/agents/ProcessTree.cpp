#include "agents/ProcessTree.h"

#include <algorithm>
#include <charconv>
#include <dirent.h>
#include <fcntl.h>
#include <optional>
#include <poll.h>
#include <set>
#include <signal.h>
#include <string>
#include <string_view>

// glibc 2.36 declares these without C linkage.
extern "C" {
#include <sys/pidfd.h>
}

namespace vale {
namespace {

struct Entry {
  pid_t pid = 0;
  pid_t parent = 0;
  pid_t group = 0;
  std::uint64_t startTime = 0;
  bool ended = false;
};

std::optional<Entry> readEntry(pid_t pid) {
  const std::string path = "/proc/" + std::to_string(pid) + "/stat";
  const FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
  if (!file) return std::nullopt;
  const auto content = readAll(file.get());
  if (!content) return std::nullopt;
  // The second field is the command's name in parentheses and may hold anything, parentheses included.
  const auto close = content->rfind(')');
  if (close == std::string::npos) return std::nullopt;
  std::vector<std::string_view> fields;
  std::string_view rest = std::string_view(*content).substr(close + 1);
  while (!rest.empty() && fields.size() < 20) {
    const auto begin = rest.find_first_not_of(' ');
    if (begin == std::string_view::npos) break;
    const auto end = std::min(rest.find(' ', begin), rest.size());
    fields.push_back(rest.substr(begin, end - begin));
    rest.remove_prefix(end);
  }
  if (fields.size() < 20) return std::nullopt;
  const auto number = [](std::string_view text) {
    std::uint64_t value = 0;
    std::from_chars(text.data(), text.data() + text.size(), value);
    return value;
  };
  return Entry{.pid = pid,
               .parent = static_cast<pid_t>(number(fields[1])),
               .group = static_cast<pid_t>(number(fields[2])),
               .startTime = number(fields[19]),
               .ended = fields[0] == "Z" || fields[0] == "X"};
}

std::vector<Entry> allProcesses() {
  std::vector<Entry> entries;
  DIR* directory = ::opendir("/proc");
  if (!directory) return entries;
  while (const dirent* item = ::readdir(directory)) {
    const std::string_view name = item->d_name;
    pid_t pid = 0;
    const auto [end, error] = std::from_chars(name.data(), name.data() + name.size(), pid);
    if (error != std::errc{} || end != name.data() + name.size()) continue;
    if (auto entry = readEntry(pid)) entries.push_back(*entry);
  }
  ::closedir(directory);
  return entries;
}

/// Adds to `known` the pids of all descendants of its members.
void closeOverChildren(const std::vector<Entry>& entries, std::set<pid_t>& known) {
  for (bool grown = true; grown;) {
    grown = false;
    for (const auto& entry : entries) {
      if (known.contains(entry.parent) && known.insert(entry.pid).second) grown = true;
    }
  }
}

}  // namespace

ProcessHandle::ProcessHandle(pid_t pid, std::uint64_t startTime, pid_t group)
    : pid_(pid), startTime_(startTime), group_(group), descriptor_(::pidfd_open(pid, 0)) {
  // The number may have passed to another process before it was opened; what is opened now stays what it is.
  const auto now = readEntry(pid);
  found_ = now && now->startTime == startTime && !now->ended;
  if (!found_) descriptor_.reset();
}

bool ProcessHandle::isAlive() const {
  if (!found_) return false;
  if (descriptor_) {
    pollfd ended{.fd = descriptor_.get(), .events = POLLIN, .revents = 0};
    return ::poll(&ended, 1, 0) == 0;
  }
  const auto now = readEntry(pid_);
  return now && now->startTime == startTime_ && !now->ended;
}

void ProcessHandle::signal(int number) const {
  if (!isAlive()) return;
  if (descriptor_) {
    ::pidfd_send_signal(descriptor_.get(), number, nullptr, 0);
  } else {
    ::kill(pid_, number);
  }
}

namespace ProcessTree {

std::vector<ProcessHandle> startedBy(pid_t root) {
  std::vector<ProcessHandle> found;
  std::set<std::pair<pid_t, std::uint64_t>> held;
  // What is started while /proc is read shows in the next reading; bounded, against one that forks without
  // end.
  for (int reading = 0; reading < 5; ++reading) {
    const auto entries = allProcesses();
    std::set<pid_t> tree{root};
    for (const auto& entry : entries) {
      if (entry.group == root) tree.insert(entry.pid);
    }
    closeOverChildren(entries, tree);
    bool grown = false;
    for (const auto& entry : entries) {
      if (entry.pid == root || entry.ended || !tree.contains(entry.pid)) continue;
      if (!held.emplace(entry.pid, entry.startTime).second) continue;
      found.emplace_back(entry.pid, entry.startTime, entry.group);
      grown = true;
    }
    if (!grown) break;
  }
  return found;
}

void addDescendants(std::vector<ProcessHandle>& processes) {
  const auto entries = allProcesses();
  std::set<pid_t> tree;
  std::set<std::pair<pid_t, std::uint64_t>> held;
  for (const auto& process : processes) {
    if (process.isAlive()) tree.insert(process.pid());
    held.emplace(process.pid(), process.startTime());
  }
  closeOverChildren(entries, tree);
  for (const auto& entry : entries) {
    if (entry.ended || !tree.contains(entry.pid)) continue;
    if (held.emplace(entry.pid, entry.startTime).second) {
      processes.emplace_back(entry.pid, entry.startTime, entry.group);
    }
  }
}

bool awaitEnd(const std::vector<ProcessHandle>& processes, std::chrono::steady_clock::time_point deadline,
              int interrupt) {
  using std::chrono::milliseconds;
  for (;;) {
    std::vector<pollfd> waits{{.fd = interrupt, .events = POLLIN, .revents = 0}};
    bool alive = false;
    bool polled = false;
    for (const auto& process : processes) {
      if (!process.isAlive()) continue;
      alive = true;
      if (process.descriptor() >= 0) {
        waits.push_back({.fd = process.descriptor(), .events = POLLIN, .revents = 0});
      } else {
        polled = true;
      }
    }
    if (!alive) return true;
    auto left = std::chrono::ceil<milliseconds>(deadline - std::chrono::steady_clock::now());
    if (left <= milliseconds(0)) return false;
    if (polled) left = std::min(left, milliseconds(20));
    ::poll(waits.data(), waits.size(), static_cast<int>(left.count()));
    if (waits[0].revents != 0) return false;
  }
}

}  // namespace ProcessTree
}  // namespace vale
