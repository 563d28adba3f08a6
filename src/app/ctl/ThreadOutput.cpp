#include "app/ctl/ThreadOutput.h"

#include "app/ctl/Ctl.h"
#include "common/Text.h"

#include <fmt/format.h>

#include <cstdio>
#include <unistd.h>

namespace vale::ctl {
namespace {

/// Prints one line; what agents and people have written in it stays one.
void line(int depth, const std::string& text) {
  fmt::print("{:{}}{}\n", "", 2 * depth, forTerminal(singleLine(text), STDOUT_FILENO));
}

/// Prints every line of a text behind a prefix.
void block(int depth, std::string_view text, std::string_view prefix = {}) {
  while (text.ends_with('\n')) text.remove_suffix(1);
  for (;;) {
    const auto end = text.find('\n');
    std::string one(prefix);
    for (const char c : text.substr(0, end)) one += c == '\t' ? std::string(4, ' ') : std::string(1, c);
    line(depth, one);
    if (end == text.npos) return;
    text.remove_prefix(end + 1);
  }
}

std::string marked(const ToolCall& call) {
  switch (call.status) {
  case ToolStatus::running:
    return "… " + call.summary;
  case ToolStatus::completed:
    return "✓ " + call.summary;
  case ToolStatus::failed:
    return "✗ " + call.summary;
  case ToolStatus::denied:
    return "✗ " + call.summary + " (not permitted)";
  }
  return call.summary;
}

void printOmitted(const TranscriptItem& item) {
  // A text says in its middle what it lost.
  if (item.omittedBytes && !item.text) line(2, fmt::format("({} bytes left out)", *item.omittedBytes));
}

void printCall(const TranscriptItem& item) {
  const auto& call = *item.tool;
  line(1, marked(call));
  if (item.denial && item.denial->target) line(2, *item.denial->target);
  if (call.exitCode && *call.exitCode != 0) line(2, fmt::format("exit code {}", *call.exitCode));
  if (call.resultPreview) block(2, *call.resultPreview);
}

void printItem(const TranscriptItem& item) {
  switch (item.kind) {
  case TranscriptItemKind::message:
    block(1, *item.text);
    break;
  case TranscriptItemKind::reasoning:
    block(1, "(thinking) " + *item.text);
    break;
  case TranscriptItemKind::toolCall:
    printCall(item);
    break;
  case TranscriptItemKind::filePatch:
    line(1, fmt::format("{} {}", item.patch->kind, item.patch->path));
    if (item.patch->diff) block(2, *item.patch->diff);
    break;
  case TranscriptItemKind::notice:
    block(1, "Note: " + *item.text);
    break;
  case TranscriptItemKind::error:
    block(1, "Error: " + *item.text);
    break;
  case TranscriptItemKind::other:
    break;
  }
  printOmitted(item);
}

void printTurn(const AgentTurn& turn, AgentProvider provider) {
  fmt::print("\n");
  line(0, fmt::format("{}  {}{}", iso8601(turn.startedAt), rawValue(turn.status),
                      turn.access == AgentAccess::projectWrite ? ", may write" : ""));
  block(0, turn.prompt, "> ");
  if (turn.attachment) block(1, "Attached: " + *turn.attachment);
  for (const auto& image : turn.images.value_or(std::vector<std::string>())) line(1, "Attached: " + image);
  if (turn.note) block(1, *turn.note);
  if (turn.routing && turn.routing->note() != turn.note) line(1, turn.routing->note());
  for (const auto& item : turn.items) printItem(item);
  std::string end = turn.model.value_or(std::string(productName(provider)));
  if (turn.usage) {
    end += fmt::format(", {} tokens in, {} out", turn.usage->inputTokens, turn.usage->outputTokens);
    if (turn.usage->costUSD) end += fmt::format(", ${:.4f}", *turn.usage->costUSD);
    if (turn.usage->permissionDenials > 0) end += fmt::format(", {} denied", turn.usage->permissionDenials);
  }
  line(1, "— " + end);
}

}  // namespace

void printThread(const AgentThread& thread) {
  line(0, thread.title.empty() ? thread.id.text() : thread.title);
  line(0, fmt::format("{} with {}  {}", rawValue(thread.kind), productName(thread.provider),
                      thread.projectPath.native()));
  if (thread.page) line(0, fmt::format("{}  {}", thread.page->title, thread.page->url));
  for (const auto& turn : thread.turns) printTurn(turn, thread.provider);
}

}  // namespace vale::ctl
