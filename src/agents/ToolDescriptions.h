#pragma once

#include "agents/ToolCall.h"

#include <boost/json/fwd.hpp>

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace vale {

/// The words for tool calls: what is read, edited, searched or run, for every tool of both CLIs. Input is the
/// agent's, hence data: control characters never reach the words, and lengths are bounded.
namespace ToolDescriptions {

/// What a call is about, before its status is known.
struct Description {
  ToolKind kind = ToolKind::other;
  /// One sentence for a person, without a full stop: "Read src/main.cpp", "Search for “needle” in src".
  std::string summary = {};
  /// The file, address, pattern or command; empty when there is none.
  std::string target = {};
  std::string inputPreview = {};
  std::vector<std::string> files = {};
};

/// A tool of Claude Code by its name and input.
Description claude(std::string_view tool, const boost::json::object& input,
                   const std::filesystem::path& project);

/// An item of Codex's stream that is a call: command_execution, file_change, mcp_tool_call, web_search,
/// todo_list, collab_tool_call, or one not known yet.
Description codex(const boost::json::object& item, const std::filesystem::path& project);

/// A command as either CLI runs one, without a wrapping shell: "Read notes.md" for `cat notes.md`, "Run make
/// -j2".
Description command(std::string_view command, const std::filesystem::path& project);

/// `path` relative to the project when it lies inside it, with "~" for the home folder otherwise; one line,
/// at most 200 characters. Only words are compared: symbolic links are not followed.
std::string displayPath(std::string_view path, const std::filesystem::path& project);

}  // namespace ToolDescriptions

}  // namespace vale
