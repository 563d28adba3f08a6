#pragma once

#include "agents/AgentRuntime.h"
#include "common/Preferences.h"
#include "common/Surroundings.h"
#include "intelligence/IntelligenceService.h"
#include "intelligence/ModelInputFilter.h"

#include <filesystem>

namespace vale {

/// The intelligence service without a window, with all that it is made from: the preferences and the library
/// of a support folder, and Codex's files where `environment` says they are.
class ConsoleIntelligence {
 public:
  ConsoleIntelligence(AgentRuntime& agents, const std::filesystem::path& home,
                      const std::filesystem::path& supportFolder, const EnvironmentVariables& environment,
                      Surroundings surroundings);

  IntelligenceService& service() { return service_; }
  ModelInputFilter& inputFilter() { return inputFilter_; }
  Preferences& preferences() { return preferences_; }

 private:
  Preferences preferences_;
  IntelligenceSettings settings_;
  ModelCatalogReader catalog_;
  IntelligenceService service_;
  ModelInputFilter inputFilter_;
};

}  // namespace vale
