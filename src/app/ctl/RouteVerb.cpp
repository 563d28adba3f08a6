#include "app/ConsoleApplication.h"
#include "app/ctl/Ctl.h"
#include "app/ctl/HistoryInput.h"
#include "common/Log.h"
#include "history/ValeLibrary.h"
#include "projects/LocalServers.h"
#include "projects/ProjectRouter.h"

#include <fmt/format.h>

#include <cstdio>
#include <memory>

namespace vale::ctl {
namespace {

struct RouteOptions {
  std::string pageUrl;
  std::string pageTitle;
  std::filesystem::path pageTextFile;
  std::vector<std::string> attached;
  std::vector<std::string> facts;
  std::filesystem::path projects;
  bool noDeep = false;
  bool dryRun = false;
  std::string provider;
  std::vector<std::string> arguments;
  std::string request;
};

/// Asks the service for one provider in particular, or for the one that it chooses.
class ProviderClient : public IntelligenceClient {
 public:
  ProviderClient(IntelligenceService& service, std::optional<AgentProvider> provider)
      : service_(service), provider_(provider) {}

  std::optional<AgentProvider> provider() const {
    return provider_ ? provider_ : service_.provider().value();
  }

  Task<std::optional<std::string>> unavailability() override { return service_.unavailability(); }
  Task<std::string> classify(std::string prompt, std::string schema, IntelligenceOperation operation,
                             Cancellation cancellation) override {
    return text(service_.ask({.kind = IntelligenceCallKind::classify,
                              .operation = operation,
                              .prompt = std::move(prompt),
                              .schema = std::move(schema),
                              .provider = provider_,
                              .cancellation = std::move(cancellation)}));
  }
  Task<std::string> explore(std::string prompt, std::string schema, std::filesystem::path directory,
                            IntelligenceOperation operation, Cancellation cancellation) override {
    return text(service_.ask({.kind = IntelligenceCallKind::explore,
                              .operation = operation,
                              .prompt = std::move(prompt),
                              .schema = std::move(schema),
                              .directory = std::move(directory),
                              .provider = provider_,
                              .cancellation = std::move(cancellation)}));
  }
  void prewarm(const std::string&, IntelligenceOperation) override {}

 private:
  static Task<std::string> text(Task<IntelligenceService::Answer> asking) {
    auto answer = co_await std::move(asking);
    co_return std::move(answer.text);
  }

