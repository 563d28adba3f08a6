#pragma once

#include "common/Date.h"
#include "common/RawValues.h"

#include <boost/describe.hpp>

#include <optional>
#include <string>
#include <vector>

namespace vale {

enum class ToolKind { read, edit, search, command, web, agent, plan, answer, other };
template <>
inline constexpr auto rawValues<ToolKind> = std::to_array<RawValue<ToolKind>>({{ToolKind::read, "read"},
                                                                               {ToolKind::edit, "edit"},
                                                                               {ToolKind::search, "search"},
                                                                               {ToolKind::command, "command"},
                                                                               {ToolKind::web, "web"},
                                                                               {ToolKind::agent, "agent"},
                                                                               {ToolKind::plan, "plan"},
                                                                               {ToolKind::answer, "answer"},
                                                                               {ToolKind::other, "other"}});

enum class ToolStatus { running, completed, failed, denied };
template <>
inline constexpr auto
    rawValues<ToolStatus> = std::to_array<RawValue<ToolStatus>>({{ToolStatus::running, "running"},
                                                                 {ToolStatus::completed, "completed"},
                                                                 {ToolStatus::failed, "failed"},
                                                                 {ToolStatus::denied, "denied"}});

/// One file as a tool call changed it.
struct FilePatch {
  /// Relative to the project where the file lies inside it.
  std::string path;
  /// "add", "update" or "delete".
  std::string kind;
  /// The change as lines that begin with " ", "-" or "+" under "@@" headings, where the CLI tells it.
  std::optional<std::string> diff;

  bool operator==(const FilePatch&) const = default;
};
BOOST_DESCRIBE_STRUCT(FilePatch, (), (path, kind, diff))

/// A tool call as the transcript shows it: sent once when it starts and again, with the same id, when it
/// ends.
struct ToolCall {
  /// The CLI's own id of the call, unique within the run.
  std::string id;
  ToolKind kind = ToolKind::other;
  /// The tool's own name ("Read", "command_execution").
  std::string name;
  /// One sentence for a person ("Read README.md").
  std::string summary;
  /// The full command, pattern, text or JSON of the input, cut to a length fit for showing.
  std::string inputPreview;
  ToolStatus status = ToolStatus::running;
  std::optional<std::string> resultPreview;
  std::optional<std::int64_t> exitCode;
  /// The files the call is about, relative to the project where they lie inside it.
  std::vector<std::string> files;
  std::vector<FilePatch> patches;
  std::optional<Date> startedAt;

  bool operator==(const ToolCall&) const = default;
};
BOOST_DESCRIBE_STRUCT(ToolCall, (),
                      (id, kind, name, summary, inputPreview, status, resultPreview, exitCode, files, patches,
                       startedAt))

}  // namespace vale
