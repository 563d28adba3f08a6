#include "projects/ProjectRouter.h"

#include "common/OneShot.h"
#include "common/Text.h"
#include "history/LocalCalendar.h"
#include "projects/DataLine.h"
#include "projects/PlainFiles.h"
#include "projects/ProjectIDs.h"
#include "projects/RouteAnswer.h"
#include "projects/RoutingPrompt.h"

#include <cassert>
#include <utility>

namespace vale {
namespace {

constexpr std::size_t largestIndex = std::size_t{32} << 20;
constexpr std::size_t longestTitle = 80;

/// The ids in the index; none while there is none.
Task<std::optional<ProjectIDs>> readIndex(SerialQueue queue, std::filesystem::path file) {
  const OneShot<std::optional<ProjectIDs>> read;
  queue.post([read, file = std::move(file)] {
    const auto markdown = PlainFiles::beginning(file, largestIndex);
    read.set(markdown && !markdown->empty() ? std::optional(indexHeadings(*markdown)) : std::nullopt);
  });
  auto ids = co_await read.wait();
  co_return ids;
}

/// The answer's text; none when it was no JSON object, or when it was cancelled.
Task<std::optional<std::string>> answer(Task<std::string> question, std::vector<RouteCandidate> candidates,
                                        Cancellation cancellation) {
  try {
    auto text = co_await std::move(question);
    co_return text;
  } catch (const UnreadableAnswer&) {
  } catch (const Error& error) {
    if (!cancellation.isCancelled()) throw RoutingError(error.message, std::move(candidates));
  }
  co_return std::nullopt;
}

}  // namespace

struct ProjectRouter::Self {
  using Outcome = std::optional<RouteDecision>;

  explicit Self(Parts given) : parts(std::move(given)), queue(parts.surroundings.workers, "Vale.routing") {}

  Parts parts;
  SerialQueue queue;
  ProjectRoutingCatalog catalog;
  bool searchesDeeperAutomatically = true;
  std::optional<RouteDispatch> lastDispatch;
  Published<RoutingState> state;
  int underWay = 0;

  /// Shows that a request is under way for as long as it is.
  class Showing {
   public:
    explicit Showing(const std::shared_ptr<Self>& self) : self_(self) {
      ++self->underWay;
      self->state.set(RoutingState::findingProject);
    }
    ~Showing() {
      if (const auto self = self_.lock(); self && --self->underWay == 0) self->state.set(RoutingState::idle);
    }
    Showing(const Showing&) = delete;
    Showing& operator=(const Showing&) = delete;

   private:
    std::weak_ptr<Self> self_;
  };

  /// Null when there is nobody left to route for.
  static std::shared_ptr<Self> present(const std::weak_ptr<Self>& weak, const Cancellation& cancellation) {
    auto self = weak.lock();
    assert(!self || self->parts.surroundings.main.isCurrent());
    return cancellation.isCancelled() ? nullptr : self;
  }

  std::string agentName() const {
    const auto provider = parts.provider ? parts.provider() : std::nullopt;
    return std::string(provider ? productName(*provider) : "The agent");
  }

  std::string today() const {
    const auto zone = parts.timeZone.empty() ? LocalCalendar::system().timeZone() : parts.timeZone;
    return RoutingPrompt::date(parts.surroundings.clock.now(), zone);
  }

  /// The request with what may be sent of its page.
  RouteRequest filtered(RouteRequest request, ModelInputSite site) const {
    if (request.page) request.page = parts.inputFilter.page(*std::move(request.page), site);
    return request;
  }

  std::string quickPrompt(const RouteRequest& request) const {
    return RoutingPrompt::quick(filtered(request, ModelInputSite::routing), catalog, today());
  }

  RouteDecision read(const std::optional<std::string>& text, const ProjectIDs& known,
                     TurnRoutingMethod method, const RouteRequest& request,
                     std::vector<RouteCandidate> candidates) const {
    auto decision = text ? readRouteAnswer(*text, known, method) : std::nullopt;
    if (!decision) {
      throw RoutingError(agentName() + " could not read the routing answer. Try again, or choose a project.",
                         std::move(candidates));
    }
    if (decision->title.empty()) decision->title = dataLine(request.text, longestTitle);
    return *std::move(decision);
  }

