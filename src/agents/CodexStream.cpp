#include "agents/CodexStream.h"

#include "agents/PreviewText.h"
#include "agents/ReadableError.h"
#include "agents/ShellCommand.h"
#include "common/Json.h"

#include <algorithm>
#include <utility>

namespace vale {
namespace {

AgentUsage usageOfRun(const json::object& counts, const AgentUsage& earlier) {
  struct Count {
    std::int64_t AgentUsage::*field;
    std::string_view key;
  };
  static constexpr Count fields[] = {{&AgentUsage::inputTokens, "input_tokens"},
                                     {&AgentUsage::cachedInputTokens, "cached_input_tokens"},
                                     {&AgentUsage::outputTokens, "output_tokens"},
                                     {&AgentUsage::reasoningTokens, "reasoning_output_tokens"}};
  AgentUsage usage;
  bool cumulative = true;
  for (const auto& [field, key] : fields) {
    usage.*field = std::max<std::int64_t>(integerMember(counts, key).value_or(0), 0);
    cumulative = cumulative && usage.*field >= earlier.*field;
  }
  // Less than before means that this Codex counts the run alone.
  for (const auto& count : fields) usage.*count.field -= cumulative ? earlier.*count.field : 0;
  return usage;
}

/// Of an item that is completed, one way or the other.
ToolStatus statusOf(const json::object& item) {
  const auto status = stringMember(item, "status").value_or("");
  if (status == "failed") return ToolStatus::failed;
  if (status == "declined") return ToolStatus::denied;
  return ToolStatus::completed;
}

std::string sentenceOf(const json::object& object) {
  const auto message = stringMember(object, "message").value_or("");
  return message.empty() ? "Codex reported an error." : readableError(message);
}

/// What a call gave back: a command's output, an MCP tool's text, or why it failed.
std::string resultText(const json::object& item) {
  if (const auto output = stringMember(item, "aggregated_output")) return previewText(*output);
  if (const auto* error = objectMember(item, "error"))
    return previewText(stringMember(*error, "message").value_or(""));
  const auto* result = objectMember(item, "result");
  const auto* content = result ? arrayMember(*result, "content") : nullptr;
  std::string joined;
  for (std::size_t i = 0; content && i < content->size(); ++i) {
    const auto* part = (*content)[i].if_object();
    const auto text = part ? stringMember(*part, "text") : std::nullopt;
    if (!text) continue;
    if (!joined.empty()) joined += '\n';
    joined += previewText(*text);
  }
  return previewText(joined);
}

/// `files`: the paths of the changes, as shown.
std::vector<FilePatch> patches(const json::object& item, const std::vector<std::string>& files) {
  std::vector<FilePatch> list;
  const auto* changes = arrayMember(item, "changes");
  for (std::size_t i = 0; changes && i < changes->size(); ++i) {
    const auto* change = (*changes)[i].if_object();
    if (!change || list.size() == files.size()) continue;
    list.push_back({.path = files[list.size()],
                    .kind = previewLine(stringMember(*change, "kind").value_or("update"), 20),
                    .diff = {}});
  }
  return list;
}

}  // namespace

void CodexStream::read(const json::object& line, std::string_view type, AgentStreamUpdate& update) {
  if (type == "turn.failed") {
    const auto* error = objectMember(line, "error");
    const auto sentence = readableError(error ? stringMember(*error, "message").value_or("") : "");
    if (heldError_ && (sentence.empty() || sentence == *heldError_)) {
      fail(*std::exchange(heldError_, std::nullopt), update);
    } else {
      releaseError(update);
      fail(sentence.empty() ? "Codex failed this turn." : sentence, update);
    }
    return;
  }
  releaseError(update);
  if (type == "thread.started") {
    if (const auto id = stringMember(line, "thread_id")) update.sessionID = *id;
  } else if (type == "turn.completed") {
    complete(line, update);
  } else if (type == "error") {
    readError(sentenceOf(line), update);
  } else if (const auto* item = objectMember(line, "item")) {
    if (type == "item.started") readItem(*item, Phase::started, update);
    if (type == "item.updated") readItem(*item, Phase::updated, update);
    if (type == "item.completed") readItem(*item, Phase::completed, update);
  }
}

void CodexStream::readItem(const json::object& item, Phase phase, AgentStreamUpdate& update) {
  const auto type = stringMember(item, "type").value_or("");
  auto id = std::string(stringMember(item, "id").value_or(""));
  if (type == "agent_message" || type == "reasoning") {
    const auto text = stringMember(item, "text").value_or("");
    if (text.empty()) return;
    if (type == "agent_message") {
      answer_ = text;
      update.finalMessage = text;
      update.events.emplace_back(stream::Text{std::move(id), std::string(text), false});
    } else {
      if (phase == Phase::completed) update.thinkingBlock = text;
      update.events.emplace_back(stream::Thinking{std::move(id), std::string(text), false});
    }
  } else if (type == "error") {
    if (phase != Phase::completed) return;
    auto note = sentenceOf(item);
    update.activity.push_back("Note: " + note);
    update.events.emplace_back(stream::Notice{std::move(note)});
  } else if (!type.empty()) {
    readCall(item, type, phase, update);
  }
}

void CodexStream::readCall(const json::object& item, std::string_view type, Phase phase,
                           AgentStreamUpdate& update) {
  const bool completed = phase == Phase::completed;
  const std::string id(stringMember(item, "id").value_or(""));
  auto* call = calls_.find(id);
  // A plan's steps and a search's words may change until the end.
  const bool isSettled = completed && (type == "command_execution" || type == "file_change");
  if (!call || !isSettled) {
    call = &calls_.describe(id, type, ToolDescriptions::codex(item, project_));
  }
  if (type == "command_execution" && phase != Phase::updated) {
    update.activity.push_back((completed ? "Finished " : "Running ") + previewLine(call->inputPreview, 200));
  }
  if (completed) {
    call->status = statusOf(item);
    call->exitCode = integerMember(item, "exit_code");
    call->patches = patches(item, call->files);
    if (auto result = resultText(item); !result.empty()) call->resultPreview = std::move(result);
  }
  calls_.tell(id, update);
}

void CodexStream::readError(std::string sentence, AgentStreamUpdate& update) {
  if (sentence.starts_with("Reconnecting")) {
    update.events.emplace_back(stream::Notice{std::move(sentence)});
  } else {
    heldError_ = std::move(sentence);
  }
}

void CodexStream::complete(const json::object& line, AgentStreamUpdate& update) {
  if (const auto* counts = objectMember(line, "usage")) update.usage = usageOfRun(*counts, earlier_);
  calls_.closeAll(ToolStatus::completed, update);
  if (answer_) update.events.emplace_back(stream::FinalText{*answer_});
  ended_ = true;
  update.success = true;
  update.resultArrived = true;
  update.events.emplace_back(stream::Ended{true});
}

void CodexStream::releaseError(AgentStreamUpdate& update) {
  if (heldError_) update.events.emplace_back(stream::Notice{std::move(*heldError_)});
  heldError_.reset();
}

void CodexStream::finish(AgentStreamUpdate& update) {
  if (ended_) return;
  if (heldError_) {
    fail(*std::exchange(heldError_, std::nullopt), update);
  } else {
    calls_.closeAll(ToolStatus::failed, update);
  }
}

void CodexStream::fail(std::string sentence, AgentStreamUpdate& update) {
  calls_.closeAll(ToolStatus::failed, update);
  ended_ = true;
  update.success = false;
  update.failure = sentence;
  update.resultArrived = true;
  update.events.emplace_back(stream::Error{std::move(sentence)});
  update.events.emplace_back(stream::Ended{false});
}

}  // namespace vale
