#pragma once

#include "app/gtk/BrowserWindow.h"

#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace vale::gtk {

/// What `vale` was told to do.
struct CommandLine {
  std::vector<std::string> addresses;            ///< complete, each for a tab of its own
  bool newWindow = false;                        ///< the addresses go into a new window
  bool isPrivate = false;                        ///< into a private one
  std::optional<std::filesystem::path> support;  ///< instead of the user's own support folder
  WindowSize size;
  bool automation = false;                          ///< a WebDriver may take control
  std::optional<std::filesystem::path> screenshot;  ///< save one picture there and exit
  std::optional<std::filesystem::path> picture;     ///< save a picture there after every load
};

/// Either what to do, or what to print and the exit status: 0 for --help and --version, 2 for mistakes.
struct CommandLineAnswer {
  std::optional<CommandLine> commandLine;
  std::string output;
  int status = 0;
};

/// How typed text is read by the Vale that keeps everything in this folder, or in the user's own.
using InputOf = std::function<AddressInput(const std::optional<std::filesystem::path>& support)>;

/// Reads the arguments. Names of existing files, and texts that the input takes for addresses, become
/// addresses; words become a search.
CommandLineAnswer readCommandLine(int count, const char* const* arguments, const InputOf& inputOf);

}  // namespace vale::gtk