  static Task<Outcome> route(std::weak_ptr<Self> weak, RouteRequest request, PageReader readPage,
                             Cancellation cancellation) {
    auto self = present(weak, cancellation);
    if (!self) co_return std::nullopt;
    if (onlyWhiteSpace(request.text)) throw Error("Enter a prompt first.");
    const Showing showing(self);

    auto looking = self->parts.client.unavailability();
    self.reset();
    const auto unavailable = co_await std::move(looking);
    self = present(weak, cancellation);
    if (!self) co_return std::nullopt;
    if (unavailable) throw Error(*unavailable);

    if (readPage && !request.page) {
      self->state.set(RoutingState::readingPage);
      self.reset();
      request.page = co_await readPage();
      self = present(weak, cancellation);
      if (!self) co_return std::nullopt;
      self->state.set(RoutingState::findingProject);
    }

    const auto known = self->catalog.ids();
    auto question = self->parts.client.classify(self->quickPrompt(request), RoutingPrompt::schema,
                                                IntelligenceOperation::routing, cancellation);
    self.reset();
    const auto text = co_await answer(std::move(question), std::vector<RouteCandidate>(), cancellation);
    self = present(weak, cancellation);
    if (!self) co_return std::nullopt;
    auto decision = self->read(text, known, TurnRoutingMethod::automatic, request, {});
    if (decision.mode != RouteMode::clarify || !self->searchesDeeperAutomatically) co_return decision;

    self.reset();
    auto deeper =
        co_await searchDeeper(weak, std::move(request), std::move(decision), std::move(cancellation));
    co_return deeper;
  }

  static Task<Outcome> searchDeeper(std::weak_ptr<Self> weak, RouteRequest request, RouteDecision quick,
                                    Cancellation cancellation) {
    auto self = present(weak, cancellation);
    if (!self) co_return std::nullopt;
    const Showing showing(self);

    auto reading = readIndex(self->queue, self->parts.library / "projects" / "INDEX.md");
    self.reset();
    const auto known = co_await std::move(reading);
    self = present(weak, cancellation);
    if (!self) co_return std::nullopt;
    if (!known) {
      throw RoutingError(self->agentName() + " is still reading your projects. Choose a project, or search "
                                             "deeper again in a moment.",
                         std::move(quick.alternates));
    }
    if (known->empty()) co_return quick;

    const auto asked = self->filtered(request, ModelInputSite::deepRouting);
    auto question = self->parts.client.explore(RoutingPrompt::deep(asked, quick.alternates, self->today()),
                                               RoutingPrompt::schema, self->parts.library,
                                               IntelligenceOperation::deepRouting, cancellation);
    self.reset();
    const auto text = co_await answer(std::move(question), quick.alternates, cancellation);
    self = present(weak, cancellation);
    if (!self) co_return std::nullopt;
    co_return self->read(text, *known, TurnRoutingMethod::deepSearch, request, std::move(quick.alternates));
  }
};

ProjectRouter::ProjectRouter(Parts parts) : self_(std::make_shared<Self>(std::move(parts))) {}

void ProjectRouter::setCatalog(ProjectRoutingCatalog catalog) { self_->catalog = std::move(catalog); }

const ProjectRoutingCatalog& ProjectRouter::catalog() const { return self_->catalog; }

void ProjectRouter::setSearchesDeeperAutomatically(bool searches) {
  self_->searchesDeeperAutomatically = searches;
}

bool ProjectRouter::searchesDeeperAutomatically() const { return self_->searchesDeeperAutomatically; }

Task<std::optional<RouteDecision>> ProjectRouter::route(RouteRequest request, PageReader readPage,
                                                        Cancellation cancellation) {
  return Self::route(self_, std::move(request), std::move(readPage), std::move(cancellation));
}

Task<std::optional<RouteDecision>> ProjectRouter::searchDeeper(RouteRequest request, RouteDecision quick,
                                                               Cancellation cancellation) {
  return Self::searchDeeper(self_, std::move(request), std::move(quick), std::move(cancellation));
}

void ProjectRouter::prewarm() {
  self_->parts.client.prewarm(RoutingPrompt::schema, IntelligenceOperation::routing);
}

std::string ProjectRouter::quickPrompt(const RouteRequest& request) { return self_->quickPrompt(request); }

void ProjectRouter::dispatch(RouteRequest request, RouteDecision decision, const Starter& start) {
  assert(decision.mode != RouteMode::clarify);
  auto routing =
      turnRouting(decision, [this](const std::string& projectID) { return self_->catalog.name(projectID); });
  auto note = agentNote(decision);
  RouteDispatch dispatch{std::move(request), std::move(decision), std::move(routing), std::move(note)};
  if (!start(dispatch)) {
    throw Error(dispatch.decision.mode == RouteMode::answer
                    ? "Vale could not start the conversation. Try again."
                    : "Vale could not start the task. Try again.");
  }
  self_->lastDispatch = std::move(dispatch);
}

const std::optional<RouteDispatch>& ProjectRouter::lastDispatch() const { return self_->lastDispatch; }

const Published<RoutingState>& ProjectRouter::state() const { return self_->state; }

}  // namespace vale
