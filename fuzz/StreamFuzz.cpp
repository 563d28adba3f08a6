#include "agents/AgentStreamParser.h"
#include "common/Text.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

namespace {

void check(bool holds) {
  if (!holds) std::abort();
}

/// What a view relies on, whatever the CLI printed: text is UTF-8, summaries are one short line, previews are
/// bounded.
void checkUpdate(const vale::AgentStreamUpdate& update) {
  for (const auto& line : update.activity) check(vale::isValidUtf8(line));
  check(vale::isValidUtf8(update.textDelta) && vale::isValidUtf8(update.thinkingDelta));
  check(vale::isValidUtf8(update.finalMessage.value_or("")) &&
        vale::isValidUtf8(update.failure.value_or("")));
  for (const auto& event : update.events) {
    const auto* call = std::get_if<vale::ToolCall>(&event);
    if (!call) continue;
    check(vale::isValidUtf8(call->summary) && vale::isValidUtf8(call->inputPreview));
    check(vale::singleLine(call->summary) == call->summary && vale::characterCount(call->summary) < 1000);
    check(vale::characterCount(call->inputPreview) <= 4000);
    check(vale::isValidUtf8(call->resultPreview.value_or("")));
    check(vale::characterCount(call->resultPreview.value_or("")) <= 4000);
    for (const auto& patch : call->patches) check(patch.diff.value_or("").size() < 70'000);
  }
}

}  // namespace

/// The first byte chooses the CLI, the rest is its output.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  vale::AgentStreamParser parser(data[0] & 1 ? vale::AgentProvider::claude : vale::AgentProvider::codex,
                                 "/project");
  std::string_view output(reinterpret_cast<const char*>(data) + 1, size - 1);
  while (!output.empty()) {
    const auto end = output.find('\n');
    checkUpdate(parser.parse(output.substr(0, end)));
    output.remove_prefix(end == std::string_view::npos ? output.size() : end + 1);
  }
  checkUpdate(parser.finish());
  return 0;
}
