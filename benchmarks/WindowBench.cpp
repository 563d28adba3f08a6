#include "benchmarks/PaintedPage.h"
#include "benchmarks/Rows.h"
#include "benchmarks/Spawn.h"

#include "browser/SessionFile.h"
#include "common/PrivateFiles.h"

#include <cstdlib>
#include <fmt/format.h>
#include <fstream>
#include <memory>

namespace vale::bench {
namespace {

namespace files = std::filesystem;

/// A home for a browser that no user of this machine knows; its caches are filled by the first start.
class Home {
 public:
  Home() {
    std::string pattern = (files::temp_directory_path() / "vale-bench-XXXXXX").string();
    if (!mkdtemp(pattern.data())) throw Unmeasured("no temporary folder can be made");
    folder_ = pattern;
  }
  ~Home() {
    std::error_code ignored;
    files::remove_all(folder_, ignored);
  }
  Home(const Home&) = delete;
  Home& operator=(const Home&) = delete;

  files::path support() const { return folder_ / "support"; }

  /// Without a session bus, over which the page would go to a browser that runs already.
  std::vector<std::string> environment() const {
    const std::string home = folder_.string();
    return {"HOME=" + home,
            "XDG_DATA_HOME=" + home + "/data",
            "XDG_CONFIG_HOME=" + home + "/config",
            "XDG_CACHE_HOME=" + home + "/cache",
            "VALE_SUPPORT=" + support().string(),
            "DBUS_SESSION_BUS_ADDRESS=disabled:"};
  }

 private:
  files::path folder_;
};

/// Milliseconds from the start of a browser until it has painted a page.
double firstPaint(const files::path& browser, const Home& home) {
  std::error_code ignored;
  files::remove(home.support() / "session.json", ignored);
  PaintedPage page;
  const auto start = std::chrono::steady_clock::now();
  const Spawned window({browser.string(), page.address()}, home.environment());
  page.awaitPaint(std::chrono::seconds(30));
  return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
}

/// How many processes that draw pages belong to a browser.
int webProcesses(int browser) {
  int found = 0;
  for (const auto& entry : files::directory_iterator("/proc")) {
    std::ifstream status(entry.path() / "stat");
    int pid = 0, parent = 0;
    std::string name, state;
    if (!(status >> pid >> name >> state >> parent) || !name.starts_with("(WebKitWebProces")) continue;
    // In a sandbox a process or two stand between.
    for (int hops = 0; parent > 1 && parent != browser && hops < 4; ++hops) {
      std::ifstream above(fmt::format("/proc/{}/stat", parent));
      if (!(above >> pid >> name >> state >> parent)) break;
    }
    found += parent == browser;
  }
  return found;
}

/// The same for a browser that restores a window of many tabs, the selected one with the page.
double firstPaintOfRestored(const Home& home, std::size_t count) {
  PaintedPage page;
  SavedWindow window{.id = Uuid::random()};
  for (std::size_t i = 0; i < count; ++i) {
    window.tabs.push_back({.id = Uuid::random(),
                           .url = i == count / 2 ? page.address() : fmt::format("http://127.0.0.1:9/{}", i),
                           .title = fmt::format("Tab number {}", i)});
  }
  window.selected = window.tabs[count / 2].id;
  const Session session{.windows = std::vector{window}};
  PrivateFiles::write(SessionFile::encode(session), home.support() / "session.json");
  const auto start = std::chrono::steady_clock::now();
  const Spawned browser({builtProgram("vale").string()}, home.environment());
  page.awaitPaint(std::chrono::seconds(30));
  const double taken =
      std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
  if (const int processes = webProcesses(browser.pid()); processes != 1) {
    throw Unmeasured(fmt::format("{} web processes were started for one page", processes));
  }
  return taken;
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

}  // namespace

void addWindowRows(Table& table) {
  table.add({.name = "vale to first painted page",
             .unit = "ms",
             .ours = [home = std::make_shared<Home>()] { return firstPaint(builtProgram("vale"), *home); },
             .peerName = "MiniBrowser",
             .peer = [home = std::make_shared<Home>()] { return firstPaint(engineBrowser(), *home); },
             .direction = Goal::atMost,
             .goal = 1.2});
  table.add({.name = "the same with 200 restored tabs",
             .unit = "ms",
             .ours = [home = std::make_shared<Home>()] { return firstPaintOfRestored(*home, 200); },
             .peerName = "vale, one page",
             .peer = [home = std::make_shared<Home>()] { return firstPaint(builtProgram("vale"), *home); },
             .direction = Goal::atMost,
             .goal = 1.1});
}

}  // namespace vale::bench
