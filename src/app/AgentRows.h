#pragma once

#include "agents/AgentThread.h"
#include "agents/ProjectChanges.h"

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

/// What a turn looks like in the agent panel: its rows from top to bottom, and in which words. Pure. All
/// texts of the agent's are data; a row's `title` is one line, and what is Markdown says so.
namespace vale {

/// What is unfolded under a row.
struct AgentRowDetail {
  enum class Form { text, diff };

  std::string label;  ///< "Command", "Output", a file's path
  std::string text;
  Form form = Form::text;

  bool operator==(const AgentRowDetail&) const = default;
};

/// What a turn did to its project's files, as far as it has been asked.
struct AgentTurnChanges {
  enum class State { unknown, reading, known, failed };

  State state = State::unknown;
  ProjectChanges changes;
  std::string message;  ///< what came of the last undo or redo, or why there is nothing; sentences

  bool operator==(const AgentTurnChanges&) const = default;
};

struct AgentRow {
  enum class Kind {
    request,   ///< `text`: the user's words; `title`: what went along
    message,   ///< `text`: the agent's Markdown
    thinking,  ///< folded to `title`; `details` hold the thoughts
    call,      ///< folded to `title`; `hint` says what to change where it was refused
    notice,    ///< `text`
    error,     ///< `text`; `hint`: the next step
    facts,     ///< `title`: how long it took, what it used
    changes,   ///< `changes`
  };
  enum class State { none, running, done, failed, denied };
  /// What can be done about it, by a button.
  enum class Remedy {
    none,
    allowWriting,  ///< ask the same once more, with leave to write
    sendAgain,
    sendInFreshSession,
  };

  /// Unique among the turn's rows, and the same for as long as the row is there.
  std::string id;
  Kind kind = Kind::notice;
  State state = State::none;
  std::string title = {};
  std::string text = {};
  std::string hint = {};
  std::vector<AgentRowDetail> details = {};
  Remedy remedy = Remedy::none;
  std::shared_ptr<const AgentTurnChanges> changes = {};

  bool operator==(const AgentRow&) const = default;
};

/// How long the agent thought, by the id of the thought's item.
struct ThinkingTime {
  Date began;
  std::optional<Date> ended;
};

/// What is known of a turn beside its record.
struct AgentTurnView {
  bool live = false;
  Date now = {};
  const std::map<std::string, ThinkingTime>* thinking = nullptr;
  std::shared_ptr<const AgentTurnChanges> changes = {};
  bool sessionIsGone = false;
};

std::vector<AgentRow> agentRows(const AgentTurn& turn, const AgentThread& thread, const AgentTurnView& view);

/// "8 s", "2 min 5 s", "1 h 2 min".
std::string spokenDuration(Seconds duration);

/// "12.3k": a count as a reader takes it in.
std::string spokenCount(std::int64_t count);

}  // namespace vale
