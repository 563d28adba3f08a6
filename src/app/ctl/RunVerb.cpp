#include "app/ConsoleApplication.h"
#include "app/ctl/Ctl.h"
#include "app/ctl/RunOptions.h"
#include "app/ctl/RunOutput.h"
#include "common/OneShot.h"
#include "common/Preferences.h"

#include <fmt/format.h>

#include <cstdio>

namespace vale::ctl {

std::optional<std::string> unlessEmpty(const std::string& text) {
  return text.empty() ? std::nullopt : std::optional(text);
}

AgentProvider chooseProvider(const RunOptions& options, const CommonOptions& common,
                             const AgentRuntime& agents) {
  if (const auto asked = fromRawValue<AgentProvider>(options.provider)) return *asked;
  if (const auto preferences = Preferences::read(common.support / "preferences.json")) {
    const auto text = stringMember(*preferences, "ValeTaskProvider");
    const auto preferred = text ? fromRawValue<AgentProvider>(*text) : std::nullopt;
    if (preferred && agents.status(*preferred).isReady()) return *preferred;
  }
  constexpr std::array providers{AgentProvider::codex, AgentProvider::claude};
  const auto first = [&](auto fits) -> std::optional<AgentProvider> {
    const auto found =
        std::ranges::find_if(providers, [&](auto provider) { return fits(agents.status(provider)); });
    return found == providers.end() ? std::nullopt : std::optional(*found);
  };
  const auto ready = first([](const auto& status) { return status.isReady(); });
  const auto installed = first([](const auto& status) { return status.installation.has_value(); });
  const auto chosen = ready ? ready : installed;
  if (!chosen) throw Error(agents.status(AgentProvider::claude).message());
  return *chosen;
}

namespace {

AgentRequest makeRequest(const RunOptions& options, AgentProvider provider) {
  AgentRequest request;
  request.provider = provider;
  request.prompt = options.prompt;
  request.workingDirectory = std::filesystem::absolute(options.project);
  request.sessionID = unlessEmpty(options.resume);
  request.access = options.write ? AgentAccess::projectWrite : AgentAccess::readOnly;
  request.ephemeral = options.ephemeral;
  request.additionalArguments = options.arguments;
  request.model = unlessEmpty(options.model);
  request.effort = unlessEmpty(options.effort);
  if (options.page) request.pageConversation = true;
  request.anywhere = options.anywhere;
  for (const auto& image : options.images) request.images.push_back(std::filesystem::absolute(image));
  return request;
}

/// What a signal and the run have to tell each other.
struct Interruption {
  std::shared_ptr<AgentRun> run;
};

Task<int> follow(const RunOptions& options, const CommonOptions& common, AgentRuntime& agents,
                 std::shared_ptr<Interruption> interruption) {
  co_await agents.refresh(fromRawValue<AgentProvider>(options.provider));

  auto request = makeRequest(options, chooseProvider(options, common, agents));
  const OneShot<bool> ended;
  request.onFinish = [ended] { ended.set(true); };
  const auto run = agents.start(std::move(request));
  interruption->run = run;
  const auto output = makeRunOutput(options.events ? RunFormat::events : RunFormat::plain);
  run->published().connect([&](const auto& events) {
    output->show(*run, events);
    // Nobody reads any more: the agent need not go on working.
    if (output->isBroken()) agents.cancel(run->id);
  });
  co_await ended.wait();
  output->finish(*run);
  if (output->isBroken())
    throw Error("Standard output was closed before the run ended, which ended the run.");
  if (run->status() == AgentRunStatus::completed) co_return done;
  co_return run->status() == AgentRunStatus::cancelled ? cancelled : failed;
}

int run(RunOptions options, const CommonOptions& common) {
  if (options.prompt.empty() || options.prompt == "-") options.prompt = readStandardInput();
  if (!options.thread.empty()) return runInThread(options, common);
  ConsoleApplication application(common.support);
  const auto interruption = std::make_shared<Interruption>();
  application.onInterrupt([interruption, &application] {
    if (interruption->run) {
      application.agents().cancel(interruption->run->id);
    } else {
      application.abandon();
    }
  });
  return application.run(follow(options, common, application.agents(), interruption)).value_or(cancelled);
}

}  // namespace

void addRunVerb(CLI::App& app, const CommonOptions& common, Work& work) {
  auto* verb = app.add_subcommand("run", "Run one agent task in a project folder and follow it live");
  const auto options = std::make_shared<RunOptions>();
  options->project = ".";
  verb->add_option("--provider", options->provider, "codex or claude")
      ->check(CLI::IsMember({"codex", "claude"}));
  auto* project =
      verb->add_option("--project", options->project, "The project folder (default: the current one)");
  verb->add_flag("--write", options->write, "The agent may change files of the project");
  auto* resume = verb->add_option("--resume", options->resume, "Go on with this session");
  auto* thread = verb->add_option(
      "--thread", options->thread,
      "Add the request to this conversation, or to a new one (“new”). A new one's UUID is printed on "
      "standard "
      "error; with --events the first line is {\"event\": \"thread\", \"threadID\", \"turnID\"}");
  thread->excludes(resume);
  verb->add_option("--model", options->model, "The model to ask for");
  verb->add_option("--effort", options->effort, "The reasoning effort to ask for");
  verb->add_option("--image", options->images, "A PNG file to send along; may be repeated")
      ->allow_extra_args(false)
      ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
  verb->add_flag("--ephemeral", options->ephemeral, "Leave no session behind, and give the agent no tools")
      ->excludes(thread);
  verb->add_flag("--page", options->page, "A conversation about a page: no tools");
  verb->add_flag("--anywhere", options->anywhere, "Not tied to a project folder")->excludes(thread);
  verb->add_option("--argument", options->arguments, "Passed on to the CLI as it is; may be repeated")
      ->allow_extra_args(false)
      ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
  verb->add_flag("--events", options->events, "Print one JSON object a line for everything that happens");
  verb->add_option("prompt", options->prompt, "What to ask; “-” or nothing reads standard input");
  verb->callback([&common, &work, options, project] {
    options->namesProject = project->count() > 0;
    work = [&common, options] { return run(*options, common); };
  });
}

}  // namespace vale::ctl
