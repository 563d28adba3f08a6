#include "agents/ClaudeStream.h"

#include "agents/ClaudeToolResult.h"
#include "agents/PreviewText.h"
#include "agents/ReadableError.h"
#include "agents/ServiceNotices.h"
#include "common/Json.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

namespace vale {
namespace {

std::optional<double> costOfRun(const json::object& line) {
  // "total_cost_usd" counts the whole session since Claude Code has this key, and this run alone before that.
  const auto* models = objectMember(line, "model_usage_since_last_result");
  if (!models) return numberMember(line, "total_cost_usd");
  double sum = 0;
  for (const auto& [name, model] : *models) {
    if (const auto* usage = model.if_object()) sum += numberMember(*usage, "costUSD").value_or(0);
  }
  return sum;
}

AgentUsage usageOfRun(const json::object& line, const std::filesystem::path& project) {
  AgentUsage usage;
  if (const auto* tokens = objectMember(line, "usage")) {
    const auto count = [](const json::object& object, std::string_view key) {
      // Bounded so that a sum of three cannot overflow.
      constexpr std::int64_t most = 1'000'000'000'000'000;
      return std::clamp<std::int64_t>(integerMember(object, key).value_or(0), 0, most);
    };
    usage.cachedInputTokens = count(*tokens, "cache_read_input_tokens");
    usage.inputTokens = count(*tokens, "input_tokens") + usage.cachedInputTokens +
                        count(*tokens, "cache_creation_input_tokens");
    usage.outputTokens = count(*tokens, "output_tokens");
    if (const auto* details = objectMember(*tokens, "output_tokens_details")) {
      usage.reasoningTokens = count(*details, "thinking_tokens");
    }
  }
  usage.costUSD = costOfRun(line);
  usage.durationMs = integerMember(line, "duration_ms");
  usage.turns = integerMember(line, "num_turns");
  if (const auto* denials = arrayMember(line, "permission_denials"); denials && !denials->empty()) {
    auto& list = usage.denials.emplace();
    for (const auto& denial : *denials) {
      if (const auto* element = denial.if_object())
        list.push_back(PermissionDenial::claude(*element, project));
    }
    usage.permissionDenials = std::int64_t(list.size());
  }
  return usage;
}

std::string failureOf(const json::object& line) {
  std::string sentence;
  if (const auto* errors = arrayMember(line, "errors")) {
    for (const auto& error : *errors) {
      const auto* text = error.if_string();
      if (!text || text->empty()) continue;
      if (!sentence.empty()) sentence += '\n';
      sentence += readableError(*text);
    }
  }
  if (sentence.empty()) sentence = readableError(stringMember(line, "result").value_or(""));
  return sentence;
}

}  // namespace

void ClaudeStream::read(const json::object& line, std::string_view type, AgentStreamUpdate& update) {
  const auto speaker = stringMember(line, "parent_tool_use_id") ? Speaker::subagent : Speaker::agent;
  if (type == "stream_event") {
    const auto* event = objectMember(line, "event");
    if (event && speaker == Speaker::agent) readStreamEvent(*event, update);
  } else if (type == "assistant") {
    readAssistant(line, speaker, update);
  } else if (type == "user") {
    readUser(line, update);
  } else if (type == "system") {
    readSystem(line, update);
  } else if (type == "result") {
    readResult(line, update);
  } else if (type == "rate_limit_event") {
    const auto* info = objectMember(line, "rate_limit_info");
    auto notice = info ? ServiceNotices::rateLimit(*info) : std::nullopt;
    if (!notice || *notice == lastRateLimit_) return;
    lastRateLimit_ = *notice;
    update.events.emplace_back(stream::Notice{std::move(*notice)});
  }
}

void ClaudeStream::readSystem(const json::object& line, AgentStreamUpdate& update) {
  const auto subtype = stringMember(line, "subtype");
  if (subtype == "init") {
    if (const auto id = stringMember(line, "session_id")) update.sessionID = *id;
    if (const auto model = stringMember(line, "model")) update.model = *model;
  } else if (subtype == "api_retry") {
    update.events.emplace_back(stream::Notice{ServiceNotices::retry(line)});
  } else if (subtype == "permission_denied") {
    const auto id = stringMember(line, "tool_use_id").value_or("");
    if (auto* call = calls_.find(id)) {
      call->status = ToolStatus::denied;
      call->resultPreview = previewText(stringMember(line, "message").value_or(""));
      calls_.tell(id, update);
    }
  }
}

void ClaudeStream::readStreamEvent(const json::object& event, AgentStreamUpdate& update) {
  const auto type = stringMember(event, "type");
  if (type == "message_start") {
    withdrawUnfinishedItem(update);
    const auto* message = objectMember(event, "message");
    beginMessage(std::string(message ? stringMember(*message, "id").value_or("") : ""));
    update.messageStarted = true;
    return;
  }
  if (type == "message_stop") {
    // Whole blocks come before the end of their message: what is unfinished now came from a stream that broke
    // off, and will be answered again.
    withdrawUnfinishedItem(update);
    return;
  }
  const auto* delta = objectMember(event, "delta");
  if (type == "content_block_start" || delta) block_ = integerMember(event, "index").value_or(block_);
  if (!delta) return;

  const auto kind = stringMember(*delta, "type");
  const bool isThinking = kind == "thinking_delta";
  if (!isThinking && kind != "text_delta") return;
  const auto piece = stringMember(*delta, isThinking ? "thinking" : "text").value_or("");
  if (piece.empty()) return;
  auto id = itemID();
  if (!unfinished_ || unfinished_->id != id) unfinished_ = {id, isThinking};
  if (isThinking) {
    update.thinkingDelta = piece;
    update.events.emplace_back(stream::Thinking{std::move(id), std::string(piece), true});
  } else {
    update.textDelta = piece;
    update.events.emplace_back(stream::Text{std::move(id), std::string(piece), true});
  }
}

void ClaudeStream::readAssistant(const json::object& line, Speaker speaker, AgentStreamUpdate& update) {
  const auto* message = objectMember(line, "message");
  if (!message) return;
  const auto* content = arrayMember(*message, "content");
  if (speaker == Speaker::agent) {
    update.messageEnded = true;
    if (boolMember(line, "is_api_error_message") == true) {
      serviceError_.emplace();
      for (std::size_t i = 0; content && i < content->size(); ++i) {
        const auto* block = (*content)[i].if_object();
        if (block) *serviceError_ += stringMember(*block, "text").value_or("");
      }
      return;
    }
    const auto id = stringMember(*message, "id").value_or("");
    if (messageID_.empty() || (!id.empty() && id != messageID_)) {
      withdrawUnfinishedItem(update);
      beginMessage(std::string(id));
    }
  }
  for (std::size_t i = 0; content && i < content->size(); ++i) {
    const auto* block = (*content)[i].if_object();
    if (!block) continue;
    readToolBlock(*block, line, update);
    if (speaker == Speaker::agent) readBlock(*block, update);
  }
}

void ClaudeStream::readBlock(const json::object& block, AgentStreamUpdate& update) {
  const auto type = stringMember(block, "type");
  const bool isThinking = type == "thinking";
  if (isThinking || type == "text") {
    const auto words = stringMember(block, isThinking ? "thinking" : "text").value_or("");
    auto id = itemID();
    const bool replaces = unfinished_ && unfinished_->id == id;
    if (replaces) unfinished_.reset();
    auto& whole = isThinking ? update.thinkingBlock : update.answerBlock;
    if (!words.empty()) whole = whole.value_or("").append(words);
    if (!words.empty() || replaces) {
      if (isThinking) {
        update.events.emplace_back(stream::Thinking{std::move(id), std::string(words), false});
      } else {
        update.events.emplace_back(stream::Text{std::move(id), std::string(words), false});
      }
    }
  }
  ++block_;
}

void ClaudeStream::readToolBlock(const json::object& block, const json::object& line,
                                 AgentStreamUpdate& update) {
  const auto type = stringMember(block, "type");
  if (type == "tool_use" || type == "server_tool_use") {
    static const json::object nothing;
    const auto name = stringMember(block, "name");
    const auto* input = objectMember(block, "input");
    update.activity.push_back("Using " + previewLine(name.value_or("tool"), 200));
    const std::string id(stringMember(block, "id").value_or(""));
    if (id.empty()) return;
    calls_.describe(id, name.value_or("tool"),
                    ToolDescriptions::claude(name.value_or(""), input ? *input : nothing, project_));
    calls_.tell(id, update);
  } else {
    readToolResult(block, line, update);
  }
}

void ClaudeStream::readToolResult(const json::object& block, const json::object& line,
                                  AgentStreamUpdate& update) {
  const auto id = stringMember(block, "tool_use_id");
  auto* call = id ? calls_.find(*id) : nullptr;
  if (!call) return;
  applyClaudeToolResult(*call, block, line, project_);
  calls_.tell(*id, update);
}

void ClaudeStream::readUser(const json::object& line, AgentStreamUpdate& update) {
  const auto* message = objectMember(line, "message");
  const auto* content = message ? arrayMember(*message, "content") : nullptr;
  // Synthetic lines are the CLI's own words to the model.
  if (!content || boolMember(line, "isSynthetic") == true) return;
  for (const auto& value : *content) {
    if (const auto* block = value.if_object()) readToolResult(*block, line, update);
  }
}

void ClaudeStream::readResult(const json::object& line, AgentStreamUpdate& update) {
  const auto subtype = stringMember(line, "subtype").value_or("");
  const bool failed = boolMember(line, "is_error").value_or(subtype.starts_with("error"));
  update.messageEnded = true;
  update.usage = usageOfRun(line, project_);
  update.resultArrived = true;
  if (const auto denied = update.usage->permissionDenials; denied > 0) {
    update.activity.push_back(fmt::format("{} tool action(s) denied by the configured permissions. Continue "
                                          "in Terminal if broader access is needed.",
                                          denied));
  }
  if (failed) {
    fail(failureOf(line), update);
    return;
  }
  calls_.closeAll(ToolStatus::completed, update);
  const auto* structured = line.if_contains("structured_output");
  if (structured && !structured->is_null()) {
    update.finalMessage = json::serialize(*structured);
  } else if (const auto result = stringMember(line, "result")) {
    update.finalMessage = *result;
  }
  if (update.finalMessage) update.events.emplace_back(stream::FinalText{*update.finalMessage});
  ended_ = true;
  update.success = true;
  update.events.emplace_back(stream::Ended{true});
}

void ClaudeStream::finish(AgentStreamUpdate& update) {
  if (ended_) return;
  if (serviceError_) {
    fail(*serviceError_, update);
  } else {
    calls_.closeAll(ToolStatus::failed, update);
  }
}

void ClaudeStream::fail(std::string sentence, AgentStreamUpdate& update) {
  if (sentence.empty()) sentence = serviceError_.value_or("");
  if (sentence.empty()) sentence = "Claude Code failed this turn.";
  calls_.closeAll(ToolStatus::failed, update);
  ended_ = true;
  update.success = false;
  update.failure = sentence;
  update.events.emplace_back(stream::Error{std::move(sentence)});
  update.events.emplace_back(stream::Ended{false});
}

void ClaudeStream::beginMessage(std::string id) {
  messageID_ = id.empty() ? fmt::format("message-{}", ++unnamedMessages_) : std::move(id);
  block_ = 0;
}

std::string ClaudeStream::itemID() const { return fmt::format("{}:{}", messageID_, block_); }

void ClaudeStream::withdrawUnfinishedItem(AgentStreamUpdate& update) {
  if (!unfinished_) return;
  if (unfinished_->isThinking) {
    update.events.emplace_back(stream::Thinking{std::move(unfinished_->id), "", false});
  } else {
    update.events.emplace_back(stream::Text{std::move(unfinished_->id), "", false});
  }
  unfinished_.reset();
}

}  // namespace vale
