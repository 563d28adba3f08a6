#include "intelligence/IntelligenceService.h"

#include "common/OneShot.h"
#include "common/Text.h"

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/use_awaitable.hpp>

#include <algorithm>
#include <array>
#include <exception>
#include <map>
#include <set>
#include <utility>

namespace vale {
namespace {

constexpr std::array providers{AgentProvider::codex, AgentProvider::claude};
constexpr std::string_view cancelledSentence = "The request was cancelled.";
constexpr std::string_view fence = "```";

/// At most so many bytes of the text, whole characters.
std::string beginning(std::string_view text, std::size_t limit) {
  if (text.size() <= limit) return std::string(text);
  // The last one may have been cut into, and reads as a different one then.
  const auto cut = text.substr(0, limit);
  return std::string(firstCharacters(cut, characterCount(cut) - 1));
}

/// On the worker pool: answers can be large.
struct Extracted {
  std::string text;
  std::optional<std::string> problem;
};
Task<Extracted> extract(std::string text) {
  Extracted result;
  try {
    result.text = IntelligenceService::jsonObjectText(text);
  } catch (const Error& error) {
    result = {.text = beginning(validUtf8(std::move(text)), IntelligenceService::longestUnreadableResponse),
              .problem = error.message};
  }
  co_return result;
}

Task<bool> isFolder(std::filesystem::path path) {
  std::error_code ignored;
  co_return std::filesystem::is_directory(path, ignored);
}

}  // namespace

/// What lives as long as the service. Coroutines hold it weakly and ask `alive` again after every wait.
struct IntelligenceService::Self {
  explicit Self(Parts given) : parts(std::move(given)) {}

  Parts parts;
  Published<std::optional<AgentProvider>> provider;
  std::map<IntelligenceOperation, IntelligenceChoice> overrides;
  Published<int> activeCalls;
  std::vector<IntelligenceCall> recentCalls;
  sigc::signal<void()> recentCallsChanged;
  /// Those who wait for a search for the CLIs, by what is searched for.
  std::map<std::optional<AgentProvider>, std::vector<OneShot<bool>>> searches;
  Subscription statusChanges;
  Subscription settingsChanges;

  static Self& alive(const std::weak_ptr<Self>& weak) {
    const auto self = weak.lock();
    if (!self) throw Error(std::string(cancelledSentence));
    return *self;
  }

  const AgentProviderStatus& status(AgentProvider of) const { return parts.runtime.status(of); }

  void chooseProvider() {
    std::set<AgentProvider> ready;
    std::set<AgentProvider> installed;
    for (const auto candidate : providers) {
      if (status(candidate).isReady()) ready.insert(candidate);
      if (status(candidate).installation) installed.insert(candidate);
    }
    provider.set(IntelligenceSettings::resolve(parts.settings.intelligenceProvider().value(),
                                               providers.front(), ready, installed));
  }

  IntelligenceChoice choice(IntelligenceOperation operation, AgentProvider asked) const {
    const auto chosen = overrides.find(operation);
    return chosen == overrides.end() ? parts.catalog.catalog().value().intelligenceChoice(operation, asked)
                                     : chosen->second;
  }

  /// Why a provider cannot be asked at all.
  std::optional<std::string> unusable(AgentProvider asked) const {
    const auto& installation = status(asked).installation;
    if (installation && !CLIInstallations::versionProblem(*installation)) return std::nullopt;
    return status(asked).message();
  }

  /// What the user has to do before there can be an answer.
  std::optional<std::string> obstacle() const {
    if (!provider.value()) {
      return status(AgentProvider::codex).message() + " " + status(AgentProvider::claude).message();
    }
    // A CLI that does not tell whether the user is signed in is asked all the same.
    const auto& authentication = status(*provider.value()).authentication;
    if (authentication && authentication->signedIn == false) return status(*provider.value()).message();
    return unusable(*provider.value());
  }

  IntelligenceCall begin(const Question& question) const {
    const auto asked = question.provider ? question.provider : provider.value();
    if (!asked)
      throw Error(question.cancellation.isCancelled() ? std::string(cancelledSentence) : *obstacle());
    const auto chosen = choice(question.operation, *asked);
    IntelligenceCall call;
    call.kind = question.kind;
    call.operation = question.operation;
    call.provider = *asked;
    call.model = chosen.model;
    call.effort = chosen.effort;
    call.startedAt = parts.surroundings.clock.now();
    call.promptBytes = question.prompt.size();
    call.prompt = beginning(question.prompt, longestKeptText);
    return call;
  }

