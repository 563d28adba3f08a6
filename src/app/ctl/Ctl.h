#pragma once

#include "common/Json.h"
#include "common/SupportFolder.h"

#include <CLI/CLI.hpp>

#include <filesystem>
#include <functional>
#include <string>

namespace vale::ctl {

/// What every verb may be told.
struct CommonOptions {
  std::filesystem::path support;
  bool json = false;
};

enum ExitCode { done = 0, failed = 1, usage = 2, cancelled = 130 };

/// A verb adds itself to the command line; `work` is set to what it does when it was named.
using Work = std::function<int()>;
void addAgentsVerb(CLI::App& app, const CommonOptions& options, Work& work);
void addRunVerb(CLI::App& app, const CommonOptions& options, Work& work);
void addAskVerb(CLI::App& app, const CommonOptions& options, Work& work);
void addGroupVerb(CLI::App& app, const CommonOptions& options, Work& work);
void addHistoryVerb(CLI::App& app, const CommonOptions& options, Work& work);
void addLibraryVerb(CLI::App& app, const CommonOptions& options, Work& work);
void addProjectsVerb(CLI::App& app, const CommonOptions& options, Work& work);
void addRouteVerb(CLI::App& app, const CommonOptions& options, Work& work);
void addSessionVerb(CLI::App& app, const CommonOptions& options, Work& work);
void addThreadsVerb(CLI::App& app, const CommonOptions& options, Work& work);

/// A usage error that only the verb can see; ends the program with `usage`.
struct UsageError : Error {
  using Error::Error;
};

/// All of standard input; throws Error when it cannot be read.
std::string readStandardInput();

/// Prints one JSON value as a line on standard output.
void printJson(const json::value& value);

/// Text of an agent as it may be shown: on a terminal, control characters but line feed and tab become
/// U+FFFD, so that output cannot drive the terminal; in a pipe or file the bytes are left as they are.
std::string forTerminal(std::string_view text, int descriptor);

}  // namespace vale::ctl
