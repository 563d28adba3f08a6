#pragma once

#include "agents/AgentRequest.h"
#include "agents/AgentRunStatus.h"
#include "agents/AgentStreamUpdate.h"
#include "agents/ChildProcess.h"
#include "common/Clock.h"
#include "common/Uuid.h"

#include <sigc++/signal.h>

#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

namespace vale {

/// One launched request and all that became of it so far. Lives on the main thread, made and changed by
/// `AgentRuntime`; views read it and follow `published`. Nothing of it is kept on disk.
class AgentRun : public std::enable_shared_from_this<AgentRun> {
 public:
  /// How long events wait for others, so that a view is redrawn a few times a second and not for every word.
  static constexpr Seconds flushDelay{0.06};

  AgentRun(AgentRequest request, Clock& clock);

  const Uuid id = Uuid::random();
  const AgentRequest request;
  const Date startedAt;

  AgentRunStatus status() const { return status_; }
  /// A classify or explore run.
  bool isAnalysis() const { return request.profile != AgentProfile::task; }

  /// The CLI's own session or thread id and the model that answers, as its stream names them.
  const std::optional<std::string>& sessionID() const { return sessionID_; }
  const std::optional<std::string>& model() const { return model_; }
  const std::optional<AgentUsage>& usage() const { return usage_; }
  std::optional<int> processID() const { return processID_; }
  std::optional<int> exitCode() const { return exitCode_; }

  /// Of activity and events at least the last so many are kept, and at most twice as many: a run may go on
  /// for hours. The whole is whoever follows `published`'s to keep.
  static constexpr std::size_t keptEvents = 4'000;

  /// Short lines of what happens, for a person.
  const std::vector<std::string>& activity() const { return activity_; }
  /// What was said lately; the pieces of one text are joined.
  const std::vector<AgentStreamEvent>& events() const { return events_; }

  /// A message is being streamed; what of it is not yet part of the answer or a finished thought.
  bool streaming() const { return streaming_; }
  const std::string& streamingText() const { return streamingText_; }
  const std::string& streamingThinking() const { return streamingThinking_; }
  /// The answer; for a structured one the JSON text.
  const std::string& finalMessage() const { return finalMessage_; }
  /// The CLI itself called the turn a success.
  bool receivedSuccess() const { return receivedSuccess_; }
  /// Why the run failed, in a sentence; empty otherwise.
  const std::string& message() const { return message_; }

  /// Fired with what is new, at most every `flushDelay`, and once more when the run ends. The activity may
  /// have grown too.
  sigc::signal<void(const std::vector<AgentStreamEvent>&)>& published() { return published_; }

 private:
  friend class AgentRuntime;

  void apply(AgentStreamUpdate update);
  void add(AgentStreamEvent event);
  void addActivity(std::string line);
  void scheduleFlush();
  void flush();
  void end(AgentRunStatus status, std::string message);

  Clock& clock_;
  AgentRunStatus status_ = AgentRunStatus::running;
  std::optional<std::string> sessionID_;
  std::optional<std::string> model_;
  std::optional<AgentUsage> usage_;
  std::optional<int> processID_;
  std::optional<int> exitCode_;
  std::vector<std::string> activity_;
  std::vector<AgentStreamEvent> events_;
  std::unordered_map<std::string, Date> callsBegan_;  ///< of those that still run
  bool streaming_ = false;
  std::string streamingText_;
  std::string streamingThinking_;
  std::string finalMessage_;
  bool receivedSuccess_ = false;
  std::string message_;

  /// Why the turn failed, as the stream told it, and why the request could not be handed over.
  std::optional<std::string> streamFailure_;
  bool inputSettled_ = false;
  std::optional<std::string> inputFailure_;
  /// The end of a process whose input is not settled yet.
  std::optional<ChildProcess::Exit> exit_;
  std::shared_ptr<ChildProcess> process_;
  std::vector<std::filesystem::path> temporaryFiles_;
  /// The input stays open for the length of the turn; its result closes it.
  bool closesInputOnResult_ = false;
  bool finished_ = false;
  /// The time a process gets to end once nothing more can come of it.
  Timer lingering_;

  std::vector<AgentStreamEvent> unpublished_;
  Timer flushTimer_;
  sigc::signal<void(const std::vector<AgentStreamEvent>&)> published_;
};

}  // namespace vale