  IntelligenceService& service_;
  std::optional<AgentProvider> provider_;
};

RouteRequest makeRequest(const RouteOptions& options) {
  RouteRequest request{.text = options.request, .facts = options.facts};
  if (request.text.empty() || request.text == "-") request.text = readStandardInput();
  if (!options.pageUrl.empty()) {
    request.page.emplace(PageContext{.url = options.pageUrl, .title = options.pageTitle});
    request.page->responded = !options.pageTextFile.empty();
    if (request.page->responded) request.page->text = readInput(options.pageTextFile);
  }
  for (const auto& page : options.attached) {
    const auto bar = page.rfind('|');
    if (bar == std::string::npos) throw UsageError("--attach needs the form TITLE|URL.");
    request.attached.push_back({page.substr(0, bar), page.substr(bar + 1)});
  }
  return request;
}

/// The list that was given, else the index. A damaged index is no reason to refuse: the deep search reads the
/// other half of it.
ProjectRoutingCatalog readCatalog(const RouteOptions& options, const std::filesystem::path& library) {
  if (!options.projects.empty())
    return ProjectRoutingCatalog::read(options.projects, ProjectCatalogSource::given);
  const auto index = library / "projects" / "projects.json";
  try {
    if (std::filesystem::exists(index))
      return ProjectRoutingCatalog::read(index, ProjectCatalogSource::projectIndex);
  } catch (const std::exception& error) {
    log::warning("{}", error.what());
  }
  return {};
}

/// Which project's server the page comes from, when the system knows.
void addObservedFact(RouteRequest& request, const ProjectRoutingCatalog& catalog) {
  if (!request.page) return;
  std::vector<std::string> ids;
  for (const auto& [id, name] : catalog.names) ids.push_back(id);
  if (const auto server = LocalServers().serving(request.page->url, ids))
    request.facts.push_back(LocalServers::fact(request.page->url, *server));
}

void print(const RouteDecision& decision, const ProjectRoutingCatalog& catalog) {
  const auto routing =
      turnRouting(decision, [&](const std::string& projectID) { return catalog.name(projectID); });
  printJson({{"mode", rawValue(decision.mode)},
             {"projectID", decision.projectID ? json::value(*decision.projectID) : json::value(nullptr)},
             {"confidence", decision.confidence},
             {"reason", decision.reason},
             {"alternates", encode(routing.alternates)},
             {"title", decision.title},
             {"method", rawValue(decision.method)}});
}

int route(const RouteOptions& options, const CommonOptions& common) {
  auto request = makeRequest(options);
  const auto library = ValeLibraryPaths::library(common.support);
  const auto provider = fromRawValue<AgentProvider>(options.provider);
  ConsoleApplication application(common.support,
                                 ConsoleApplication::completionArguments(provider, options.arguments));
  const Cancellation cancellation;
  application.onInterrupt([cancellation] { cancellation.cancel(); });
  ProviderClient client(application.intelligence().service(), provider);
  ProjectRouter router({.client = client,
                        .inputFilter = application.intelligence().inputFilter(),
                        .library = library,
                        .provider = [&client] { return client.provider(); },
                        .surroundings = application.surroundings()});
  router.setCatalog(readCatalog(options, library));
  addObservedFact(request, router.catalog());
  router.setSearchesDeeperAutomatically(!options.noDeep);
  if (options.dryRun) {
    fmt::print("{}", router.quickPrompt(request));
    return done;
  }
  const auto decision = application.run(router.route(std::move(request), {}, cancellation));
  if (!decision || !*decision) {
    fmt::print(stderr, "valectl: The request was cancelled.\n");
    return cancelled;
  }
  print(**decision, router.catalog());
  return done;
}

CLI::Option* repeatable(CLI::Option* option) {
  return option->allow_extra_args(false)->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
}

}  // namespace

void addRouteVerb(CLI::App& app, const CommonOptions& common, Work& work) {
  auto* verb = app.add_subcommand("route", "Tell where a request belongs: a page, a project, anywhere");
  const auto options = std::make_shared<RouteOptions>();
  auto* page = verb->add_option("--page-url", options->pageUrl, "The address of the page being viewed");
  verb->add_option("--page-title", options->pageTitle, "Its title")->needs(page);
  verb->add_option("--page-text-file", options->pageTextFile, "Its visible text; - is standard input")
      ->needs(page);
  repeatable(verb->add_option("--attach", options->attached, "A page read, TITLE|URL; may be repeated"));
  repeatable(verb->add_option("--fact", options->facts,
                              "What is known for sure of a project, naming its id; may be repeated"));
  verb->add_option("--projects", options->projects,
                   "A JSON list of {\"id\", \"name\", \"description\"}, instead of the project index");
  verb->add_flag("--no-deep", options->noDeep, "Do not search the index for what a quick look leaves open");
  verb->add_flag("--dry-run", options->dryRun, "Print what the quick look would ask, and ask nothing");
  verb->add_option("--provider", options->provider, "codex or claude")
      ->check(CLI::IsMember({"codex", "claude"}));
  repeatable(
      verb->add_option("--argument", options->arguments, "Passed on to the CLI as it is; may be repeated"));
  verb->add_option("REQUEST", options->request, "What is asked for; “-” or nothing reads standard input");
  verb->callback(
      [&common, &work, options] { work = [&common, options] { return route(*options, common); }; });
}

}  // namespace vale::ctl
