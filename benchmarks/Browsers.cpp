#include "benchmarks/Browsers.h"

#include "benchmarks/Table.h"

#include <fmt/format.h>

#include <cstdlib>
#include <fstream>

namespace vale::bench {

namespace files = std::filesystem;

namespace {

/// The number behind a word in one of the system's lists: "Pss:   1234 kB".
std::uint64_t numberAfter(const files::path& file, const std::string& word) {
  std::ifstream input(file);
  std::string line;
  while (std::getline(input, line)) {
    if (line.starts_with(word)) return std::strtoull(line.c_str() + word.size(), nullptr, 10);
  }
  return 0;
}

}  // namespace

Home::Home() {
  std::string pattern = (files::temp_directory_path() / "vale-bench-XXXXXX").string();
  if (!mkdtemp(pattern.data())) throw Unmeasured("no temporary folder can be made");
  folder_ = pattern;
}

Home::~Home() {
  std::error_code ignored;
  files::remove_all(folder_, ignored);
}

std::vector<std::string> Home::environment() const {
  const std::string home = folder_.string();
  return {"HOME=" + home,
          "XDG_DATA_HOME=" + home + "/data",
          "XDG_CONFIG_HOME=" + home + "/config",
          "XDG_CACHE_HOME=" + home + "/cache",
          "VALE_SUPPORT=" + support().string(),
          "DBUS_SESSION_BUS_ADDRESS=disabled:"};
}

files::path engineBrowser() {
  for (const char* parent : {"/usr/lib", "/usr/libexec", "/usr/lib64"}) {
    std::error_code ignored;
    for (const auto& entry : files::directory_iterator(parent, ignored)) {
      const files::path candidate = entry.path() / "webkitgtk-6.0/MiniBrowser";
      if (files::exists(candidate, ignored)) return candidate;
    }
    const files::path candidate = files::path(parent) / "webkitgtk-6.0/MiniBrowser";
    if (files::exists(candidate, ignored)) return candidate;
  }
  throw Unmeasured("the engine's MiniBrowser is not installed");
}

std::vector<Process> processTree(pid_t root) {
  std::multimap<pid_t, Process> children;
  std::vector<Process> tree;
  std::error_code ignored;
  for (const auto& entry : files::directory_iterator("/proc", ignored)) {
    std::ifstream status(entry.path() / "status");
    std::string line, name;
    pid_t pid = 0, parent = 0;
    while (std::getline(status, line)) {
      if (line.starts_with("Name:\t")) name = line.substr(6);
      if (line.starts_with("Pid:")) pid = std::atoi(line.c_str() + 4);
      if (line.starts_with("PPid:")) parent = std::atoi(line.c_str() + 5);
    }
    if (pid == root) tree.push_back({pid, name});
    if (pid > 0) children.emplace(parent, Process{pid, name});
  }
  for (std::size_t at = 0; at < tree.size(); ++at) {
    const auto [begin, end] = children.equal_range(tree[at].pid);
    for (auto child = begin; child != end; ++child) tree.push_back(child->second);
  }
  return tree;
}

double memoryOf(pid_t root) {
  std::uint64_t kibibytes = 0;
  for (const auto& process : processTree(root))
    kibibytes += numberAfter(fmt::format("/proc/{}/smaps_rollup", process.pid), "Pss:");
  return static_cast<double>(kibibytes) / 1024;
}

std::map<std::string, std::uint64_t> wakeUpsOf(pid_t process) {
  std::map<std::string, std::uint64_t> counts;
  std::error_code ignored;
  for (const auto& thread : files::directory_iterator(fmt::format("/proc/{}/task", process), ignored))
    counts[thread.path().filename()] = numberAfter(thread.path() / "status", "voluntary_ctxt_switches:");
  return counts;
}

}  // namespace vale::bench
