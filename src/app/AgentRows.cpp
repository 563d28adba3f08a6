#include "app/AgentRows.h"

#include "common/Text.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <cmath>
#include <string_view>
#include <utility>

namespace vale {

namespace {

using Kind = AgentRow::Kind;
using State = AgentRow::State;
using Remedy = AgentRow::Remedy;

std::string kindPrefix(const TranscriptItem& item) {
  return std::string(rawValue(item.kind)) + "/" + item.id;
}

AgentRow requestRow(const AgentTurn& turn) {
  std::vector<std::string> facts;
  facts.emplace_back(turn.access == AgentAccess::projectWrite ? "May write" : "Read only");
  if (turn.attachment) facts.push_back("With " + singleLine(*turn.attachment));
  if (turn.images && !turn.images->empty())
    facts.push_back(turn.images->size() == 1 ? "With an image"
                                             : fmt::format("With {} images", turn.images->size()));
  AgentRow row{.id = "request", .kind = Kind::request, .title = fmt::format("{}", fmt::join(facts, " · "))};
  row.text = turn.prompt;
  row.hint = turn.note.value_or("");
  return row;
}

AgentRow thinkingRow(const TranscriptItem& item, const AgentTurnView& view) {
  AgentRow row{.id = kindPrefix(item), .kind = Kind::thinking};
  const bool thinks = view.live && !item.finished;
  row.state = thinks ? State::running : State::done;
  std::optional<Seconds> time;
  if (view.thinking) {
    if (const auto known = view.thinking->find(item.id); known != view.thinking->end()) {
      const auto end = known->second.ended.value_or(view.now);
      time = Seconds(static_cast<double>((end - known->second.began).count()));
    }
  }
  if (thinks) {
    row.title = time && *time >= Seconds(1) ? "Thinking… " + spokenDuration(*time) : "Thinking…";
  } else {
    row.title = time && *time >= Seconds(1) ? "Thought for " + spokenDuration(*time) : "Thought";
  }
  if (item.text && !onlyWhiteSpace(*item.text)) row.details.push_back({.label = {}, .text = *item.text});
  return row;
}

State stateOf(const ToolCall& call, const TranscriptItem& item) {
  if (item.denial || call.status == ToolStatus::denied) return State::denied;
  if (call.status == ToolStatus::running) return State::running;
  return call.status == ToolStatus::failed ? State::failed : State::done;
}

const char* inputLabel(ToolKind kind) {
  switch (kind) {
  case ToolKind::command:
    return "Command";
  case ToolKind::search:
    return "Pattern";
  case ToolKind::web:
    return "Address";
  case ToolKind::plan:
    return "Plan";
  default:
    return "Input";
  }
}

/// What the user can change so that the agent may do it.
void explainDenial(AgentRow& row, const AgentTurn& turn, const TranscriptItem& item) {
  const auto target = item.denial && item.denial->target ? singleLine(*item.denial->target) : std::string();
  if (turn.access == AgentAccess::readOnly) {
    row.hint = "This turn may only read. Send the request again with “May write” to let the agent change "
               "the project’s files.";
    row.remedy = Remedy::allowWriting;
    return;
  }
  row.hint = target.empty() ? "The agent may change files of its project, and nothing else."
                            : "The agent may change files of its project, and nothing else: “" + target +
                                  "” is outside of that.";
  row.hint += " Do this step yourself, or allow it in the agent’s own settings, and send the request again.";
}

AgentRow callRow(const TranscriptItem& item, const AgentTurn& turn) {
  AgentRow row{.id = kindPrefix(item), .kind = Kind::call};
  if (!item.tool) {
    row.state = State::denied;
    row.title = item.denial ? singleLine(item.denial->summary) : "A step";
    explainDenial(row, turn, item);
    return row;
  }
  const auto& call = *item.tool;
  row.state = stateOf(call, item);
  row.title = singleLine(call.summary.empty() ? call.name : call.summary);
  if (!call.inputPreview.empty())
    row.details.push_back({.label = inputLabel(call.kind), .text = call.inputPreview});
  if (call.resultPreview && !call.resultPreview->empty())
    row.details.push_back({.label = "Output", .text = *call.resultPreview});
  if (call.exitCode && *call.exitCode != 0)
    row.details.push_back({.label = "Exit code", .text = fmt::format("{}", *call.exitCode)});
  if (item.omittedBytes)
    row.details.push_back(
        {.label = "Left out", .text = fmt::format("{} bytes", spokenCount(*item.omittedBytes))});
  if (row.state == State::denied) explainDenial(row, turn, item);
  return row;
}

AgentRowDetail patchDetail(const FilePatch& patch) {
  const auto verb = patch.kind == "add" ? "Added " : patch.kind == "delete" ? "Deleted " : "Changed ";
  AgentRowDetail detail{.label = verb + singleLine(patch.path)};
  if (patch.diff) {
    detail.text = *patch.diff;
    detail.form = AgentRowDetail::Form::diff;
  }
  return detail;
}

/// To the call that made it; a patch without one stands by itself.
void addPatch(std::vector<AgentRow>& rows, const TranscriptItem& item) {
  if (!item.patch) return;
  const auto id = std::string(rawValue(TranscriptItemKind::toolCall)) + "/" + item.toolID.value_or("");
  const auto call = std::ranges::find(rows, id, &AgentRow::id);
  if (item.toolID && call != rows.end()) return call->details.push_back(patchDetail(*item.patch));
  AgentRow row{.id = kindPrefix(item), .kind = Kind::call, .state = State::done};
  row.details.push_back(patchDetail(*item.patch));
  row.title = row.details.front().label;
  rows.push_back(std::move(row));
}

AgentRow factsRow(const AgentTurn& turn, AgentProvider provider) {
  std::vector<std::string> facts{std::string(productName(provider))};
  if (turn.model) facts.push_back(singleLine(*turn.model));
  if (turn.finishedAt) {
    facts.push_back(
        spokenDuration(Seconds(static_cast<double>((*turn.finishedAt - turn.startedAt).count()))));
  }
  if (const auto& usage = turn.usage) {
    facts.push_back(fmt::format("{} tokens in, {} out", spokenCount(usage->inputTokens),
                                spokenCount(usage->outputTokens)));
    if (usage->costUSD && std::isfinite(*usage->costUSD))
      facts.push_back(fmt::format("${:.4f}", *usage->costUSD));
  }
  if (turn.status == AgentRunStatus::cancelled) facts.emplace_back("stopped");
  return {.id = "facts", .kind = Kind::facts, .title = fmt::format("{}", fmt::join(facts, " · "))};
}

/// What several denials have to say is said once, with the last of them.
void keepLastDenial(std::vector<AgentRow>& rows) {
  const auto last = std::ranges::find(rows.rbegin(), rows.rend(), State::denied, &AgentRow::state);
  if (last == rows.rend()) return;
  for (auto& row : rows) {
    if (row.state != State::denied || &row == &*last) continue;
    if (row.remedy == last->remedy) row.remedy = Remedy::none;
    if (row.hint == last->hint) row.hint.clear();
  }
}

}  // namespace

std::vector<AgentRow> agentRows(const AgentTurn& turn, const AgentThread& thread, const AgentTurnView& view) {
  std::vector<AgentRow> rows{requestRow(turn)};
  for (const auto& item : turn.items) {
    switch (item.kind) {
    case TranscriptItemKind::message:
      if (item.text && !onlyWhiteSpace(*item.text)) {
        rows.push_back({.id = kindPrefix(item), .kind = Kind::message});
        rows.back().state = view.live && !item.finished ? State::running : State::done;
        rows.back().text = *item.text;
      }
      break;
    case TranscriptItemKind::reasoning:
      rows.push_back(thinkingRow(item, view));
      break;
    case TranscriptItemKind::toolCall:
      rows.push_back(callRow(item, turn));
      break;
    case TranscriptItemKind::filePatch:
      addPatch(rows, item);
      break;
    case TranscriptItemKind::notice:
    case TranscriptItemKind::error:
      rows.push_back({.id = kindPrefix(item),
                      .kind = item.kind == TranscriptItemKind::error ? Kind::error : Kind::notice,
                      .text = item.text.value_or("")});
      break;
    case TranscriptItemKind::other:
      break;
    }
  }
  keepLastDenial(rows);
  if (view.live || turn.status == AgentRunStatus::running) return rows;
  if (turn.status == AgentRunStatus::failed) {
    const auto known = std::ranges::find(rows, Kind::error, &AgentRow::kind);
    if (known == rows.end())
      rows.push_back({.id = "failed", .kind = Kind::error, .text = "The turn failed."});
    auto& last = *std::ranges::find(rows.rbegin(), rows.rend(), Kind::error, &AgentRow::kind);
    last.remedy = view.sessionIsGone ? Remedy::sendInFreshSession : Remedy::sendAgain;
    if (view.sessionIsGone)
      last.hint =
          "The agent does not know this conversation any more. Sent in a new session, it will not know "
          "what was said before.";
  }
  if (view.changes) rows.push_back({.id = "changes", .kind = Kind::changes, .changes = view.changes});
  rows.push_back(factsRow(turn, thread.provider));
  return rows;
}

std::string spokenDuration(Seconds duration) {
  const auto count = duration.count();
  if (!(count >= 0) || count > 1e9) return "0 s";
  const auto seconds = static_cast<std::int64_t>(count);
  if (seconds < 60) return fmt::format("{} s", seconds);
  if (seconds < 3600) return fmt::format("{} min {} s", seconds / 60, seconds % 60);
  return fmt::format("{} h {} min", seconds / 3600, seconds % 3600 / 60);
}

std::string spokenCount(std::int64_t count) {
  if (count < 1'000) return fmt::format("{}", count);
  if (count < 1'000'000) return fmt::format("{:.1f}k", static_cast<double>(count) / 1'000);
  return fmt::format("{:.1f}M", static_cast<double>(count) / 1'000'000);
}

}  // namespace vale