  void record(const IntelligenceCall& call) {
    recentCalls.insert(recentCalls.begin(), call);
    if (recentCalls.size() > keptCalls) recentCalls.resize(keptCalls);
    recentCallsChanged.emit();
  }

  static Task<> search(std::weak_ptr<Self> weak, std::optional<AgentProvider> only,
                       Cancellation cancellation);
  static Task<Answer> ask(std::weak_ptr<Self> weak, Question question);
  static Task<std::string> perform(std::weak_ptr<Self> weak, Question question, IntelligenceCall& call);
  static Task<std::string> textOfAnswer(std::weak_ptr<Self> weak, Question question);
  static Task<std::optional<std::string>> unavailability(std::weak_ptr<Self> weak);

  /// Counts a call for as long as it is under way.
  struct ActiveCall {
    explicit ActiveCall(std::weak_ptr<Self> service) : weak(std::move(service)) { count(1); }
    ~ActiveCall() { count(-1); }
    ActiveCall(const ActiveCall&) = delete;
    ActiveCall& operator=(const ActiveCall&) = delete;

    void count(int change) const {
      if (const auto self = weak.lock()) self->activeCalls.set(self->activeCalls.value() + change);
    }

    std::weak_ptr<Self> weak;
  };
};

/// Looks for the CLIs, or for the one that matters, when nobody has yet; joins a search under way. Ends early
/// when it is cancelled.
Task<> IntelligenceService::Self::search(std::weak_ptr<Self> weak, std::optional<AgentProvider> only,
                                         Cancellation cancellation) {
  Self& self = alive(weak);
  const auto isKnown = [&](AgentProvider one) {
    return (!only || only == one) && self.parts.runtime.hasDiscovered(one);
  };
  if (std::ranges::any_of(providers, isKnown) || cancellation.isCancelled()) co_return;

  const OneShot<bool> ended;
  const Subscription cancelled = cancellation.onCancel([ended] { ended.set(false); });
  auto& waiting = self.searches[only];
  waiting.push_back(ended);
  if (waiting.size() == 1) {
    asio::co_spawn(self.parts.surroundings.main.executor(), self.parts.runtime.refresh(only),
                   [weak, only](std::exception_ptr) {
                     const auto service = weak.lock();
                     if (!service) return;
                     const auto waiting = service->searches.extract(only);
                     for (const auto& one : waiting.mapped()) one.set(true);
                   });
  }
  co_await ended.wait();
}

Task<IntelligenceService::Answer> IntelligenceService::Self::ask(std::weak_ptr<Self> weak,
                                                                 Question question) {
  const ActiveCall active(weak);
  co_await search(weak, question.provider, question.cancellation);
  co_await alive(weak).parts.catalog.refresh();
  IntelligenceCall call = alive(weak).begin(question);
  std::string text;
  std::exception_ptr failure;
  try {
    text = co_await perform(weak, std::move(question), call);
  } catch (const UnreadableAnswer& error) {
    call.error = error.message;
    call.unreadableResponse = error.response;
    failure = std::current_exception();
  } catch (const AgentRuntime::CompletionError& error) {
    call.error = error.message;
    call.usage = error.usage;
    failure = std::current_exception();
  } catch (const std::exception& error) {
    call.error = error.what();
    failure = std::current_exception();
  }
  if (const auto self = weak.lock()) {
    call.duration = double(Seconds(self->parts.surroundings.clock.now() - call.startedAt).count());
    self->record(call);
  }
  if (failure) std::rethrow_exception(failure);
  co_return Answer{.text = std::move(text), .call = std::move(call)};
}

Task<std::string> IntelligenceService::Self::perform(std::weak_ptr<Self> weak, Question question,
                                                     IntelligenceCall& call) {
  const auto& parts = alive(weak).parts;
  const auto workers = parts.surroundings.workers.executor();
  const bool explores = question.kind == IntelligenceCall::Kind::explore;
  if (question.cancellation.isCancelled()) throw Error(std::string(cancelledSentence));
  if (auto problem = alive(weak).unusable(call.provider)) throw Error(*std::move(problem));
  std::optional<std::filesystem::path> directory;
  if (explores) {
    directory = question.directory.value_or(parts.workingDirectory);
    const bool isThere = co_await asio::co_spawn(workers, isFolder(*directory), asio::use_awaitable);
    if (!isThere) throw Error("The Vale library folder is missing: " + singleLine(directory->native()));
  }
  const auto profile = explores ? AgentProfile::explore : AgentProfile::classify;
  const Seconds timeout = question.timeout.value_or(explores ? exploreTimeout : classifyTimeout);
  const IntelligenceChoice choice{.model = call.model, .effort = call.effort};
  auto completion = co_await alive(weak).parts.runtime.completion(
      std::move(question.prompt), call.provider, profile, std::move(directory), std::move(question.schema),
      timeout, choice, question.cancellation);
  call.usage = std::move(completion.usage);
  call.answer = beginning(validUtf8(completion.text.substr(0, longestKeptText + 4)), longestKeptText);
  Extracted extracted =
      co_await asio::co_spawn(workers, extract(std::move(completion.text)), asio::use_awaitable);
  if (extracted.problem) throw UnreadableAnswer(*std::move(extracted.problem), std::move(extracted.text));
  co_return std::move(extracted.text);
}

Task<std::string> IntelligenceService::Self::textOfAnswer(std::weak_ptr<Self> weak, Question question) {
  auto answer = co_await ask(std::move(weak), std::move(question));
  co_return std::move(answer.text);
}

Task<std::optional<std::string>> IntelligenceService::Self::unavailability(std::weak_ptr<Self> weak) {
  co_await search(weak, std::nullopt, {});
  co_return alive(weak).obstacle();
}

IntelligenceService::IntelligenceService(Parts parts) : self_(std::make_shared<Self>(std::move(parts))) {
  const auto choose = [self = self_.get()](const auto&) { self->chooseProvider(); };
  self_->chooseProvider();
  self_->statusChanges = Subscription(self_->parts.runtime.statusChanged().connect(choose));
  self_->settingsChanges = self_->parts.settings.intelligenceProvider().subscribe(choose);
}

IntelligenceService::~IntelligenceService() = default;

Task<IntelligenceService::Answer> IntelligenceService::ask(Question question) {
  return Self::ask(self_, std::move(question));
}

Task<std::optional<std::string>> IntelligenceService::unavailability() { return Self::unavailability(self_); }

Task<std::string> IntelligenceService::classify(std::string prompt, std::string schema,
                                                IntelligenceOperation operation, Cancellation cancellation) {
  return Self::textOfAnswer(self_, {.kind = IntelligenceCall::Kind::classify,
                                    .operation = operation,
                                    .prompt = std::move(prompt),
                                    .schema = std::move(schema),
                                    .cancellation = std::move(cancellation)});
}

Task<std::string> IntelligenceService::explore(std::string prompt, std::string schema,
                                               std::filesystem::path directory,
                                               IntelligenceOperation operation, Cancellation cancellation) {
  return Self::textOfAnswer(self_, {.kind = IntelligenceCall::Kind::explore,
                                    .operation = operation,
                                    .prompt = std::move(prompt),
                                    .schema = std::move(schema),
                                    .directory = std::move(directory),
                                    .cancellation = std::move(cancellation)});
}

void IntelligenceService::prewarm(const std::string& schema, IntelligenceOperation operation) {
  const auto chosen = self_->provider.value();
  if (chosen != AgentProvider::claude || !self_->status(*chosen).isReady()) return;
  self_->parts.runtime.prewarmClassifier(schema, {}, self_->choice(operation, *chosen));
}

std::string IntelligenceService::jsonObjectText(std::string_view text) {
  text = trimmed(text);
  if (text.starts_with(fence)) {
    text.remove_prefix(std::min(text.find('\n'), text.size()));
    text = trimmed(text.substr(0, text.rfind(fence)));
  }
  const auto value = tryParseJson(text);
  if (!value || !value->is_object()) {
    throw Error("The agent did not return the requested JSON. Try again.");
  }
  return std::string(text);
}

const Published<std::optional<AgentProvider>>& IntelligenceService::provider() const {
  return self_->provider;
}

IntelligenceChoice IntelligenceService::choice(IntelligenceOperation operation,
                                               AgentProvider provider) const {
  return self_->choice(operation, provider);
}

void IntelligenceService::setOverride(IntelligenceOperation operation,
                                      std::optional<IntelligenceChoice> choice) {
  if (choice) {
    self_->overrides.insert_or_assign(operation, *std::move(choice));
  } else {
    self_->overrides.erase(operation);
  }
}

const std::map<IntelligenceOperation, IntelligenceChoice>& IntelligenceService::overrides() const {
  return self_->overrides;
}

const std::filesystem::path& IntelligenceService::workingDirectory() const {
  return self_->parts.workingDirectory;
}

const Published<int>& IntelligenceService::activeCalls() const { return self_->activeCalls; }

const std::vector<IntelligenceCall>& IntelligenceService::recentCalls() const { return self_->recentCalls; }

sigc::signal<void()>& IntelligenceService::recentCallsChanged() { return self_->recentCallsChanged; }

}  // namespace vale
