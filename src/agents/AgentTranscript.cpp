#include "agents/AgentTranscript.h"

#include "agents/MiddleCut.h"
#include "agents/TranscriptBounds.h"
#include "common/Text.h"

#include <fmt/format.h>

#include <algorithm>
#include <ranges>
#include <utility>
#include <variant>

namespace vale {
namespace {

using Item = TranscriptItem;

template <typename... Handlers> struct Overloaded : Handlers... { using Handlers::operator()...; };

/// So much more may stream in before it is cut again, that cutting costs little for each byte.
constexpr std::size_t slack = AgentTranscript::maximumTextBytes / 4;

/// Of one call; how many more there were is said in a notice.
constexpr std::size_t maximumPatches = 200;

/// At least what the event adds to the weight of the items.
std::size_t weightOf(const AgentStreamEvent& event) {
  constexpr std::size_t frame = 300;
  return std::visit(Overloaded{
                        [](const stream::Text& it) { return frame + it.text.size(); },
                        [](const stream::Thinking& it) { return frame + it.text.size(); },
                        [](const ToolCall& call) { return frame + vale::weightOf(call); },
                        [](const stream::FinalText& final) { return frame + final.text.size(); },
                        [](const stream::Notice& notice) { return frame + notice.message.size(); },
                        [](const stream::Error& error) { return frame + error.message.size(); },
                        [](const stream::Ended&) { return frame; },
                    },
                    event);
}

void cut(std::optional<std::string>& text, Item& item) {
  if (!text) return;
  std::int64_t omitted = 0;
  cutMiddle(*text, AgentTranscript::maximumTextBytes, omitted);
  if (omitted > 0) item.omittedBytes = item.omittedBytes.value_or(0) + omitted;
}

}  // namespace

AgentTranscript::AgentTranscript(std::vector<Item> items) : items_(std::move(items)) {
  shrinkTranscript(items_, maximumBytes, maximumItems);
  weigh();
}

void AgentTranscript::add(const AgentStreamEvent& event) {
  std::visit(
      Overloaded{
          [this](const stream::Text& it) { addText(Item::Kind::message, it.id, it.text, it.append); },
          [this](const stream::Thinking& it) { addText(Item::Kind::reasoning, it.id, it.text, it.append); },
          [this](const ToolCall& call) { addCall(call); },
          [this](const stream::FinalText& final) { addAnswer(final.text); },
          [this](const stream::Notice& notice) { addLine(Item::Kind::notice, notice.message); },
          [this](const stream::Error& error) { addLine(Item::Kind::error, error.message); },
          [this](const stream::Ended&) { finish(); },
      },
      event);
  bytes_ += weightOf(event);
  keepBounds();
}

void AgentTranscript::add(const std::vector<AgentStreamEvent>& events) {
  for (const auto& event : events) add(event);
}

Item* AgentTranscript::find(Item::Kind kind, std::string_view id) {
  const auto found = std::ranges::find_if(
      items_.rbegin(), items_.rend(), [&](const Item& item) { return item.kind == kind && item.id == id; });
  return found == items_.rend() ? nullptr : &*found;
}

Item& AgentTranscript::append(Item item) {
  // An id of our own where the CLI gave none.
  for (std::size_t number = items_.size() + 1; item.id.empty(); ++number) {
    auto id = fmt::format("{}-{}", rawValue(item.kind), number);
    if (!find(item.kind, id)) item.id = std::move(id);
  }
  return items_.emplace_back(std::move(item));
}

void AgentTranscript::addText(Item::Kind kind, const std::string& id, const std::string& text, bool isPiece) {
  auto* item = id.empty() && !isPiece ? nullptr : find(kind, id);
  if (text.empty()) {
    // What was streamed is withdrawn.
    if (item && !isPiece) items_.erase(items_.begin() + (item - items_.data()));
    return;
  }
  if (!item) item = &append({.id = id, .kind = kind, .text = ""});
  item->finished = !isPiece;
  if (!isPiece) {
    item->text = text;
    item->omittedBytes.reset();
    cut(item->text, *item);
    return;
  }
  *item->text += text;
  if (item->text->size() <= maximumTextBytes + slack) return;
  std::int64_t omitted = item->omittedBytes.value_or(0);
  cutMiddle(*item->text, maximumTextBytes, omitted);
  item->omittedBytes = omitted;
}

void AgentTranscript::addAnswer(const std::string& text) {
  const auto last = std::ranges::find(items_.rbegin(), items_.rend(), Item::Kind::message, &Item::kind);
  Item answer{.id = "answer", .kind = Item::Kind::message, .text = text};
  cut(answer.text, answer);
  // What was streamed already is the answer; only a structured one comes as a whole.
  if (last != items_.rend() && trimmed(*last->text) == trimmed(*answer.text)) return;
  if (!onlyWhiteSpace(text)) append(std::move(answer));
}

void AgentTranscript::addLine(Item::Kind kind, const std::string& text) {
  const bool repeats = !items_.empty() && items_.back().kind == kind && items_.back().text == text;
  if (repeats || text.empty()) return;
  Item item{.kind = kind, .text = text};
  cut(item.text, item);
  append(std::move(item));
}

void AgentTranscript::addCall(const ToolCall& call) {
  auto* found = call.id.empty() ? nullptr : find(Item::Kind::toolCall, call.id);
  auto& item = found ? *found : append({.id = call.id, .kind = Item::Kind::toolCall});
  const auto startedAt = item.tool ? item.tool->startedAt : std::nullopt;
  item.finished = call.status != ToolStatus::running;
  item.omittedBytes.reset();
  item.tool = call;
  if (startedAt) item.tool->startedAt = startedAt;
  if (item.denial) item.tool->status = ToolStatus::denied;
  auto patches = std::exchange(item.tool->patches, {});
  cut(item.tool->resultPreview, item);
  if (item.tool->files.size() > maximumPatches) item.tool->files.resize(maximumPatches);

  const auto id = item.id;
  std::vector<Item> changed;
  for (auto& patch : patches | std::views::take(maximumPatches)) {
    auto& added = changed.emplace_back(Item{.id = fmt::format("{}/{}", id, changed.size() + 1),
                                            .kind = Item::Kind::filePatch,
                                            .finished = item.finished,
                                            .patch = std::move(patch),
                                            .toolID = id});
    cut(added.patch->diff, added);
  }
  if (patches.size() > changed.size()) {
    changed.push_back({.id = id + "/more",
                       .kind = Item::Kind::notice,
                       .text = fmt::format("{} more files were changed.", patches.size() - changed.size()),
                       .toolID = id});
  }
  const auto behind = items_.begin() + (&item - items_.data()) + 1;
  const auto end = std::find_if(behind, items_.end(), [&](const Item& it) { return it.toolID != id; });
  items_.insert(items_.erase(behind, end), std::make_move_iterator(changed.begin()),
                std::make_move_iterator(changed.end()));
}

void AgentTranscript::addDenials(const AgentUsage& usage) {
  if (!usage.denials) return;
  for (const auto& denial : *usage.denials) {
    const auto id = denial.toolUseID.value_or("");
    auto* item = id.empty() ? nullptr : find(Item::Kind::toolCall, id);
    const bool isTold = std::ranges::find(items_, std::optional(denial), &Item::denial) != items_.end();
    if (!item && isTold) continue;
    if (!item) {
      item = &append({.id = id, .kind = Item::Kind::toolCall});
      item->tool = {.id = item->id, .name = denial.toolName, .summary = denial.summary};
    }
    item->finished = true;
    item->tool->status = ToolStatus::denied;
    item->denial = denial;
  }
  weigh();
  keepBounds();
}

void AgentTranscript::finish() {
  for (auto& item : items_) {
    if (item.finished) continue;
    item.finished = true;
    if (item.tool && item.tool->status == ToolStatus::running) item.tool->status = ToolStatus::failed;
  }
}

std::string_view AgentTranscript::lastMessage() const {
  const auto last = std::ranges::find(items_.rbegin(), items_.rend(), Item::Kind::message, &Item::kind);
  return last == items_.rend() ? std::string_view() : std::string_view(*last->text);
}

void AgentTranscript::weigh() {
  bytes_ = 0;
  for (const auto& item : items_) bytes_ += vale::weightOf(item);
}

void AgentTranscript::keepBounds() {
  if (bytes_ <= maximumBytes && items_.size() <= maximumItems) return;
  shrinkTranscript(items_, maximumBytes, maximumItems);
  weigh();
}

}  // namespace vale
