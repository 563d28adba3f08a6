#include "agents/AgentRun.h"

#include <utility>

namespace vale {
namespace {

/// Adds an event; a piece of the text that came last is joined to it.
void append(std::vector<AgentStreamEvent>& events, const AgentStreamEvent& event) {
  const auto joined = [&]<typename Item>(const Item* piece) {
    if (!piece || !piece->append || events.empty()) return false;
    auto* last = std::get_if<Item>(&events.back());
    if (!last || last->id != piece->id) return false;
    last->text += piece->text;
    return true;
  };
  if (joined(std::get_if<stream::Text>(&event)) || joined(std::get_if<stream::Thinking>(&event))) return;
  events.push_back(event);
}

/// Drops many at a time, so that each costs little.
template <typename Entry> void keepLast(std::vector<Entry>& entries) {
  constexpr auto kept = AgentRun::keptEvents;
  if (entries.size() >= 2 * kept) entries.erase(entries.begin(), entries.end() - std::ptrdiff_t(kept));
}

}  // namespace

AgentRun::AgentRun(AgentRequest asked, Clock& clock)
    : request(std::move(asked)), startedAt(clock.now()), clock_(clock) {}

void AgentRun::apply(AgentStreamUpdate update) {
  if (finished_) return;
  if (update.sessionID) sessionID_ = std::move(update.sessionID);
  if (update.model) model_ = std::move(update.model);
  if (update.messageStarted) {
    streaming_ = true;
    streamingText_.clear();
    streamingThinking_.clear();
  }
  if (!update.textDelta.empty() || !update.thinkingDelta.empty()) {
    streaming_ = true;
    streamingText_ += update.textDelta;
    streamingThinking_ += update.thinkingDelta;
  }
  if (update.messageEnded) streaming_ = false;
  if (update.answerBlock) {
    streamingText_.clear();
    if (!finalMessage_.empty()) finalMessage_ += "\n\n";
    finalMessage_ += *update.answerBlock;
  }
  if (update.thinkingBlock) streamingThinking_.clear();
  if (update.finalMessage) {
    streaming_ = false;
    streamingText_.clear();
    finalMessage_ = std::move(*update.finalMessage);
  }
  if (update.usage) usage_ = std::move(update.usage);
  if (update.success) receivedSuccess_ = *update.success;
  if (update.failure) streamFailure_ = std::move(update.failure);
  for (auto& line : update.activity) addActivity(std::move(line));
  for (auto& event : update.events) add(std::move(event));
  if (update.resultArrived && closesInputOnResult_ && process_) process_->closeInput();
}

void AgentRun::add(AgentStreamEvent event) {
  if (auto* call = std::get_if<ToolCall>(&event)) {
    const auto began = callsBegan_.try_emplace(call->id, call->startedAt.value_or(clock_.now())).first;
    call->startedAt = began->second;
    if (call->status != ToolStatus::running) callsBegan_.erase(began);
  }
  append(unpublished_, event);
  append(events_, event);
  keepLast(events_);
  scheduleFlush();
}

void AgentRun::addActivity(std::string line) {
  activity_.push_back(std::move(line));
  keepLast(activity_);
  scheduleFlush();
}

void AgentRun::scheduleFlush() {
  if (flushTimer_.pending()) return;
  flushTimer_ = clock_.schedule(flushDelay, [weak = weak_from_this()] {
    if (const auto self = weak.lock()) self->flush();
  });
}

void AgentRun::flush() {
  flushTimer_.cancel();
  published_.emit(std::exchange(unpublished_, {}));
}

void AgentRun::end(AgentRunStatus status, std::string message) {
  status_ = status;
  streaming_ = false;
  message_ = std::move(message);
}

}  // namespace vale
