#pragma once

#include "app/ConsoleIntelligence.h"
#include "common/Surroundings.h"

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/signal_set.hpp>

#include <exception>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace vale {

/// Vale's long-lived objects on a main loop of their own, without a window. Lives on the thread that made it;
/// its end ends every child.
class ConsoleApplication {
 public:
  /// Put on the command line of every question to a CLI, as they are.
  using CompletionArguments = std::map<AgentProvider, std::vector<std::string>>;

  /// The user's own places: the home folder and the process's environment, with this support folder.
  explicit ConsoleApplication(std::filesystem::path supportFolder,
                              CompletionArguments completionArguments = {});
  ~ConsoleApplication();
  ConsoleApplication(const ConsoleApplication&) = delete;
  ConsoleApplication& operator=(const ConsoleApplication&) = delete;

  /// The same words for one provider, or for every one.
  static CompletionArguments completionArguments(std::optional<AgentProvider> only,
                                                 const std::vector<std::string>& words);

  AgentRuntime& agents() { return agents_; }
  /// Made when it is first asked for, which reads the preferences.
  ConsoleIntelligence& intelligence();
  Surroundings surroundings() { return {main_, workers_, clock_}; }

  /// Turns the main loop until the task has ended; gives its value, or throws what it threw. None after
  /// `abandon`.
  template <typename T> std::optional<T> run(Task<T> task);

  /// Makes `run` return at once, its task undone.
  void abandon() { abandoned_ = true; }

  /// Calls `handler` on the main thread the first time SIGINT or SIGTERM comes; later ones change nothing.
  void onInterrupt(std::function<void()> handler);

 private:
  WorkerPool workers_;
  asio::io_context context_;
  MainQueue main_;
  SystemClock clock_;
  asio::signal_set signals_;
  const AgentRuntime::Places places_;
  AgentRuntime agents_;
  std::unique_ptr<ConsoleIntelligence> intelligence_;
  bool abandoned_ = false;
};

template <typename T> std::optional<T> ConsoleApplication::run(Task<T> task) {
  // Shared: an abandoned task may end when nobody is here any more.
  struct Outcome {
    std::optional<T> value;
    std::exception_ptr thrown;
    bool ended = false;
  };
  const auto outcome = std::make_shared<Outcome>();
  asio::co_spawn(context_, std::move(task), [outcome](std::exception_ptr error, T value) {
    outcome->thrown = error;
    if (!error) outcome->value.emplace(std::move(value));
    outcome->ended = true;
  });
  const auto guard = asio::make_work_guard(context_);
  context_.restart();
  while (!outcome->ended && !abandoned_) context_.run_one();
  if (outcome->thrown) std::rethrow_exception(outcome->thrown);
  return std::move(outcome->value);
}

}  // namespace vale
