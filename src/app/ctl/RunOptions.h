#pragma once

#include "agents/AgentRuntime.h"
#include "app/ctl/Ctl.h"

#include <optional>
#include <string>
#include <vector>

namespace vale::ctl {

/// What `valectl run` is told.
struct RunOptions {
  std::string provider;
  std::filesystem::path project;
  bool namesProject = false;  ///< it was given
  bool write = false;
  std::string resume;
  std::string thread;  ///< a conversation's UUID, "new", or empty: none
  std::string model;
  std::string effort;
  std::vector<std::filesystem::path> images;
  bool ephemeral = false;
  bool page = false;
  bool anywhere = false;
  std::vector<std::string> arguments;
  bool events = false;
  std::string prompt;
};

std::optional<std::string> unlessEmpty(const std::string& text);

/// The one asked for, else the preferred one, else the first that is ready, else the first that is installed.
/// Throws Error when none is.
AgentProvider chooseProvider(const RunOptions& options, const CommonOptions& common,
                             const AgentRuntime& agents);

/// The run as a turn of the conversation `options.thread`; gives the exit code.
int runInThread(const RunOptions& options, const CommonOptions& common);

}  // namespace vale::ctl
