#include "app/AgentDesk.h"

#include "common/Log.h"
#include "common/OneShot.h"
#include "common/Text.h"
#include "history/ValeLibrary.h"
#include "projects/LocalServers.h"

#include <boost/asio/co_spawn.hpp>

#include <algorithm>
#include <array>
#include <expected>
#include <set>
#include <utility>

namespace vale {

namespace {

constexpr std::array providers{AgentProvider::claude, AgentProvider::codex};
constexpr std::size_t keptPages = 8;
constexpr std::size_t mostRecentProjects = 6;

using ReadCatalog = std::optional<ProjectRoutingCatalog>;

/// None while there is no index.
Task<ReadCatalog> readCatalog(SerialQueue queue, std::filesystem::path file) {
  const OneShot<ReadCatalog> read;
  queue.post([read, file = std::move(file)] {
    try {
      if (!std::filesystem::exists(file)) return read.set(std::nullopt);
      read.set(ProjectRoutingCatalog::read(file, ProjectCatalogSource::projectIndex));
    } catch (const std::exception& error) {
      // The deep search reads the other half of a damaged index.
      log::warning("{}", error.what());
      read.set(std::nullopt);
    }
  });
  auto catalog = co_await read.wait();
  co_return catalog;
}

/// Which project's server a page of this machine comes from, when the system knows; empty otherwise.
Task<std::string> observedFact(SerialQueue queue, std::string address, std::vector<std::string> ids) {
  const OneShot<std::string> fact;
  queue.post([fact, address = std::move(address), ids = std::move(ids)] {
    const auto server = LocalServers().serving(address, ids);
    fact.set(server ? LocalServers::fact(address, *server) : std::string());
  });
  auto sentence = co_await fact.wait();
  co_return sentence;
}

using AddedFolder = std::expected<std::string, Error>;

Task<AddedFolder> addFolder(SerialQueue queue, ProjectPlaces places, std::filesystem::path folder, Date now) {
  const OneShot<AddedFolder> added;
  queue.post([added, now, places = std::move(places), folder = std::move(folder)] {
    try {
      added.set(ProjectLibrary(places).add(folder, now));
    } catch (const Error& error) {
      added.set(std::unexpected(error));
    }
  });
  auto id = co_await added.wait();
  co_return id;
}

}  // namespace

RoutedRequest routedRequest(const RouteDecision& decision,
                            const std::function<std::string(const std::string&)>& name) {
  RoutedRequest routed{
      .routing = turnRouting(decision, name), .title = decision.title, .instructions = agentNote(decision)};
  switch (decision.mode) {
  case RouteMode::answer:
    routed.place = RoutedRequest::Place::page;
    break;
  case RouteMode::project:
    routed.place = decision.projectID ? RoutedRequest::Place::project : RoutedRequest::Place::unclear;
    routed.folder = decision.projectID.value_or(std::string());
    break;
  case RouteMode::anywhere:
    routed.place = RoutedRequest::Place::anywhere;
    break;
  case RouteMode::clarify:
    routed.place = RoutedRequest::Place::unclear;
    break;
  }
  return routed;
}

AgentDesk::AgentDesk(Parts parts)
    : parts_(std::move(parts)), files_(parts_.surroundings.workers, "Vale.agents"),
      router_({.client = parts_.client,
               .inputFilter = parts_.inputFilter,
               .library = ValeLibraryPaths::library(parts_.supportFolder),
               .provider = parts_.provider,
               .surroundings = parts_.surroundings}),
      index_(parts_.places, parts_.surroundings),
      hub_({.supportFolder = parts_.supportFolder,
            .anywhereFolder = anywhereFolder(),
            .queueFile = parts_.supportFolder / AgentHub::queueFileName,
            .environment = parts_.environment},
           {.route = [this](QueuedRequest request) { return route(std::move(request)); },
            .usualProvider = [this] { return usualProvider(); }},
           parts_.agents, parts_.surroundings),
      self_(std::make_shared<AgentDesk*>(this)) {}

AgentDesk::~AgentDesk() = default;

void AgentDesk::spawn(Task<> task) {
  asio::co_spawn(parts_.surroundings.main.executor(), std::move(task), [](const std::exception_ptr& error) {
    try {
      if (error) std::rethrow_exception(error);
    } catch (const Error& problem) {
      log::warning("{}", problem.message);
    }
  });
}

void AgentDesk::open() {
  spawn(readProjects());
  spawn(parts_.catalog.refresh());
  if (std::exchange(wasOpened_, true)) return;
  files_.post([folder = attachmentsFolder()] {
    std::error_code ignored;
    std::filesystem::remove_all(folder, ignored);
  });
  spawn(load());
  lookAgain();
}

Task<> AgentDesk::load() {
  const Weak self = self_;
  std::optional<std::string> problem;
  try {
    co_await hub_.load();
  } catch (const Error& error) {
    problem = error.message;
  }
  if (self.expired()) co_return;
  problem_.set(std::move(problem));
  opened_.set(true);
}

void AgentDesk::lookAgain() {
  if (looking_.value()) return;
  looking_.set(true);
  spawn(look());
}

Task<> AgentDesk::look() {
  const Weak self = self_;
  co_await parts_.agents.refresh();
  if (!self.expired()) looking_.set(false);
}

std::optional<std::string> AgentDesk::missing() const {
  std::string sentences;
  for (const auto provider : providers) {
    // Until it was looked for, it may be there.
    if (!parts_.agents.hasDiscovered(provider)) return std::nullopt;
    const auto& status = parts_.agents.status(provider);
    if (status.isReady() || (status.installation && !status.authentication)) return std::nullopt;
    sentences += (sentences.empty() ? "" : "\n\n") + status.message();
  }
  return sentences;
}

// Projects.

Task<> AgentDesk::readProjects() {
  const Weak self = self_;
  const auto file = ValeLibraryPaths::library(parts_.supportFolder) / "projects" / "projects.json";
  auto catalog = co_await readCatalog(files_, file);
  if (self.expired()) co_return;
  if (!catalog) {
    try {
      const auto refreshed = co_await index_.refresh();
      if (self.expired()) co_return;
    } catch (const Error& error) {
      log::warning("{}", error.message);
    }
    if (self.expired()) co_return;
    catalog = co_await readCatalog(files_, file);
    if (self.expired()) co_return;
  }
  if (catalog) router_.setCatalog(std::move(*catalog));
  projectsChanged_.emit();
}

std::string AgentDesk::projectName(const std::string& id) const {
  if (id == anywhereFolder().native()) return "Anywhere";
  return singleLine(router_.catalog().name(id));
}

std::string AgentDesk::projectName(const std::filesystem::path& folder) const {
  return projectName(folder.native());
}

std::vector<ProjectOffer> AgentDesk::projects() const {
  std::vector<const ThreadSummary*> recent;
  for (const auto& [id, thread] : hub_.threads()) {
    if (thread.kind == AgentThreadKind::project && thread.projectPath != anywhereFolder())
      recent.push_back(&thread);
  }
  std::ranges::sort(recent, std::greater(), &ThreadSummary::updatedAt);
  std::vector<std::filesystem::path> folders;
  const auto add = [&](const std::filesystem::path& folder) {
    if (std::ranges::find(folders, folder) == folders.end()) folders.push_back(folder);
  };
  for (const auto* thread : recent) {
    if (folders.size() < mostRecentProjects) add(thread->projectPath);
  }
  for (const auto& project : router_.catalog().projects) add(project.id);
  std::vector<ProjectOffer> offers;
  const auto& home = parts_.places.home.native();
  for (const auto& folder : folders) {
    auto place = folder.parent_path().native();
    if (!home.empty() && place.starts_with(home)) place.replace(0, home.size(), "~");
    offers.push_back({folder, projectName(folder), singleLine(validUtf8(std::move(place)))});
  }
  return offers;
}

Task<ProjectOffer> AgentDesk::addProject(std::filesystem::path folder) {
  const Weak self = self_;
  const auto id =
      co_await addFolder(files_, parts_.places, std::move(folder), parts_.surroundings.clock.now());
  if (!id) throw id.error();
  if (!self.expired()) spawn(readProjects());
  const std::filesystem::path added = *id;
  co_return ProjectOffer{.folder = added, .name = validUtf8(added.filename().string())};
}

// Requests.

AgentProvider AgentDesk::usualProvider() const {
  std::set<AgentProvider> ready, installed;
  for (const auto provider : providers) {
    const auto& status = parts_.agents.status(provider);
    if (status.isReady()) ready.insert(provider);
    if (status.installation) installed.insert(provider);
  }
  return IntelligenceSettings::resolve(parts_.settings.taskProvider().value(), AgentProvider::claude, ready,
                                       installed)
      .value_or(AgentProvider::claude);
}

std::vector<AgentModel> AgentDesk::models(AgentProvider provider) const {
  const auto& catalog = parts_.catalog.catalog().value();
  return provider == AgentProvider::codex ? catalog.codex : catalog.claude;
}

Task<SentRequest> AgentDesk::ask(AgentQuestion question) {
  const Weak self = self_;
  if (onlyWhiteSpace(question.words)) throw Error("Enter a prompt first.");
  open();
  // Whom to ask is known once the CLIs have been looked for.
  while (!opened_.value() || looking_.value()) {
    const OneShot<bool> changed;
    const auto loaded = opened_.subscribe([changed](bool) { changed.set(true); });
    const auto looked = looking_.subscribe([changed](bool) { changed.set(true); });
    co_await changed.wait();
    if (self.expired()) throw Error("Vale is being quit. Send the request again after its next start.");
  }
  if (const auto sentence = missing()) throw Error(*sentence);
  const auto* thread = std::get_if<ToThread>(&question.destination);
  const auto known = thread ? hub_.threads().find(thread->id) : hub_.threads().end();
  auto provider = question.provider.value_or(usualProvider());
  if (known != hub_.threads().end()) provider = known->second.provider;
  const auto& models = parts_.catalog.catalog().value();

  UserRequest request{.prompt = std::move(question.words)};
  request.provider = provider;
  request.model = question.model ? question.model : parts_.settings.taskModel(provider, models);
  request.effort =
      question.effort ? question.effort : parts_.settings.taskEffort(provider, request.model, models);
  request.options.access = question.access;
  request.options.images = std::move(question.images);
  auto context = agentContext(question, parts_.inputFilter);
  if (!context.text.empty()) {
    request.options.context = std::move(context.text);
    request.options.contextLabel = std::move(context.label);
  }
  if (question.page) {
    if (auto page = parts_.inputFilter.page(*question.page, ModelInputSite::taskContext)) {
      request.options.page = PageReference{.url = page->url, .title = page->title};
      lastPages_.push_back(std::move(*question.page));
      // Found again by the address that the conversation knows.
      lastPages_.back().url = page->url;
      if (lastPages_.size() > keptPages) lastPages_.pop_front();
    }
  }
  const auto sent = co_await hub_.send(std::move(question.destination), std::move(request));
  co_return sent;
}

Task<RoutedRequest> AgentDesk::route(QueuedRequest asked) {
  const Weak self = self_;
  RouteRequest request{.text = asked.prompt};
  // The list may still be on its way from the disk.
  if (router_.catalog().catalogSource == ProjectCatalogSource::none) {
    co_await readProjects();
    if (self.expired()) co_return RoutedRequest();
  }
  if (const auto& page = asked.options.page) {
    const auto known =
        std::ranges::find(lastPages_.rbegin(), lastPages_.rend(), page->url, &PageContext::url);
    if (known != lastPages_.rend()) {
      request.page = *known;
    } else {
      // Asked before the last start: its text is gone.
      request.page = PageContext{.url = page->url, .title = page->title, .responded = false};
    }
    std::vector<std::string> ids;
    for (const auto& [id, name] : router_.catalog().names) ids.push_back(id);
    auto fact = co_await observedFact(files_, page->url, std::move(ids));
    if (self.expired()) co_return RoutedRequest();
    if (!fact.empty()) request.facts.push_back(std::move(fact));
  }
  std::optional<RouteDecision> decision;
  try {
    decision = co_await router_.route(std::move(request));
  } catch (const RoutingError& error) {
    // What was found so far helps to choose.
    if (self.expired() || error.candidates.empty()) throw;
    decision =
        RouteDecision{.mode = RouteMode::clarify, .reason = error.message, .alternates = error.candidates};
  }
  if (self.expired() || !decision) co_return RoutedRequest();
  co_return routedRequest(*decision, [this](const std::string& id) { return projectName(id); });
}

}  // namespace vale
