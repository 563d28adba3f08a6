#include "benchmarks/Browsers.h"
#include "benchmarks/PaintedPage.h"
#include "benchmarks/Rows.h"
#include "benchmarks/Spawn.h"
#include "browser/SessionFile.h"
#include "common/PrivateFiles.h"

#include <fmt/format.h>

#include <algorithm>
#include <memory>
#include <optional>
#include <thread>

namespace vale::bench {
namespace {

namespace files = std::filesystem;

constexpr std::size_t manyTabs = 200;
/// What a start still does once the page is painted.
constexpr std::chrono::seconds settling{5};
constexpr std::chrono::seconds idleTime{60};

/// A browser that has painted a page, and how many milliseconds after its start.
class Started {
 public:
  Started(const files::path& program, const Home& home)
      : browser_(std::in_place, std::vector{program.string(), page_.address()}, home.environment()) {
    awaitPaint();
  }

  /// Vale with a window of tabs from an earlier session, the selected one with the page.
  Started(const Home& home, std::size_t tabs) {
    SavedWindow window{.id = Uuid::random()};
    for (std::size_t i = 0; i < tabs; ++i) {
      window.tabs.push_back({.id = Uuid::random(),
                             .url = i == tabs / 2 ? page_.address() : fmt::format("http://127.0.0.1:9/{}", i),
                             .title = fmt::format("Tab number {}", i)});
    }
    window.selected = window.tabs[tabs / 2].id;
    const Session session{.windows = std::vector{window}};
    PrivateFiles::write(SessionFile::encode(session), home.support() / "session.json");
    start_ = std::chrono::steady_clock::now();
    browser_.emplace(std::vector{builtProgram("vale").string()}, home.environment());
    awaitPaint();
    const auto tree = processTree(pid());
    const auto drawing = std::ranges::count(tree, "WebKitWebProces", &Process::name);
    if (drawing != 1) throw Unmeasured(fmt::format("{} web processes were started for one page", drawing));
  }

  pid_t pid() const { return browser_->pid(); }
  double milliseconds() const { return milliseconds_; }

 private:
  void awaitPaint() {
    page_.awaitPaint(std::chrono::seconds(30));
    milliseconds_ =
        std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start_).count();
  }

  PaintedPage page_;
  std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
  std::optional<Spawned> browser_;
  double milliseconds_ = 0;
};

Started onePage(const files::path& program, const Home& home) {
  std::error_code ignored;
  files::remove(home.support() / "session.json", ignored);
  return {program, home};
}

double memoryAtRest(const Started& browser) {
  std::this_thread::sleep_for(settling);
  return memoryOf(browser.pid());
}

/// A second, of the browser's own process. One that rests has no process but the engine's.
double wakeUps(const Started& browser) {
  std::this_thread::sleep_for(2 * settling);
  auto before = wakeUpsOf(browser.pid());
  std::this_thread::sleep_for(idleTime);
  // A thread that ended meanwhile was not idle long.
  std::uint64_t woken = 0;
  for (const auto& [thread, count] : wakeUpsOf(browser.pid())) woken += count - before[thread];
  for (const auto& [pid, name] : processTree(browser.pid())) {
    const bool engine = name.starts_with("WebKit") || name == "bwrap" || name == "xdg-dbus-proxy";
    if (pid != browser.pid() && !engine) throw Unmeasured("an idle browser has the child process " + name);
  }
  return static_cast<double>(woken) / std::chrono::duration<double>(idleTime).count();
}

}  // namespace

void addWindowRows(Table& table) {
  const auto vale = [](auto measure) {
    return
        [measure, home = std::make_shared<Home>()] { return measure(onePage(builtProgram("vale"), *home)); };
  };
  const auto engine = [](auto measure) {
    return [measure, home = std::make_shared<Home>()] { return measure(onePage(engineBrowser(), *home)); };
  };
  const auto restored = [](auto measure) {
    return [measure, home = std::make_shared<Home>()] { return measure(Started(*home, manyTabs)); };
  };
  const auto start = [](const Started& browser) { return browser.milliseconds(); };
  table.add({.name = "vale to first painted page",
             .unit = "ms",
             .ours = vale(start),
             .peerName = "MiniBrowser",
             .peer = engine(start),
             .goal = 1.2});
  table.add({.name = "the same with 200 restored tabs",
             .unit = "ms",
             .ours = restored(start),
             .peerName = "vale, one page",
             .peer = vale(start),
             .goal = 1.1});
  table.add({.name = "memory with one page, all processes",
             .unit = "MiB",
             .ours = vale(memoryAtRest),
             .peerName = "MiniBrowser",
             .peer = engine(memoryAtRest),
             .goal = 1.2,
             .mostRounds = 3});
  table.add({.name = "the memory with 200 restored tabs",
             .unit = "MiB",
             .ours = restored(memoryAtRest),
             .peerName = "vale, one page",
             .peer = vale(memoryAtRest),
             .goal = 1.1,
             .mostRounds = 3});
  table.add({.name = "idle for 60 s: wake-ups of the browser",
             .unit = "/s",
             .ours = vale(wakeUps),
             .peerName = "MiniBrowser",
             .peer = engine(wakeUps),
             .goal = 2,
             .goalIsAbsolute = true,
             .mostRounds = 1});
}

}  // namespace vale::bench
