#include "app/ConsoleIntelligence.h"

#include "agents/AgentEnvironment.h"
#include "common/Log.h"
#include "history/ValeLibrary.h"

namespace vale {

ConsoleIntelligence::ConsoleIntelligence(AgentRuntime& agents, const std::filesystem::path& home,
                                         const std::filesystem::path& supportFolder,
                                         const EnvironmentVariables& environment, Surroundings surroundings)
    : preferences_(supportFolder / "preferences.json", surroundings.main, surroundings.workers,
                   surroundings.clock),
      settings_(preferences_), catalog_(AgentEnvironment::codexHome(environment, home), surroundings),
      service_({.runtime = agents,
                .settings = settings_,
                .catalog = catalog_,
                .workingDirectory = ValeLibraryPaths::library(supportFolder),
                .surroundings = surroundings}) {
  if (preferences_.readError()) log::warning("{}", *preferences_.readError());
}

}  // namespace vale
