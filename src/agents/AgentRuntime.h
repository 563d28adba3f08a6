#pragma once

#include "agents/AgentCommandLine.h"
#include "agents/AgentProviderStatus.h"
#include "agents/AgentRun.h"
#include "agents/ClaudeClassifierPool.h"
#include "common/Cancellation.h"
#include "common/Clock.h"
#include "common/Queues.h"

#include <sigc++/signal.h>

#include <array>
#include <deque>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace vale {

/// Owns every running and recently finished run of the agent CLIs, and knows which of them are installed and
/// signed in. Main thread only; files, probes and children's output are handled on the worker pool. Its end
/// ends its children.
class AgentRuntime {
 public:
  /// Where this user's things are, and how the CLIs are set up.
  /// How long what is asked before the first run may take.
  struct ProbeLimits {
    Seconds loginPath{5.0};
    Seconds version{10.0};
    Seconds signIn{15.0};
  };
  struct Places {
    std::filesystem::path home;
    std::filesystem::path supportFolder;
    /// What the CLIs' environment is made from.
    EnvironmentVariables environment;
    /// Put on the command line of every completion, as they are: for those whose model service is not the
    /// usual one.
    std::map<AgentProvider, std::vector<std::string>> completionArguments{};
    ProbeLimits limits{};
  };
  /// A one-shot structured answer.
  struct Completion {
    /// The JSON text as the CLI gave it.
    std::string text;
    AgentProvider provider = AgentProvider::codex;
    std::optional<std::string> model;
    std::optional<AgentUsage> usage;
    Seconds duration{};
  };
  /// Why there is no answer, of a run that was started.
  struct CompletionError : AgentRuntimeError {
    CompletionError(std::string message, std::optional<AgentUsage> usage)
        : AgentRuntimeError(std::move(message)), usage(std::move(usage)) {}

    /// As far as the CLI told.
    std::optional<AgentUsage> usage;
  };

  static constexpr Seconds terminationGrace{5.0};
  static constexpr Seconds completionTimeout{120.0};
  /// Of the finished runs the newest so many are kept.
  static constexpr std::size_t keptRuns = 80;
  static constexpr std::size_t keptAnalysisRuns = 8;

  AgentRuntime(Places places, MainQueue main, WorkerPool& workers, Clock& clock);
  ~AgentRuntime();
  AgentRuntime(const AgentRuntime&) = delete;
  AgentRuntime& operator=(const AgentRuntime&) = delete;

  // The providers.

  /// Looks for the CLIs again, or for one of them only, and asks them for the sign-in. The login shell is
  /// asked for its PATH the first time only.
  Task<> refresh(std::optional<AgentProvider> only = {});
  /// Asks every installed CLI, or one of them only, for the sign-in, all at once.
  Task<> refreshAuthentication(std::optional<AgentProvider> only = {});
  const AgentProviderStatus& status(AgentProvider provider) const;
  /// False until the first search for the CLI has ended.
  bool hasDiscovered(AgentProvider provider) const { return discovered_[static_cast<std::size_t>(provider)]; }
  sigc::signal<void(AgentProvider)>& statusChanged() { return statusChanged_; }

  // Runs.

  /// Starts a run; it shows in `runs()` at once, its process follows. Throws AgentRuntimeError when the
  /// request cannot be taken; what goes wrong later is the run's own message.
  std::shared_ptr<AgentRun> start(AgentRequest request);
  /// Throws AgentRuntimeError with the sentence for the user when the request cannot be run.
  void validate(const AgentRequest& request) const;
  /// Ends a running run: `error`, when given, is why. A finished run is not changed.
  void cancel(const Uuid& id, const std::optional<std::string>& error = {});
  void cancelAll();
  /// The running and the kept finished runs, oldest first.
  const std::vector<std::shared_ptr<AgentRun>>& runs() const { return runs_; }
  sigc::signal<void()>& runsChanged() { return runsChanged_; }

  /// Asks one question in the `classify` or `explore` profile and gives the answer's JSON text. Without a
  /// working directory it runs in the folder "AgentAnalysis" of the support folder. A cancellation ends it at
  /// once. Throws AgentRuntimeError; a CompletionError once a run was started.
  Task<Completion> completion(std::string prompt, AgentProvider provider, AgentProfile profile,
                              std::optional<std::filesystem::path> workingDirectory, std::string outputSchema,
                              Seconds timeout = completionTimeout, IntelligenceChoice choice = {},
                              Cancellation cancellation = {});
  /// Starts a Claude Code process now that the next classification of this shape will use. Does nothing
  /// without Claude Code.
  void prewarmClassifier(const std::string& outputSchema,
                         std::optional<std::filesystem::path> workingDirectory = {},
                         const IntelligenceChoice& choice = {});
  const ClaudeClassifierPool& classifierPool() const { return classifiers_; }

  /// What the CLI is told beside the prompt: where it runs, and that page text is data.
  static std::string hostInstructions(const AgentRequest& request, bool pageConversation);
  /// The whole argument vector. Files that it makes are added to `temporaryFiles`. Throws AgentRuntimeError.
  static std::vector<std::string> arguments(const AgentRequest& request,
                                            const std::filesystem::path& executable,
                                            const std::filesystem::path& home,
                                            std::vector<std::filesystem::path>& temporaryFiles);

 private:
  struct Prepared;

  Task<> launch(std::shared_ptr<AgentRun> run);
  void follow(const std::shared_ptr<AgentRun>& run, AgentUsage earlierUsage, std::filesystem::path project);
  Task<> prewarm(ClaudeClassifierPool::Shape shape);
  void applyUpdates(const std::shared_ptr<AgentRun>& run, std::vector<AgentStreamUpdate> updates);
  void inputSettled(const std::shared_ptr<AgentRun>& run, std::optional<int> error);
  void inputFailed(const std::shared_ptr<AgentRun>& run, int error);
  void finish(const std::shared_ptr<AgentRun>& run, const ChildProcess::Exit& exit);
  void conclude(const std::shared_ptr<AgentRun>& run);
  void announceEnd(const std::shared_ptr<AgentRun>& run);
  void endLingering(const std::shared_ptr<AgentRun>& run, Seconds patience);
  void trimCompletedRuns();
  EnvironmentVariables childEnvironment(AgentProvider provider,
                                        const std::filesystem::path& executable) const;
  std::filesystem::path analysisFolder() const { return places_.supportFolder / "AgentAnalysis"; }
  AgentRequest analysisRequest(std::string prompt, AgentProvider provider, AgentProfile profile,
                               std::filesystem::path workingDirectory, std::string outputSchema,
                               const IntelligenceChoice& choice) const;
  AgentProviderStatus& mutableStatus(AgentProvider provider);

  const Places places_;
  MainQueue main_;
  WorkerPool& workers_;
  Clock& clock_;
  std::array<AgentProviderStatus, 2> statuses_;
  std::array<bool, 2> discovered_{};
  bool loginPathAsked_ = false;
  std::optional<std::string> loginPath_;
  std::vector<std::shared_ptr<AgentRun>> runs_;
  ClaudeClassifierPool classifiers_;
  sigc::signal<void(AgentProvider)> statusChanged_;
  sigc::signal<void()> runsChanged_;
  /// Outlived by handlers that are still queued: they look here first.
  std::shared_ptr<AgentRuntime*> self_;
};

}  // namespace vale
