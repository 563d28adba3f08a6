#include "app/ConsoleApplication.h"
#include "app/ctl/Ctl.h"
#include "common/FileDescriptor.h"
#include "common/Text.h"

#include <fmt/format.h>

#include <cstdio>
#include <memory>
#include <unistd.h>

namespace vale::ctl {
namespace {

struct AskOptions {
  std::filesystem::path schema;
  std::string profile = std::string(rawValue(IntelligenceCallKind::classify));
  std::string operation = std::string(rawValue(IntelligenceOperation::general));
  std::filesystem::path directory;
  std::string provider;
  std::optional<double> timeout;
  std::vector<std::string> arguments;
  std::string prompt;
};

/// The names of an enumeration's cases, for a check of what was given.
template <HasRawValues Enum> std::vector<std::string> names() {
  std::vector<std::string> all;
  for (const auto& [value, name] : rawValues<Enum>) all.emplace_back(name);
  return all;
}

std::string readSchema(const std::filesystem::path& file) {
  auto text = readFile(file);
  if (!text) throw text.error();
  const auto schema = tryParseJson(*text);
  if (!schema || !schema->is_object()) {
    throw Error("The schema “" + singleLine(file.native()) +
                "” is not a JSON Schema: it must be one JSON object. Correct it and ask again.");
  }
  return std::move(*text);
}

IntelligenceService::Question makeQuestion(const AskOptions& options, const Cancellation& cancellation) {
  IntelligenceService::Question question;
  question.kind = fromRawValue<IntelligenceCallKind>(options.profile).value();
  question.operation = fromRawValue<IntelligenceOperation>(options.operation).value();
  if (question.kind == IntelligenceCallKind::classify && !options.directory.empty()) {
    throw UsageError("--directory goes with --profile explore.");
  }
  if (!options.directory.empty()) question.directory = std::filesystem::absolute(options.directory);
  question.provider = fromRawValue<AgentProvider>(options.provider);
  if (options.timeout) question.timeout = Seconds(*options.timeout);
  question.schema = readSchema(options.schema);
  question.prompt = options.prompt.empty() || options.prompt == "-" ? readStandardInput() : options.prompt;
  question.cancellation = cancellation;
  return question;
}

void print(const IntelligenceService::Answer& answer, const CommonOptions& common) {
  if (!common.json) {
    fmt::print("{}\n", forTerminal(answer.text, STDOUT_FILENO));
    return;
  }
  auto call = encode(answer.call);
  call.as_object()["startedAt"] = iso8601(answer.call.startedAt);
  printJson({{"answer", parseJson(answer.text)}, {"call", std::move(call)}});
}

int ask(const AskOptions& options, const CommonOptions& common) {
  const Cancellation cancellation;
  auto question = makeQuestion(options, cancellation);
  ConsoleApplication application(
      common.support, ConsoleApplication::completionArguments(question.provider, options.arguments));
  application.onInterrupt([cancellation] { cancellation.cancel(); });
  try {
    if (const auto answer = application.run(application.intelligence().service().ask(std::move(question))))
      print(*answer, common);
  } catch (const Error& error) {
    if (!cancellation.isCancelled()) throw;
    fmt::print(stderr, "valectl: {}\n", error.message);
    return cancelled;
  }
  return done;
}

}  // namespace

void addAskVerb(CLI::App& app, const CommonOptions& common, Work& work) {
  auto* verb = app.add_subcommand("ask", "Ask an agent CLI one question and get one JSON object");
  const auto options = std::make_shared<AskOptions>();
  verb->add_option("--schema", options->schema, "A file with the JSON Schema of the answer")->required();
  verb->add_option("--profile", options->profile,
                   "classify: from the prompt alone; explore: from read-only work in a folder")
      ->check(CLI::IsMember(names<IntelligenceCallKind>()))
      ->capture_default_str();
  verb->add_option("--operation", options->operation, "What the question is about, which chooses the model")
      ->check(CLI::IsMember(names<IntelligenceOperation>()))
      ->capture_default_str();
  verb->add_option("--directory", options->directory, "The folder to explore (default: the library)");
  verb->add_option("--provider", options->provider, "codex or claude")
      ->check(CLI::IsMember(names<AgentProvider>()));
  verb->add_option("--timeout", options->timeout, "Seconds, at most a day (default: 120, for explore 300)")
      ->check(CLI::Range(0.1, 86400.0));
  verb->add_option("--argument", options->arguments, "Passed on to the CLI as it is; may be repeated")
      ->allow_extra_args(false)
      ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
  verb->add_option("prompt", options->prompt, "What to ask; “-” or nothing reads standard input");
  verb->callback([&common, &work, options] { work = [&common, options] { return ask(*options, common); }; });
}

}  // namespace vale::ctl
