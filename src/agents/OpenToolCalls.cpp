#include "agents/OpenToolCalls.h"

#include "agents/PreviewText.h"

#include <utility>

namespace vale {

ToolCall& OpenToolCalls::describe(const std::string& id, std::string_view name,
                                  ToolDescriptions::Description description) {
  auto& call = calls_[id];
  call.id = id;
  call.kind = description.kind;
  call.name = previewLine(name, 200);
  call.summary = std::move(description.summary);
  call.inputPreview = std::move(description.inputPreview);
  call.files = std::move(description.files);
  return call;
}

ToolCall* OpenToolCalls::find(std::string_view id) {
  const auto found = calls_.find(id);
  return found == calls_.end() ? nullptr : &found->second;
}

void OpenToolCalls::tell(std::string_view id, AgentStreamUpdate& update) {
  const auto found = calls_.find(id);
  if (found == calls_.end()) return;
  if (found->second.status == ToolStatus::running) {
    update.events.emplace_back(found->second);
  } else {
    update.events.emplace_back(std::move(found->second));
    calls_.erase(found);
  }
}

void OpenToolCalls::closeAll(ToolStatus status, AgentStreamUpdate& update) {
  for (auto& [id, call] : calls_) {
    if (call.status == ToolStatus::running) {
      call.status = status;
      update.events.emplace_back(std::move(call));
    }
  }
  calls_.clear();
}

}  // namespace vale
