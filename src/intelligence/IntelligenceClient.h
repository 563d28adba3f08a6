#pragma once

#include "common/Cancellation.h"
#include "common/Error.h"
#include "common/Queues.h"
#include "intelligence/IntelligenceOperation.h"

#include <filesystem>
#include <optional>
#include <string>
#include <utility>

namespace vale {

/// An answer that is not the JSON object asked for; `response` is the beginning of what came instead.
struct UnreadableAnswer : Error {
  UnreadableAnswer(std::string message, std::string response)
      : Error(std::move(message)), response(std::move(response)) {}

  std::string response;
};

/// Asks one question and gives one JSON object: what features hold of the intelligence service, so that tests
/// can put a scripted client in its place. Main thread only.
class IntelligenceClient {
 public:
  virtual ~IntelligenceClient() = default;

  /// None when a question can be asked now; else the sentence that says what the user has to do first. Looks
  /// for the agent CLIs when nobody has yet, which starts processes: not to be asked while the feature is
  /// off.
  virtual Task<std::optional<std::string>> unavailability() = 0;

  /// Asks for an answer from the prompt alone, without tools, and gives the text of its JSON object. Throws
  /// UnreadableAnswer, or another Error with the sentence for the user.
  virtual Task<std::string> classify(std::string prompt, std::string schema, IntelligenceOperation operation,
                                     Cancellation cancellation = {}) = 0;

  /// The same from read-only work in a folder.
  virtual Task<std::string> explore(std::string prompt, std::string schema, std::filesystem::path directory,
                                    IntelligenceOperation operation, Cancellation cancellation = {}) = 0;

  /// A `classify` with this schema is likely to come soon. Starts nothing while no CLI is known.
  virtual void prewarm(const std::string& schema, IntelligenceOperation operation) = 0;
};

}  // namespace vale
