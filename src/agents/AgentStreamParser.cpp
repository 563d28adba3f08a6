#include "agents/AgentStreamParser.h"

#include "common/Json.h"

#include <utility>

namespace vale {
namespace {

std::variant<ClaudeStream, CodexStream> streamOf(AgentProvider provider, std::filesystem::path project,
                                                 AgentUsage earlierUsage) {
  if (provider == AgentProvider::claude) return ClaudeStream(std::move(project));
  return CodexStream(std::move(project), std::move(earlierUsage));
}

}  // namespace

AgentStreamParser::AgentStreamParser(AgentProvider provider, std::filesystem::path project,
                                     AgentUsage earlierUsage)
    // Its buffers need no zeros.
    : reader_(std::make_unique_for_overwrite<JsonLineReader>()),
      stream_(streamOf(provider, std::move(project), std::move(earlierUsage))) {}

AgentStreamUpdate AgentStreamParser::parse(std::string_view line) {
  AgentStreamUpdate update;
  const auto* object = reader_->read(line);
  const auto type = object ? stringMember(*object, "type") : std::nullopt;
  if (type) std::visit([&](auto& stream) { stream.read(*object, *type, update); }, stream_);
  return update;
}

AgentStreamUpdate AgentStreamParser::finish() {
  AgentStreamUpdate update;
  std::visit([&](auto& stream) { stream.finish(update); }, stream_);
  return update;
}

}  // namespace vale
