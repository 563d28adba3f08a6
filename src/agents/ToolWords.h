#pragma once

#include "agents/PreviewText.h"
#include "agents/ToolDescriptions.h"
#include "common/Json.h"

#include <string>
#include <string_view>

/// The phrases that the descriptions of both CLIs' tools share.
namespace vale::ToolWords {

using ToolDescriptions::Description;

/// A string of the input in one line short enough for a summary.
inline std::string phrase(const json::object& input, std::string_view key) {
  return previewLine(stringMember(input, key).value_or(""), 120);
}

inline std::string text(const json::object& input, std::string_view key) {
  return previewText(stringMember(input, key).value_or(""));
}

inline std::string inQuotes(const std::string& words) { return "“" + words + "”"; }

/// "Ask an agent: words", without the colon when there are none.
inline std::string withWords(std::string_view what, const std::string& words) {
  return words.empty() ? std::string(what) : std::string(what) + ": " + words;
}

/// A plan's steps, of which those with `done` are ticked. `key` names a step's text.
Description plan(const json::array* steps, std::string_view key, bool (*done)(const json::object& step));

/// A tool of an MCP server.
Description serverTool(std::string_view server, std::string_view tool, std::string input);

}  // namespace vale::ToolWords
