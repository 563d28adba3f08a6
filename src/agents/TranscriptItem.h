#pragma once

#include "agents/AgentUsage.h"
#include "agents/ToolCall.h"
#include "common/Json.h"

#include <cstdint>
#include <optional>
#include <string>

namespace vale {

enum class TranscriptItemKind {
  message,    ///< what the agent said: `text`
  reasoning,  ///< what it thought: `text`
  toolCall,   ///< what it did: `tool`, and `denial` where it was refused
  filePatch,  ///< one file as a tool call changed it: `patch`; follows its call's item
  notice,     ///< a line for information: `text`
  error,      ///< why the turn failed, a sentence: `text`
  other,      ///< of a kind that this Vale does not know: `unknown`, shown as nothing
};
template <>
inline constexpr auto rawValues<TranscriptItemKind> =
    std::to_array<RawValue<TranscriptItemKind>>({{TranscriptItemKind::message, "message"},
                                                 {TranscriptItemKind::reasoning, "reasoning"},
                                                 {TranscriptItemKind::toolCall, "toolCall"},
                                                 {TranscriptItemKind::filePatch, "filePatch"},
                                                 {TranscriptItemKind::notice, "notice"},
                                                 {TranscriptItemKind::error, "error"},
                                                 {TranscriptItemKind::other, "other"}});

/// One step of a turn as it is shown, and kept in the thread's file with the keys in this order. All texts
/// are the agent's: data, never markup to be trusted.
struct TranscriptItem {
  using Kind = TranscriptItemKind;

  /// The CLI's own id where it has one. Unique among the turn's items of the same kind, and the same for as
  /// long as the item is there, so that a view can follow it.
  std::string id;
  Kind kind = Kind::notice;
  /// Nothing more comes of it: the text is whole, the call has ended.
  bool finished = true;
  std::optional<std::string> text = {};
  /// Its `patches` are empty here: each is an item of its own.
  std::optional<ToolCall> tool = {};
  std::optional<FilePatch> patch = {};
  /// Of a file patch: the id of the call that made it.
  std::optional<std::string> toolID = {};
  /// What a refused call would have done.
  std::optional<PermissionDenial> denial = {};
  /// How many bytes of its text, output or diff were left out, where there was too much. A text that was cut
  /// says so in its middle, in a line of its own; an output or diff that was dropped is absent.
  std::optional<std::int64_t> omittedBytes = {};
  /// Of the kind `other`: the item as it stands in the file, written back unchanged.
  std::optional<json::value> unknown = {};

  bool operator==(const TranscriptItem&) const = default;
};

/// Found by the coding of records. An item of an unknown form is taken as the kind `other`, and so never
/// costs the conversation it stands in.
json::value encode(const TranscriptItem& item);
void decodeValue(const json::value& value, TranscriptItem& item, const std::string& path);

}  // namespace vale
