#include "app/gtk/BrowserApplication.h"
#include "app/gtk/CommandLine.h"
#include "browser/SearchEngines.h"
#include "common/Error.h"
#include "common/Preferences.h"
#include "common/SupportFolder.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <system_error>

namespace {

/// What the kernel offers for a graphics processor: the direct rendering manager, NVIDIA's own driver, and
/// the one of Windows' subsystem for Linux.
bool hasGraphicsProcessor() {
  std::error_code error;
  for (const char* device : {"/dev/nvidiactl", "/dev/dxg"}) {
    if (std::filesystem::exists(device, error)) return true;
  }
  return std::filesystem::directory_iterator("/dev/dri", error) != std::filesystem::directory_iterator();
}

}  // namespace

int main(int count, char** arguments) {
  using namespace vale;
  std::signal(SIGPIPE, SIG_IGN);
  std::signal(SIGXFSZ, SIG_IGN);
  try {
    const auto home = homeFolder();
    auto answer = gtk::readCommandLine(count, arguments, [&](const auto& support) {
      // The settings are looked at only where there are words to search for.
      return AddressInput(home, [support](std::string_view words) {
        const auto settings = Preferences::read(support.value_or(supportFolder()) / "preferences.json")
                                  .value_or(json::object());
        return SearchEngineList::read(settings.if_contains(SearchEngines::chosenKey),
                                      settings.if_contains(SearchEngines::addedKey))
            .search(words);
      });
    });
    if (!answer.commandLine) {
      std::fputs(answer.output.c_str(), answer.status == 0 ? stdout : stderr);
      return answer.status;
    }
    // OpenGL would be emulated, at several times the cost of GTK's own drawing. The user's choice counts
    // first.
    if (!hasGraphicsProcessor()) setenv("GSK_RENDERER", "cairo", 0);
    if (!gtk_init_check()) {
      std::fputs("vale: There is no display to open a window on. Start Vale in a desktop session.\n", stderr);
      return 1;
    }
    return gtk::BrowserApplication(*std::move(answer.commandLine), home).run();
  } catch (const std::exception& error) {
    std::fprintf(stderr, "vale: %s\n", error.what());
    return 1;
  }
}
