#pragma once

#include "agents/AgentProvider.h"
#include "agents/AgentRunStatus.h"
#include "agents/AgentUsage.h"
#include "agents/TranscriptItem.h"
#include "agents/TurnRouting.h"
#include "common/Json.h"

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

/// The records of a thread's file, written as they stand here: members are keys, absent optionals are left
/// out, dates are seconds since 2001.
namespace vale {

enum class AgentThreadKind {
  project,  ///< work in a project folder
  page,     ///< a conversation about a page of the browser
};
template <>
inline constexpr auto rawValues<AgentThreadKind> = std::to_array<RawValue<AgentThreadKind>>(
    {{AgentThreadKind::project, "project"}, {AgentThreadKind::page, "page"}});

enum class AgentTurnOrigin {
  vale,  ///< asked in the browser
  log,   ///< read back from a CLI's own session log
};
template <>
inline constexpr auto rawValues<AgentTurnOrigin> = std::to_array<RawValue<AgentTurnOrigin>>(
    {{AgentTurnOrigin::vale, "vale"}, {AgentTurnOrigin::log, "log"}});

/// A page that a conversation is about.
struct PageReference {
  std::string url;
  std::string title;

  bool operator==(const PageReference&) const = default;
};
BOOST_DESCRIBE_STRUCT(PageReference, (), (url, title))

/// One request and what the agent did with it.
struct AgentTurn {
  using Origin = AgentTurnOrigin;
  using Status = AgentRunStatus;

  Uuid id;
  std::string prompt;                          ///< what the user asked
  std::optional<std::string> attachment = {};  ///< a text that was attached
  std::optional<std::string> context = {};     ///< what was sent with the prompt
  std::optional<std::string> note = {};        ///< shown with the turn
  std::optional<TurnRouting> routing = {};
  AgentAccess access = AgentAccess::readOnly;
  Origin origin = Origin::vale;
  Date startedAt;
  std::optional<Date> finishedAt = {};
  Status status = Status::running;
  std::vector<TranscriptItem> items = {};  ///< the transcript, in order
  std::optional<AgentUsage> usage = {};
  std::optional<std::string> model = {};                ///< the one that answered
  std::optional<Date> answeredAt = {};                  ///< when the final answer arrived
  std::optional<std::vector<std::string>> images = {};  ///< paths of attached image files
  std::optional<json::value> reading = {};              ///< an attached passage of a page, kept as it is

  bool operator==(const AgentTurn&) const = default;
};
BOOST_DESCRIBE_STRUCT(AgentTurn, (),
                      (id, prompt, attachment, context, note, routing, access, origin, startedAt, finishedAt,
                       status, items, usage, model, answeredAt, images, reading))

/// One conversation with an agent.
struct AgentThread {
  using Kind = AgentThreadKind;

  static constexpr std::int64_t currentVersion = 1;

  std::int64_t version = currentVersion;
  Uuid id;
  Kind kind = Kind::project;
  std::filesystem::path projectPath;  ///< absolute; empty where there is no project
  AgentProvider provider = AgentProvider::codex;
  std::optional<std::string> cliSessionID = {};  ///< the CLI's own id, by which it resumes the conversation
  std::string title;
  Date createdAt;
  Date updatedAt;
  std::vector<AgentTurn> turns = {};  ///< the oldest first
  std::optional<PageReference> page = {};
  /// The search of the history, and the comparison of tabs, that it began with; kept as they are.
  std::optional<json::value> history = {};
  std::optional<json::value> comparison = {};

  bool operator==(const AgentThread&) const = default;
};
BOOST_DESCRIBE_STRUCT(AgentThread, (),
                      (version, id, kind, projectPath, provider, cliSessionID, title, createdAt, updatedAt,
                       turns, page, history, comparison))

}  // namespace vale
