#include "app/ConsoleApplication.h"
#include "app/TabListGrouping.h"
#include "app/ctl/Ctl.h"
#include "app/ctl/HistoryInput.h"

#include <fmt/format.h>

#include <cstdio>
#include <memory>
#include <unistd.h>

namespace vale::ctl {
namespace {

struct GroupOptions {
  std::filesystem::path tabs;
  std::filesystem::path existing;
  std::filesystem::path preferences;
  std::string provider;
  std::vector<std::string> arguments;
  bool dryRun = false;
};

TabListGrouping::Texts readTexts(const GroupOptions& options) {
  const auto read = [](const std::filesystem::path& file) {
    return file.empty() ? std::nullopt : std::optional(readInput(file));
  };
  if (options.existing == "-" || options.preferences == "-")
    throw UsageError("Only the tabs can be read from standard input.");
  return {.tabs = readInput(options.tabs),
          .existing = read(options.existing),
          .preferences = read(options.preferences)};
}

/// Asks, and takes the answer in. False when the user has cancelled.
bool ask(TabListGrouping& grouping, const GroupOptions& options, const CommonOptions& common) {
  const auto& request = grouping.request().value();
  const auto provider = fromRawValue<AgentProvider>(options.provider);
  const Cancellation cancellation;
  ConsoleApplication application(common.support,
                                 ConsoleApplication::completionArguments(provider, options.arguments));
  application.onInterrupt([cancellation] { cancellation.cancel(); });
  try {
    const auto answer =
        application.run(application.intelligence().service().ask({.operation = request.operation,
                                                                  .prompt = request.prompt,
                                                                  .schema = request.schema(),
                                                                  .provider = provider,
                                                                  .cancellation = cancellation}));
    grouping.apply(answer.value().text);
    return true;
  } catch (const Error& error) {
    if (!cancellation.isCancelled()) throw Error(groupingFailureMessage(error));
    fmt::print(stderr, "valectl: {}\n", error.message);
    return false;
  }
}

int group(const GroupOptions& options, const CommonOptions& common) {
  ModelInputFilter filter;
  TabListGrouping grouping(readTexts(options), filter);
  if (options.dryRun) {
    if (const auto& request = grouping.request())
      fmt::print("{}\n", forTerminal(request->prompt, STDOUT_FILENO));
    return done;
  }
  if (grouping.request() && !ask(grouping, options, common)) return cancelled;
  printJson(grouping.result());
  return done;
}

}  // namespace

void addGroupVerb(CLI::App& app, const CommonOptions& common, Work& work) {
  auto* verb = app.add_subcommand("group", "Sort a list of tabs into groups by what the user is doing");
  const auto options = std::make_shared<GroupOptions>();
  verb->add_option("--existing", options->existing,
                   "A grouping as this verb prints it: place the tabs that none of its groups holds");
  verb->add_option("--preferences", options->preferences, "A list of groupings that the user made by hand");
  verb->add_option("--provider", options->provider, "codex or claude")
      ->check(CLI::IsMember({"codex", "claude"}));
  verb->add_option("--argument", options->arguments, "Passed on to the CLI as it is; may be repeated")
      ->allow_extra_args(false)
      ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
  verb->add_flag("--dry-run", options->dryRun, "Print the prompt that would be sent, and send nothing");
  verb->add_option("tabs", options->tabs, "The list of tabs, in JSON; “-” or nothing reads standard input");
  verb->callback(
      [&common, &work, options] { work = [&common, options] { return group(*options, common); }; });
}

}  // namespace vale::ctl
