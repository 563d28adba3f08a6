#include "agents/AgentUsage.h"

#include "agents/ToolDescriptions.h"
#include "common/Json.h"

namespace vale {

PermissionDenial PermissionDenial::claude(const json::object& element, const std::filesystem::path& project) {
  static const json::object nothing;
  const auto tool = stringMember(element, "tool_name").value_or("");
  const auto* input = objectMember(element, "tool_input");
  auto description = ToolDescriptions::claude(tool, input ? *input : nothing, project);

  PermissionDenial denial{.toolName = std::string(tool),
                          .toolUseID = {},
                          .summary = std::move(description.summary),
                          .target = {}};
  if (const auto id = stringMember(element, "tool_use_id")) denial.toolUseID = *id;
  if (!description.target.empty()) denial.target = std::move(description.target);
  return denial;
}

}  // namespace vale
