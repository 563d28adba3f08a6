#pragma once

#include "agents/AgentStreamParser.h"
#include "common/Json.h"

#include <fmt/format.h>

#include <algorithm>
#include <fstream>
#include <string>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

namespace vale::test {

/// The lines of a recorded output.
inline std::vector<std::string> recordedStream(const std::string& name) {
  std::ifstream file(std::string(VALE_TESTS_DIR "/fixtures/streams/") + name + ".jsonl");
  std::vector<std::string> lines;
  for (std::string line; std::getline(file, line);) lines.push_back(line);
  return lines;
}

/// Feeds a parser and keeps what a view would then show: each item once, in the order of appearance, as its
/// last event left it ("text: ...", "search completed: Search for “x”"), and what the run would hold.
class StreamReplay {
 public:
  explicit StreamReplay(AgentProvider provider, AgentUsage earlier = {})
      : parser_(provider, "/home/user/code/proj", std::move(earlier)) {}

  StreamReplay& read(const std::vector<std::string>& lines) {
    for (const auto& line : lines) apply(parser_.parse(line));
    return *this;
  }
  StreamReplay& finish() {
    apply(parser_.finish());
    return *this;
  }

  /// Without the items whose text was withdrawn.
  std::vector<std::string> transcript() const {
    std::vector<std::string> lines;
    for (const auto& [key, line] : items_) {
      if (!line.ends_with(": ")) lines.push_back(line);
    }
    return lines;
  }

  /// The transcript and the run's state, a line each.
  std::string report() const {
    std::string text;
    for (const auto& line : transcript()) text += line + "\n";
    for (const auto& line : state.activity) text += "activity: " + line + "\n";
    for (const auto& call : calls) {
      for (const auto& patch : call.patches) text += "patch: " + jsonText(encode(patch)) + "\n";
    }
    text += "answer: " + answer + "\n";
    if (state.usage) text += "usage: " + jsonText(encode(*state.usage)) + "\n";
    return text;
  }

  /// The last of everything that an update holds; lists and deltas joined.
  AgentStreamUpdate state;
  std::string answer;
  std::vector<ToolCall> calls;

 private:
  void show(const std::string& key, std::string_view label, const std::string& text, bool append) {
    auto item = std::ranges::find(items_, key, &std::pair<std::string, std::string>::first);
    if (key.empty() || item == items_.end()) item = items_.insert(items_.end(), {key, ""});
    if (!append || item->second.empty()) item->second = std::string(label) + ": ";
    item->second += text;
  }

  void apply(AgentStreamUpdate update) {
    if (update.sessionID) state.sessionID = update.sessionID;
    if (update.model) state.model = update.model;
    state.textDelta += update.textDelta;
    state.thinkingDelta += update.thinkingDelta;
    if (update.answerBlock) answer += *update.answerBlock;
    if (update.finalMessage) answer = *update.finalMessage;
    state.activity.insert(state.activity.end(), update.activity.begin(), update.activity.end());
    if (update.usage) state.usage = update.usage;
    if (update.success) state.success = update.success;
    if (update.failure) state.failure = state.failure.value_or("") + *update.failure;
    state.resultArrived |= update.resultArrived;
    for (const auto& event : update.events) {
      std::visit([this](const auto& value) { tell(value); }, event);
    }
  }

  void tell(const stream::Text& text) { show("text " + text.id, "text", text.text, text.append); }
  void tell(const stream::Thinking& text) { show("thinking " + text.id, "thinking", text.text, text.append); }
  void tell(const stream::FinalText& text) { show("", "final", text.text, false); }
  void tell(const stream::Notice& notice) { show("", "notice", notice.message, false); }
  void tell(const stream::Error& error) { show("", "error", error.message, false); }
  void tell(const stream::Ended& ended) { show("", "ended", ended.success ? "well" : "badly", false); }
  void tell(const ToolCall& call) {
    calls.push_back(call);
    show("tool " + call.id, fmt::format("{} {}", rawValue(call.kind), rawValue(call.status)), call.summary,
         false);
  }

  AgentStreamParser parser_;
  std::vector<std::pair<std::string, std::string>> items_;
};

}  // namespace vale::test
