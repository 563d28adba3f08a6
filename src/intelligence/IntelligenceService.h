#pragma once

#include "agents/AgentRuntime.h"
#include "common/Published.h"
#include "common/Surroundings.h"
#include "intelligence/IntelligenceCall.h"
#include "intelligence/IntelligenceClient.h"
#include "intelligence/IntelligenceSettings.h"
#include "intelligence/ModelCatalogReader.h"

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vale {

/// The one door through which the browser's own intelligence asks a local agent CLI a question and gets one
/// JSON object back. Chooses provider, model and effort, and remembers the last calls for as long as the
/// program runs. Main thread only. Calls that are under way when the service goes end with an error.
class IntelligenceService : public IntelligenceClient {
 public:
  static constexpr Seconds classifyTimeout{120};
  static constexpr Seconds exploreTimeout{300};
  /// So many calls are remembered.
  static constexpr std::size_t keptCalls = 20;
  /// Of an answer that was no JSON object at most so many bytes are kept, whole characters.
  static constexpr std::size_t longestUnreadableResponse = 64 * 1024;
  /// Of the prompt and the answer of each remembered call so many bytes are kept, whole characters.
  static constexpr std::size_t longestKeptText = 64 * 1024;

  /// All of them must outlive the service.
  struct Parts {
    AgentRuntime& runtime;
    IntelligenceSettings& settings;
    ModelCatalogReader& catalog;
    /// The library folder, in which `explore` works unless told otherwise.
    std::filesystem::path workingDirectory;
    Surroundings surroundings;
  };

  explicit IntelligenceService(Parts parts);
  ~IntelligenceService() override;
  IntelligenceService(const IntelligenceService&) = delete;
  IntelligenceService& operator=(const IntelligenceService&) = delete;

  // Asking.

  /// One question. What is left out is chosen by the service.
  struct Question {
    IntelligenceCall::Kind kind = IntelligenceCall::Kind::classify;
    IntelligenceOperation operation = IntelligenceOperation::general;
    std::string prompt;
    std::string schema;                                   ///< a JSON Schema text
    std::optional<std::filesystem::path> directory = {};  ///< of an `explore`
    std::optional<AgentProvider> provider = {};
    std::optional<Seconds> timeout = {};
    Cancellation cancellation = {};
  };
  struct Answer {
    std::string text;  ///< a JSON object
    IntelligenceCall call;
  };
  /// Throws UnreadableAnswer, or another Error with the sentence for the user. Every call that was made, and
  /// every one that failed for want of something, is in `recentCalls` before this ends; none is while there
  /// is no provider at all.
  Task<Answer> ask(Question question);

  Task<std::optional<std::string>> unavailability() override;
  Task<std::string> classify(std::string prompt, std::string schema, IntelligenceOperation operation,
                             Cancellation cancellation = {}) override;
  Task<std::string> explore(std::string prompt, std::string schema, std::filesystem::path directory,
                            IntelligenceOperation operation, Cancellation cancellation = {}) override;
  /// Starts a process only with Claude Code, signed in. It ends unused after ClaudeClassifierPool's time.
  void prewarm(const std::string& schema, IntelligenceOperation operation) override;

  /// The JSON object that the text is, bare or in a code fence. Throws Error when it is none.
  static std::string jsonObjectText(std::string_view text);

  // What is chosen.

  /// The provider that a call uses now. Follows installations, sign-ins and the user's choice; none while no
  /// CLI is known.
  const Published<std::optional<AgentProvider>>& provider() const;
  /// What a call asks the provider for now.
  IntelligenceChoice choice(IntelligenceOperation operation, AgentProvider provider) const;
  /// A choice that wins over the usual one; none takes it away again. In memory only.
  void setOverride(IntelligenceOperation operation, std::optional<IntelligenceChoice> choice);
  const std::map<IntelligenceOperation, IntelligenceChoice>& overrides() const;
  const std::filesystem::path& workingDirectory() const;

  // What was asked.

  /// How many calls are under way.
  const Published<int>& activeCalls() const;
  /// The last calls, newest first.
  const std::vector<IntelligenceCall>& recentCalls() const;
  sigc::signal<void()>& recentCallsChanged();

 private:
  struct Self;
  std::shared_ptr<Self> self_;
};

}  // namespace vale
