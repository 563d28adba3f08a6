#pragma once

#include "agents/AgentStreamEvent.h"
#include "agents/AgentUsage.h"
#include "agents/TranscriptItem.h"

#include <cstddef>
#include <string_view>
#include <vector>

namespace vale {

/// What a turn's run says and does, as a list of items for a view and for the thread's file. Pure: what it
/// holds follows from the events alone.
///
/// It stays fit for showing and saving however long the run goes on. A long text loses its middle, in which
/// that is stated; when there is too much in all, the outputs and diffs of the oldest finished calls go, then
/// those calls, then old reasoning and messages, and a notice at the front counts what is gone. Errors and
/// what still runs stay as long as they can, the last message always.
class AgentTranscript {
 public:
  /// Of one message, reasoning, output or diff. What streams in may go over it by a quarter.
  static constexpr std::size_t maximumTextBytes = 256 * 1024;
  /// Of all texts together.
  static constexpr std::size_t maximumBytes = 4 * 1024 * 1024;
  static constexpr std::size_t maximumItems = 2000;

  AgentTranscript() = default;

  /// Goes on with what was kept.
  explicit AgentTranscript(std::vector<TranscriptItem> items);

  void add(const AgentStreamEvent& event);
  void add(const std::vector<AgentStreamEvent>& events);

  /// Marks the calls that the run was refused, with what they would have done; one that the stream did not
  /// tell of gets an item. May be called again.
  void addDenials(const AgentUsage& usage);

  /// Nothing more comes: texts are taken as they are, and a call that never ended counts as failed. To be
  /// called at the run's end, and for a turn that was running when Vale stopped.
  void finish();

  const std::vector<TranscriptItem>& items() const { return items_; }

  /// The text of the last message: the answer, once the run has ended. Empty when nothing was said.
  std::string_view lastMessage() const;

 private:
  TranscriptItem* find(TranscriptItem::Kind kind, std::string_view id);
  TranscriptItem& append(TranscriptItem item);
  void addText(TranscriptItem::Kind kind, const std::string& id, const std::string& text, bool isPiece);
  void addCall(const ToolCall& call);
  void addAnswer(const std::string& text);
  void addLine(TranscriptItem::Kind kind, const std::string& text);
  void weigh();
  void keepBounds();

  std::vector<TranscriptItem> items_;
  /// At least what `items_` weigh; exact each time that seems too much.
  std::size_t bytes_ = 0;
};

}  // namespace vale
