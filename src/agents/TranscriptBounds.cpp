#include "agents/TranscriptBounds.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <utility>

namespace vale {
namespace {

using Item = TranscriptItem;
using Kind = TranscriptItem::Kind;

constexpr std::string_view noticeID = "left-out";

/// For the keys, identifiers and marks.
constexpr std::size_t frame = 200;

std::size_t lengthOf(const std::optional<std::string>& text) { return text ? text->size() : 0; }

/// Takes away what a finished call gave back and what it was given, or a diff. Gives the bytes.
std::size_t dropOutput(Item& item) {
  if (!item.finished) return 0;
  std::size_t dropped = 0;
  if (item.tool) {
    dropped = lengthOf(item.tool->resultPreview) + item.tool->inputPreview.size();
    item.tool->resultPreview.reset();
    item.tool->inputPreview.clear();
  }
  if (item.patch) {
    dropped += lengthOf(item.patch->diff);
    item.patch->diff.reset();
  }
  if (dropped > 0) item.omittedBytes = item.omittedBytes.value_or(0) + std::int64_t(dropped);
  return dropped;
}

/// What is removed first, and what only when that is not enough.
enum class Stage { calls, reasoning, said, everything };

bool isRemoved(const Item& item, Stage stage) {
  const bool isCall = item.kind == Kind::toolCall || item.toolID;
  switch (stage) {
  case Stage::calls:
    return item.finished && isCall;
  case Stage::reasoning:
    return item.finished && item.kind == Kind::reasoning;
  case Stage::said:
    return item.finished && item.kind != Kind::error;
  case Stage::everything:
    return true;
  }
  return false;
}

bool isLeftOutNotice(const Item& item) { return item.kind == Kind::notice && item.id == noticeID; }

void countLeftOut(std::vector<Item>& items, std::size_t steps) {
  if (steps == 0) return;
  if (items.empty() || !isLeftOutNotice(items.front())) {
    items.insert(items.begin(), Item{.id = std::string(noticeID), .kind = Kind::notice});
  }
  auto& text = items.front().text;
  std::size_t earlier = 0;
  if (text) std::from_chars(text->data(), text->data() + text->size(), earlier);
  steps += earlier;
  text = fmt::format("{} earlier {} left out.", steps, steps == 1 ? "step was" : "steps were");
}

/// The items and what they still have to lose.
struct Shrinking {
  std::vector<Item>& items;
  std::size_t bytes;
  std::size_t targetBytes;
  std::size_t targetItems;

  bool isDone() const { return bytes <= targetBytes && items.size() <= targetItems; }

  void remove(Stage stage) {
    const auto last = std::ranges::find(items.rbegin(), items.rend(), Kind::message, &Item::kind);
    const Item* lastMessage = last == items.rend() ? nullptr : &*last;
    std::vector<Item> kept;
    std::size_t left = items.size();
    std::size_t steps = 0;
    for (auto& item : items) {
      const bool isOver = bytes > targetBytes || left > targetItems;
      if (isOver && &item != lastMessage && !isLeftOutNotice(item) && isRemoved(item, stage)) {
        bytes -= std::min(bytes, weightOf(item));
        --left;
        steps += !item.toolID;
      } else {
        kept.push_back(std::move(item));
      }
    }
    items = std::move(kept);
    countLeftOut(items, steps);
  }
};

}  // namespace

std::size_t weightOf(const ToolCall& call) {
  std::size_t bytes = frame + call.id.size() + call.name.size() + call.summary.size() +
                      call.inputPreview.size() + lengthOf(call.resultPreview);
  for (const auto& file : call.files) bytes += file.size() + 3;
  for (const auto& patch : call.patches) bytes += frame + patch.path.size() + lengthOf(patch.diff);
  return bytes;
}

std::size_t weightOf(const Item& item) {
  std::size_t bytes = frame + item.id.size() + lengthOf(item.text);
  if (item.tool) bytes += weightOf(*item.tool);
  if (item.patch) bytes += item.patch->path.size() + lengthOf(item.patch->diff);
  if (item.denial) bytes += item.denial->summary.size() + lengthOf(item.denial->target);
  return bytes;
}

void shrinkTranscript(std::vector<Item>& items, std::size_t maximumBytes, std::size_t maximumItems) {
  std::size_t bytes = 0;
  for (const auto& item : items) bytes += weightOf(item);
  if (bytes <= maximumBytes && items.size() <= maximumItems) return;
  // Well below, so that this is not done again for every new item.
  Shrinking shrinking{items, bytes, bytes > maximumBytes ? maximumBytes / 4 * 3 : maximumBytes,
                      items.size() > maximumItems ? maximumItems / 4 * 3 : maximumItems};
  for (auto& item : items) {
    if (shrinking.bytes <= shrinking.targetBytes) break;
    shrinking.bytes -= std::min(shrinking.bytes, dropOutput(item));
  }
  for (const auto stage : {Stage::calls, Stage::reasoning, Stage::said, Stage::everything}) {
    if (!shrinking.isDone()) shrinking.remove(stage);
  }
}

bool foldTranscript(std::vector<Item>& items) {
  std::size_t dropped = 0;
  for (auto& item : items) dropped += dropOutput(item);
  const auto thoughts =
      std::erase_if(items, [](const Item& item) { return item.finished && item.kind == Kind::reasoning; });
  return dropped > 0 || thoughts > 0;
}

}  // namespace vale
