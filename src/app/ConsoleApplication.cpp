#include "app/ConsoleApplication.h"

#include "agents/AgentEnvironment.h"
#include "common/SupportFolder.h"

#include <csignal>

namespace vale {

ConsoleApplication::ConsoleApplication(std::filesystem::path supportFolder,
                                       CompletionArguments completionArguments)
    : main_(context_.get_executor()), clock_(main_, workers_), signals_(context_),
      places_({.home = homeFolder(),
               .supportFolder = std::move(supportFolder),
               .environment = AgentEnvironment::inherited(),
               .completionArguments = std::move(completionArguments)}),
      agents_(places_, main_, workers_, clock_) {}

ConsoleApplication::CompletionArguments
ConsoleApplication::completionArguments(std::optional<AgentProvider> only,
                                        const std::vector<std::string>& words) {
  if (only) return {{*only, words}};
  return {{AgentProvider::codex, words}, {AgentProvider::claude, words}};
}

ConsoleApplication::~ConsoleApplication() {
  agents_.cancelAll();
  workers_.stop();
}

ConsoleIntelligence& ConsoleApplication::intelligence() {
  if (!intelligence_) {
    intelligence_ = std::make_unique<ConsoleIntelligence>(agents_, places_.home, places_.supportFolder,
                                                          places_.environment, surroundings());
  }
  return *intelligence_;
}

void ConsoleApplication::onInterrupt(std::function<void()> handler) {
  signals_.add(SIGINT);
  signals_.add(SIGTERM);
  signals_.async_wait([handler = std::move(handler)](const boost::system::error_code& error, int) {
    if (!error) handler();
  });
}

}  // namespace vale
