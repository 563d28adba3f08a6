#pragma once

#include "agents/TranscriptItem.h"

#include <cstddef>
#include <vector>

/// How a transcript is made smaller: what was said stays longest.
namespace vale {

/// About what an item takes in the thread's file.
std::size_t weightOf(const TranscriptItem& item);
std::size_t weightOf(const ToolCall& call);

/// Brings items that are too many or too heavy well below the bounds. The outputs and diffs of the oldest
/// finished calls go first; then the oldest finished calls, reasoning, messages and notices, and in the end
/// whatever is oldest, all but the last message. A notice at the front ("12 earlier steps were left out.")
/// counts what is gone.
void shrinkTranscript(std::vector<TranscriptItem>& items, std::size_t maximumBytes, std::size_t maximumItems);

/// Takes the outputs, the diffs and the reasoning out of a finished turn. True when there were any.
bool foldTranscript(std::vector<TranscriptItem>& items);

}  // namespace vale
