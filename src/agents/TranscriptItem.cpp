#include "agents/TranscriptItem.h"

namespace vale {
namespace {

template <typename T> void read(const json::object& object, const char* key, T& field) {
  // Nobody hears of what is unfit, so it needs no path.
  if (const auto* found = object.if_contains(key)) detail::decodeValue(*found, field, {});
}

/// Has what a view relies on.
bool isWhole(const TranscriptItem& item) {
  switch (item.kind) {
  case TranscriptItem::Kind::toolCall:
    return item.tool.has_value();
  case TranscriptItem::Kind::filePatch:
    return item.patch.has_value();
  case TranscriptItem::Kind::other:
    return false;
  default:
    return item.text.has_value();
  }
}

}  // namespace

json::value encode(const TranscriptItem& item) {
  if (item.unknown) return *item.unknown;
  json::object object{{"id", item.id}, {"kind", rawValue(item.kind)}, {"finished", item.finished}};
  const auto add = [&object](const char* key, const auto& field) {
    if (field) object.emplace(key, encode(*field));
  };
  add("text", item.text);
  add("tool", item.tool);
  add("patch", item.patch);
  add("toolID", item.toolID);
  add("denial", item.denial);
  add("omittedBytes", item.omittedBytes);
  return object;
}

void decodeValue(const json::value& value, TranscriptItem& item, const std::string&) {
  const auto* object = value.if_object();
  const auto name = object ? stringMember(*object, "kind") : std::nullopt;
  const auto kind = name ? fromRawValue<TranscriptItem::Kind>(*name) : std::nullopt;
  item = {.kind = kind.value_or(TranscriptItem::Kind::other)};
  try {
    if (kind) {
      read(*object, "id", item.id);
      read(*object, "finished", item.finished);
      read(*object, "text", item.text);
      read(*object, "tool", item.tool);
      read(*object, "patch", item.patch);
      read(*object, "toolID", item.toolID);
      read(*object, "denial", item.denial);
      read(*object, "omittedBytes", item.omittedBytes);
    }
    if (isWhole(item)) return;
  } catch (const DecodeError&) {
    // Another Vale's idea of an item: kept as it stands.
  }
  item = {.kind = TranscriptItem::Kind::other};
  // Assigned, so that it does not stay in the memory of what it was parsed into.
  item.unknown.emplace() = value;
}

}  // namespace vale
