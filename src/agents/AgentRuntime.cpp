#include "agents/AgentRuntime.h"

#include "agents/AgentEnvironment.h"
#include "agents/AgentStreamParser.h"
#include "agents/CodexThreadUsage.h"
#include "common/Log.h"
#include "common/OneShot.h"
#include "common/PrivateFiles.h"
#include "common/Text.h"

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <fmt/format.h>

#include <cerrno>

namespace vale {
namespace {

/// How long a process may stay once nothing more can come of it: its result is in, or it does not read its
/// request.
constexpr Seconds lingeringLimit{10.0};
/// Of a CLI's last words on standard error a failure shows so many characters.
constexpr std::size_t diagnosticLength = 2000;

std::string name(AgentProvider provider) { return std::string(productName(provider)); }

/// A line of the CLI's own log ("2026-11-22T20:30:51.234311Z ERROR codex_core::…"), as Codex mixes them in.
bool isLogLine(std::string_view line) {
  constexpr std::string_view form = "dddd-dd-ddTdd:dd:dd";
  if (line.size() < form.size()) return false;
  return std::ranges::equal(line.substr(0, form.size()), form, [](char character, char expected) {
    return expected == 'd' ? character >= '0' && character <= '9' : character == expected;
  });
}

/// A failure's sentence and, below it, what the CLI said on standard error: its own words, or its log where
/// it has no others.
std::string withDiagnostic(std::string sentence, const std::string& diagnostic) {
  std::string said;
  for (std::size_t begin = 0; begin < diagnostic.size();) {
    const std::size_t end = std::min(diagnostic.find('\n', begin), diagnostic.size());
    const auto line = trimmed(std::string_view(diagnostic).substr(begin, end - begin));
    if (!line.empty() && !isLogLine(line)) said.append("\n").append(line);
    begin = end + 1;
  }
  if (said.empty() && !diagnostic.empty()) said = "\n" + diagnostic;
  // The last words tell most.
  std::string_view shown = said;
  if (const auto count = characterCount(shown); count > diagnosticLength) {
    shown.remove_prefix(firstCharacters(shown, count - diagnosticLength).size());
    sentence += '\n';
  }
  return sentence.append(shown);
}

}  // namespace

/// What the workers make of a request before its process is started.
struct AgentRuntime::Prepared {
  std::vector<std::string> arguments;
  std::string input;
  std::vector<std::filesystem::path> temporaryFiles;
  AgentUsage earlierUsage;
  /// The working directory as the CLI will name it.
  std::filesystem::path project;
  std::optional<std::string> failure;

