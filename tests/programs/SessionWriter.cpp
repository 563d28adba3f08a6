#include "browser/BrowserSession.h"

#include <cstdio>
#include <random>
#include <unistd.h>

/// Changes and writes the session of a folder without end, to be killed. State n is one window of
/// 100 + n % 50 tabs that all have n as their title. Prints its process id, then "read n", "taken n" when n
/// is about to be written, and "written n" when it was; or else what went wrong.
int main(int, char** arguments) {
  using namespace vale;
  WorkerPool workers;
  asio::io_context context;
  const MainQueue main(context.get_executor());
  SystemClock clock(main, workers);
  const std::filesystem::path folder = arguments[1];
  Preferences preferences(folder / "preferences.json", main, workers, clock);
  const auto session = BrowserSession::load({.supportFolder = folder, .downloadsDirectory = folder},
                                            preferences, {main, workers, clock});
  int state = 0;
  if (!session->savedWindows().empty()) state = std::stoi(session->savedWindows()[0].tabs[0].title);
  const auto tell = [&](const std::optional<std::string>& error, const char* what) {
    std::printf("%s %d\n", error ? error->c_str() : what, state);
    std::fflush(stdout);
  };
  std::printf("%d\n", getpid());
  tell(session->readError(), "read");
  session->windows = [&] {
    tell({}, "taken");
    const SavedTab tab{.url = "https://example.org/" + std::string(200, 'x'), .title = std::to_string(state)};
    return std::vector{SavedWindow{.tabs = std::vector(100 + std::size_t(state) % 50, tab)}};
  };
  bool written = false;
  session->reportStorageError = [&](const auto& error) { tell(error, "written"), written = true; };
  std::minstd_rand random(std::random_device{}());
  const auto guard = asio::make_work_guard(context);
  for (;;) {
    for (auto changes = 1 + random() % 5; changes > 0; --changes) ++state, session->scheduleSave();
    written = false;
    if (random() % 8 != 0) session->save();
    while (!written) context.run_one();
  }
}
