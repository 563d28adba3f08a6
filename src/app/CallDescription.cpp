#include "app/CallDescription.h"

#include "common/Text.h"
#include "intelligence/IntelligenceService.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <string_view>
#include <vector>

namespace vale {

namespace {

std::string_view purpose(IntelligenceOperation operation) {
  using enum IntelligenceOperation;
  switch (operation) {
  case routing:
    return "Routing a request";
  case deepRouting:
    return "Routing a request, deep search";
  case tabGrouping:
    return "Grouping tabs";
  case tabAssignment:
    return "Placing tabs";
  case projectAreas:
    return "Project areas";
  case timeline:
    return "Timeline of a day";
  case historySearch:
    return "Searching the history";
  case sinceSummary:
    return "What has changed";
  case compareTable:
    return "Comparing pages";
  case general:
    break;
  }
  return "A question";
}

std::string size(std::size_t bytes) {
  return bytes < 1'000 ? fmt::format("{} B", bytes)
                       : fmt::format("{:.1f} kB", static_cast<double>(bytes) / 1'000);
}

}  // namespace

CallDescription describe(const IntelligenceCall& call) {
  auto title = fmt::format("{} — {}", purpose(call.operation), productName(call.provider));
  if (call.model) title += ", " + singleLine(*call.model);
  if (call.effort) title += fmt::format(" ({})", singleLine(*call.effort));
  std::vector<std::string> facts{fmt::format("{:.1f} s", call.duration), size(call.promptBytes) + " sent"};
  if (const auto& usage = call.usage) {
    facts.push_back(fmt::format("{} tokens in, {} out", usage->inputTokens, usage->outputTokens));
    if (usage->costUSD) facts.push_back(fmt::format("${:.4f}", *usage->costUSD));
  }
  if (call.error) facts.emplace_back("failed");
  return {.title = std::move(title), .facts = fmt::format("{}", fmt::join(facts, " · "))};
}

std::vector<CallPart> partsOf(const IntelligenceCall& call) {
  std::vector<CallPart> parts;
  if (call.error) parts.push_back({"Why it failed", *call.error});
  const auto sent = call.prompt.size() < call.promptBytes
                        ? fmt::format("What was sent, the first {}", size(call.prompt.size()))
                        : std::string("What was sent");
  parts.push_back({sent, call.prompt});
  if (!call.answer.empty()) {
    const bool cut = call.answer.size() + 4 > IntelligenceService::longestKeptText;
    parts.push_back({cut ? "What was answered, its beginning" : "What was answered", call.answer});
  }
  return parts;
}

}  // namespace vale