  static Task<Prepared> make(AgentRequest request, std::filesystem::path executable,
                             std::filesystem::path home, EnvironmentVariables environment);
  static Task<> remove(std::vector<std::filesystem::path> files);
  static Task<std::optional<std::string>> makeFolder(std::filesystem::path folder);
};

Task<AgentRuntime::Prepared> AgentRuntime::Prepared::make(AgentRequest request,
                                                          std::filesystem::path executable,
                                                          std::filesystem::path home,
                                                          EnvironmentVariables environment) {
  Prepared prepared;
  std::error_code unresolved;
  prepared.project = std::filesystem::canonical(request.workingDirectory, unresolved);
  if (unresolved) prepared.project = request.workingDirectory;
  try {
    // Codex itself would go on without an image that it cannot read, and answer something.
    for (const auto& image : request.images) {
      if (!std::filesystem::is_regular_file(image, unresolved)) {
        throw AgentRuntimeError("The image “" + singleLine(image.native()) +
                                "” is not there. Attach it again.");
      }
    }
    prepared.input = AgentCommandLine::standardInput(request);
    prepared.arguments = AgentRuntime::arguments(request, executable, home, prepared.temporaryFiles);
  } catch (const Error& error) {
    prepared.failure = error.message;
  }
  if (request.provider == AgentProvider::codex && request.sessionID) {
    prepared.earlierUsage =
        earlierCodexUsage(AgentEnvironment::codexHome(environment, home), *request.sessionID)
            .value_or(AgentUsage{});
  }
  co_return prepared;
}

Task<> AgentRuntime::Prepared::remove(std::vector<std::filesystem::path> files) {
  for (const auto& file : files) {
    std::error_code ignored;
    std::filesystem::remove(file, ignored);
  }
  co_return;
}

Task<std::optional<std::string>> AgentRuntime::Prepared::makeFolder(std::filesystem::path folder) {
  std::optional<std::string> failure;
  try {
    PrivateFiles::makeFolder(folder);
  } catch (const Error& error) {
    failure = error.message;
  }
  co_return failure;
}

AgentRuntime::AgentRuntime(Places places, MainQueue main, WorkerPool& workers, Clock& clock)
    : places_(std::move(places)), main_(std::move(main)), workers_(workers), clock_(clock),
      classifiers_(main_, workers, clock), self_(std::make_shared<AgentRuntime*>(this)) {
  statuses_[static_cast<std::size_t>(AgentProvider::codex)].provider = AgentProvider::codex;
  statuses_[static_cast<std::size_t>(AgentProvider::claude)].provider = AgentProvider::claude;
}

AgentRuntime::~AgentRuntime() {
  for (const auto& run : runs_) {
    if (run->process_) run->process_->terminate(terminationGrace);
    std::error_code ignored;
    for (const auto& file : run->temporaryFiles_) std::filesystem::remove(file, ignored);
  }
}

std::vector<std::string> AgentRuntime::arguments(const AgentRequest& request,
                                                 const std::filesystem::path& executable,
                                                 const std::filesystem::path& home,
                                                 std::vector<std::filesystem::path>& temporaryFiles) {
  const bool pageConversation = request.pageConversation.value_or(false);
  const std::string instructions = hostInstructions(request, pageConversation);
  return request.provider == AgentProvider::claude
             ? AgentCommandLine::claudeArguments(request, instructions, pageConversation)
             : AgentCommandLine::codexArguments(request, instructions, pageConversation, executable, home,
                                                temporaryFiles);
}

void AgentRuntime::validate(const AgentRequest& request) const {
  const std::string product = name(request.provider);
  if (onlyWhiteSpace(request.prompt)) throw AgentRuntimeError("Enter a prompt first.");
  if (!hasDiscovered(request.provider))
    throw AgentRuntimeError("Vale is still finding " + product + ". Send again in a moment.");
  const auto& installation = status(request.provider).installation;
  if (!installation) throw AgentRuntimeError("Install " + product + " first.");
  std::error_code ignored;
  if (!std::filesystem::is_directory(request.workingDirectory, ignored)) {
    auto folder = request.workingDirectory.lexically_normal();
    if (!folder.has_filename()) folder = folder.parent_path();
    throw AgentRuntimeError(singleLine(folder.filename().native()) +
                            " folder isn’t where it was. Choose another project, or add the folder again.");
  }
  if (!request.sessionID) return;
  // Codex would start a new thread for anything that is not one of its ids.
  if (!Uuid::parse(*request.sessionID)) {
    throw AgentRuntimeError("This session does not have a valid resumable identifier.");
  }
  const auto same = [&](const std::optional<std::string>& session) {
    return session && Uuid::parse(*session) == Uuid::parse(*request.sessionID);
  };
  for (const auto& run : runs_) {
    if (run->status() != AgentRunStatus::running || run->request.provider != request.provider) continue;
    if (same(run->sessionID()) || same(run->request.sessionID)) {
      throw AgentRuntimeError("This session already has a running task in Vale.");
    }
  }
}

std::shared_ptr<AgentRun> AgentRuntime::start(AgentRequest request) {
  validate(request);
  auto run = std::make_shared<AgentRun>(std::move(request), clock_);
  if (run->request.notice) run->add(stream::Notice{*run->request.notice});
  runs_.push_back(run);
  runsChanged_.emit();
  asio::co_spawn(main_.executor(), launch(run), [](std::exception_ptr error) {
    if (error) std::rethrow_exception(error);
  });
  return run;
}

Task<> AgentRuntime::launch(std::shared_ptr<AgentRun> run) {
  const std::weak_ptr<AgentRuntime*> self = self_;
  const auto& request = run->request;
  const std::filesystem::path executable = status(request.provider).installation->url;
  const auto environment = childEnvironment(request.provider, executable);
  Prepared prepared = co_await asio::co_spawn(workers_.executor(),
                                              Prepared::make(request, executable, places_.home, environment),
                                              asio::use_awaitable);
  if (self.expired()) {
    std::error_code ignored;
    for (const auto& file : prepared.temporaryFiles) std::filesystem::remove(file, ignored);
    co_return;
  }
  run->temporaryFiles_ = std::move(prepared.temporaryFiles);
  if (prepared.failure && run->status() == AgentRunStatus::running) {
    run->end(AgentRunStatus::failed, *prepared.failure);
  }
  if (run->status() != AgentRunStatus::running) {
    conclude(run);
    co_return;
  }

  std::optional<ClaudeClassifierPool::Warm> process;
  if (request.provider == AgentProvider::claude && request.profile == AgentProfile::classify) {
    process = classifiers_.take({.executable = executable,
                                 .arguments = prepared.arguments,
                                 .directory = request.workingDirectory,
                                 .environment = environment});
  }
  run->closesInputOnResult_ = process.has_value();
  if (!process) {
    const SerialQueue queue(workers_, "Vale.run");
    try {
      process.emplace(
          ClaudeClassifierPool::Warm{.process = ChildProcess::launch({.executable = executable,
                                                                      .arguments = prepared.arguments,
                                                                      .directory = request.workingDirectory,
                                                                      .environment = environment,
                                                                      .label = "Vale.run.child"},
                                                                     queue.executor(), workers_),
                                     .queue = queue});
    } catch (const ChildProcessError& error) {
      run->end(AgentRunStatus::failed, "Could not launch " + name(request.provider) + ". " + error.message);
      conclude(run);
      co_return;
    }
  }
  run->process_ = process->process;
  run->processID_ = process->process->pid();
  run->addActivity(
      fmt::format("Started {} in {}", productName(request.provider), singleLine(prepared.project.native())));
  follow(run, prepared.earlierUsage, prepared.project);
  run->process_->send(std::move(prepared.input),
                      run->closesInputOnResult_ ? ChildProcess::AfterSending::keepOpen
                                                : ChildProcess::AfterSending::close,
                      [main = main_, self, run](std::optional<int> error) {
                        main.post([self, run, error] {
                          if (const auto runtime = self.lock()) (*runtime)->inputSettled(run, error);
                        });
                      });
  if (request.onLaunch) request.onLaunch(*run->processID_);
}

/// Lines are parsed on the child's own queue; the main thread gets what they change, a batch at a time.
void AgentRuntime::follow(const std::shared_ptr<AgentRun>& run, AgentUsage earlierUsage,
                          std::filesystem::path project) {
  const auto parser =
      std::make_shared<AgentStreamParser>(run->request.provider, std::move(project), earlierUsage);
  const std::weak_ptr<AgentRuntime*> self = self_;
  run->process_->attach(
      [main = main_, self, run, parser](const LineBatch& lines) {
        std::vector<AgentStreamUpdate> updates;
        updates.reserve(lines.size());
        for (std::size_t i = 0; i < lines.size(); ++i) updates.push_back(parser->parse(lines[i]));
        main.post([self, run, updates = std::move(updates)]() mutable {
          if (const auto runtime = self.lock()) (*runtime)->applyUpdates(run, std::move(updates));
        });
      },
      [main = main_, self, run, parser](const ChildProcess::Exit& exit) {
        std::vector<AgentStreamUpdate> last;
        last.push_back(parser->finish());
        main.post([self, run, exit, last = std::move(last)]() mutable {
          const auto runtime = self.lock();
          if (!runtime) return;
          (*runtime)->applyUpdates(run, std::move(last));
          (*runtime)->finish(run, exit);
        });
      });
}

void AgentRuntime::applyUpdates(const std::shared_ptr<AgentRun>& run,
                                std::vector<AgentStreamUpdate> updates) {
  // What a cancelled run still says on its way out is nobody's answer any more.
  if (run->status() == AgentRunStatus::cancelled) return;
  bool decided = false;
  for (auto& update : updates) {
    decided |= update.success.has_value();
    run->apply(std::move(update));
  }
  if (decided) endLingering(run, lingeringLimit);
}

/// Ends the process of a run that is over but for it, once it has had time to end by itself.
void AgentRuntime::endLingering(const std::shared_ptr<AgentRun>& run, Seconds patience) {
  run->lingering_ = clock_.schedule(patience, [weak = std::weak_ptr(run)] {
    const auto run = weak.lock();
    if (run && run->process_) run->process_->terminate(terminationGrace);
  });
}

void AgentRuntime::inputSettled(const std::shared_ptr<AgentRun>& run, std::optional<int> error) {
  run->inputSettled_ = true;
  if (error) inputFailed(run, *error);
  if (const auto exit = std::exchange(run->exit_, std::nullopt)) finish(run, *exit);
}

void AgentRuntime::inputFailed(const std::shared_ptr<AgentRun>& run, int error) {
  if (run->finished_) return;
  const std::string product = name(run->request.provider);
  run->inputFailure_ =
      error == EPIPE ? product + " exited before reading the request."
                     : fmt::format("Could not send the request to {}. {}.", product, systemErrorText(error));
  // Its exit tells the rest; one that goes on without its request has nothing to do.
  if (!run->receivedSuccess_) endLingering(run, lingeringLimit);
}

void AgentRuntime::finish(const std::shared_ptr<AgentRun>& run, const ChildProcess::Exit& exit) {
  if (!run->inputSettled_) {
    // A child may be gone before the first write to it; what became of the request is part of its end.
    run->exit_ = exit;
    return;
  }
  run->exitCode_ = exit.status;
  if (run->status() == AgentRunStatus::running) {
    const std::string product = name(run->request.provider);
    const bool lingered = exit.signal && run->receivedSuccess_ && !run->lingering_.pending();
    if (run->streamFailure_) {
      run->end(AgentRunStatus::failed, *run->streamFailure_);
    } else if (run->inputFailure_ && !run->receivedSuccess_) {
      run->end(AgentRunStatus::failed, withDiagnostic(*run->inputFailure_, exit.diagnostic));
    } else if (exit.status == 0 || lingered) {
      run->end(AgentRunStatus::completed, {});
      run->addActivity("Completed");
    } else {
      run->end(AgentRunStatus::failed,
               withDiagnostic(
                   fmt::format("{} exited with code {} before completing. Check sign-in and usage limits in "
                               "Terminal.",
                               product, exit.status),
                   exit.diagnostic));
    }
  }
  conclude(run);
}

/// The end of every run: its files go, and then its followers hear of it.
void AgentRuntime::conclude(const std::shared_ptr<AgentRun>& run) {
  run->process_.reset();
  run->lingering_.cancel();
  auto files = std::exchange(run->temporaryFiles_, {});
  if (files.empty()) return announceEnd(run);
  asio::co_spawn(workers_.executor(), Prepared::remove(std::move(files)),
                 [main = main_, self = std::weak_ptr(self_), run](std::exception_ptr) {
                   main.post([self, run] {
                     if (const auto runtime = self.lock()) (*runtime)->announceEnd(run);
                   });
                 });
}

/// Exactly once for every run.
void AgentRuntime::announceEnd(const std::shared_ptr<AgentRun>& run) {
  if (std::exchange(run->finished_, true)) return;
  run->flush();
  if (run->request.onComplete) run->request.onComplete(*run);
  if (run->request.onFinish) run->request.onFinish();
  trimCompletedRuns();
  runsChanged_.emit();
}

void AgentRuntime::cancel(const Uuid& id, const std::optional<std::string>& error) {
  const auto found = std::ranges::find(runs_, id, [](const auto& run) { return run->id; });
  if (found == runs_.end() || (*found)->status() != AgentRunStatus::running) return;
  const auto run = *found;
  run->end(AgentRunStatus::cancelled, error.value_or(std::string()));
  run->addActivity("Cancellation requested");
  if (run->process_) run->process_->terminate(terminationGrace);
}

void AgentRuntime::cancelAll() {
  const auto running = runs_;
  for (const auto& run : running) cancel(run->id);
}

void AgentRuntime::trimCompletedRuns() {
  std::size_t ordinary = 0;
  std::size_t analysis = 0;
  std::vector<std::shared_ptr<AgentRun>> kept;
  for (auto run = runs_.rbegin(); run != runs_.rend(); ++run) {
    auto& count = (*run)->isAnalysis() ? analysis : ordinary;
    const std::size_t limit = (*run)->isAnalysis() ? keptAnalysisRuns : keptRuns;
    // A cancelled run whose process still ends is not finished yet.
    if ((*run)->finished_ && ++count > limit) continue;
    kept.push_back(*run);
  }
  std::ranges::reverse(kept);
  runs_ = std::move(kept);
}

AgentRequest AgentRuntime::analysisRequest(std::string prompt, AgentProvider provider, AgentProfile profile,
                                           std::filesystem::path workingDirectory, std::string outputSchema,
                                           const IntelligenceChoice& choice) const {
  AgentRequest request;
  if (const auto added = places_.completionArguments.find(provider);
      added != places_.completionArguments.end()) {
    request.additionalArguments = added->second;
  }
  request.provider = provider;
  request.prompt = std::move(prompt);
  request.workingDirectory = std::move(workingDirectory);
  request.outputSchema = std::move(outputSchema);
  request.ephemeral = true;
  request.profile = profile;
  request.model = choice.model;
  request.effort = choice.effort;
  return request;
}

Task<AgentRuntime::Completion>
AgentRuntime::completion(std::string prompt, AgentProvider provider, AgentProfile profile,
                         std::optional<std::filesystem::path> workingDirectory, std::string outputSchema,
                         Seconds timeout, IntelligenceChoice choice, Cancellation cancellation) {
  const std::string cancelledSentence = "The request was cancelled.";
  const std::weak_ptr<AgentRuntime*> self = self_;
  if (!workingDirectory) {
    workingDirectory = analysisFolder();
    const auto failure = co_await asio::co_spawn(workers_.executor(), Prepared::makeFolder(*workingDirectory),
                                                 asio::use_awaitable);
    if (self.expired()) throw AgentRuntimeError(cancelledSentence);
    if (failure) throw AgentRuntimeError(*failure);
  }
  if (cancellation.isCancelled()) throw AgentRuntimeError(cancelledSentence);
  auto request = analysisRequest(std::move(prompt), provider, profile, *workingDirectory,
                                 std::move(outputSchema), choice);
  enum class Outcome { ended, timedOut, cancelled };
  const OneShot<Outcome> outcome;
  request.onFinish = [outcome] { outcome.set(Outcome::ended); };
  const auto run = start(std::move(request));
  const Date begun = clock_.now();
  const Timer limit = clock_.schedule(timeout, [outcome] { outcome.set(Outcome::timedOut); });
  const Subscription cancelled = cancellation.onCancel([outcome] { outcome.set(Outcome::cancelled); });

  const Outcome how = co_await outcome.wait();
  if (self.expired()) throw AgentRuntimeError(cancelledSentence);
  const auto failed = [&run](std::string sentence) {
    return CompletionError(std::move(sentence), run->usage());
  };
  if (how == Outcome::timedOut) {
    const std::string sentence = fmt::format("{} did not answer within {} seconds. Try again.",
                                             productName(provider), static_cast<long long>(timeout.count()));
    cancel(run->id, sentence);
    throw failed(sentence);
  }
  if (how == Outcome::cancelled) {
    cancel(run->id);
    throw failed(cancelledSentence);
  }
  if (run->status() == AgentRunStatus::cancelled) {
    throw failed(run->message().empty() ? cancelledSentence : run->message());
  }
  if (run->status() == AgentRunStatus::failed) throw failed(run->message());
  if (run->finalMessage().empty()) throw failed(name(provider) + " ended without an answer. Try again.");
  co_return Completion{.text = run->finalMessage(),
                       .provider = provider,
                       .model = run->model(),
                       .usage = run->usage(),
                       .duration = clock_.now() - begun};
}

void AgentRuntime::prewarmClassifier(const std::string& outputSchema,
                                     std::optional<std::filesystem::path> workingDirectory,
                                     const IntelligenceChoice& choice) {
  const auto& installation = status(AgentProvider::claude).installation;
  if (!installation) return;
  const auto folder = workingDirectory.value_or(analysisFolder());
  const auto request =
      analysisRequest({}, AgentProvider::claude, AgentProfile::classify, folder, outputSchema, choice);
  std::vector<std::filesystem::path> none;
  asio::co_spawn(main_.executor(),
                 prewarm({.executable = installation->url,
                          .arguments = arguments(request, installation->url, places_.home, none),
                          .directory = folder,
                          .environment = childEnvironment(AgentProvider::claude, installation->url)}),
                 [](std::exception_ptr error) {
                   if (error) std::rethrow_exception(error);
                 });
}

Task<> AgentRuntime::prewarm(ClaudeClassifierPool::Shape shape) {
  const std::weak_ptr<AgentRuntime*> self = self_;
  const auto failure = co_await asio::co_spawn(workers_.executor(), Prepared::makeFolder(shape.directory),
                                               asio::use_awaitable);
  if (self.expired() || failure) co_return;
  try {
    classifiers_.prepare(shape);
  } catch (const ChildProcessError& error) {
    // Nothing is lost: the classification starts its own process, and says what is wrong.
    log::warning("{}", error.message);
  }
}

}  // namespace vale
