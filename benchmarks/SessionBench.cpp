#include "benchmarks/Rows.h"
#include "browser/BrowserWindows.h"
#include "common/PrivateFiles.h"
#include "tests/support/HeadlessPage.h"
#include "tests/support/TemporaryFolder.h"

#include <fmt/format.h>

#include <memory>

namespace vale::bench {
namespace {

constexpr int windowCount = 4;
constexpr int tabsPerWindow = 500;
constexpr std::size_t tabsPerGroup = 20;
constexpr double milliseconds = 1000;

/// Four windows of 500 tabs each, half of them in groups, as a session gives them back.
class OpenWindows {
 public:
  OpenWindows() {
    for (int i = 0; i < windowCount; ++i) windows_.open(savedWindow(i), false);
    if (session_->snapshot().windows->size() != windowCount) throw Unmeasured("the windows did not open");
  }
  ~OpenWindows() { workers_.stop(); }

  Session snapshot() const { return session_->snapshot(); }
  std::filesystem::path file() const { return folder_ / "session.json"; }

 private:
  static SavedWindow savedWindow(int number) {
    SavedWindow window{.id = Uuid::random(), .groups = std::vector<ManualTabGroup>()};
    const Date date = std::chrono::system_clock::now();
    for (int i = 0; i < tabsPerWindow; ++i) {
      window.tabs.push_back(
          {.id = Uuid::random(),
           .url = fmt::format("https://www.example.org/articles/{}/{}?from=newsletter&page={}", number, i, i),
           .title =
               fmt::format("Article number {} of {}, with a title of the usual length – Example", i, number),
           .createdAt = date,
           .lastActivatedAt = date,
           .urlChangedAt = date});
    }
    for (int first = 0; first < tabsPerWindow / 2; first += tabsPerGroup) {
      ManualTabGroup group{.id = Uuid::random(), .name = "Group"};
      for (std::size_t i = 0; i < tabsPerGroup && first + i < tabsPerWindow; ++i) {
        group.tabIDs.push_back(window.tabs[first + i].id);
      }
      window.groups->push_back(std::move(group));
    }
    return window;
  }

  test::TemporaryFolder folder_;
  WorkerPool workers_;
  asio::io_context context_;
  MainQueue main_{context_.get_executor()};
  SystemClock clock_{main_, workers_};
  Preferences preferences_{folder_ / "preferences.json", main_, workers_, clock_};
  std::unique_ptr<BrowserSession> session_ =
      BrowserSession::load({.supportFolder = folder_.path(), .downloadsDirectory = folder_.path()},
                           preferences_, {main_, workers_, clock_});
  test::HeadlessEngine engine_;
  BrowserWindows windows_{*session_, engine_, [] { return std::make_shared<test::HeadlessEngine>(); }};
};

}  // namespace

void addSessionRows(Table& table) {
  const auto shared = std::make_shared<std::unique_ptr<OpenWindows>>();
  const auto with = [shared]() -> OpenWindows& {
    if (!*shared) *shared = std::make_unique<OpenWindows>();
    return **shared;
  };
  table.add({.name = "snapshot of 2,000 tabs on the main thread",
             .unit = "ms",
             .ours =
                 [with] {
                   const auto& windows = with();
                   return milliseconds * secondsOf([&] { keep(windows.snapshot()); });
                 },
             .direction = Goal::atMost,
             .goal = 2});
  table.add({.name = "2,000 tabs encoded and written, off it",
             .unit = "ms",
             .ours =
                 [with] {
                   const auto session = with().snapshot();
                   return milliseconds * secondsOf([&] {
                            PrivateFiles::write(SessionFile::encode(session), with().file());
                          });
                 },
             .peerName = "the same bytes, only written",
             .peer =
                 [with] {
                   const auto bytes = SessionFile::encode(with().snapshot());
                   return milliseconds * secondsOf([&] { PrivateFiles::write(bytes, with().file()); });
                 },
             .direction = Goal::atMost,
             .goal = 5});
}

}  // namespace vale::bench
