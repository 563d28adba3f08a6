#include "agents/AgentHub.h"

#include <algorithm>
#include <utility>

// Requests that name no conversation.

namespace vale {
namespace {

void instruct(QueuedRequest& request, const std::string& sentence) {
  if (sentence.empty()) return;
  auto& instructions = request.options.instructions;
  instructions = instructions ? *instructions + "\n" + sentence : sentence;
}

}  // namespace

void AgentHub::startRouting(const Uuid& id) {
  const auto* request = queues_.find(id);
  if (!request) return;
  auto& state = routings_[id];
  state = {};
  if (services_.route) {
    spawn(route(*request, ++attempts_[id]));
  } else {
    state.step = RequestRouting::Step::choice;
  }
  queues_.changed().emit({});
}

Task<> AgentHub::route(QueuedRequest request, int attempt) {
  const Weak self = self_;
  const Uuid id = request.id;
  RoutedRequest routed;
  std::optional<std::string> failure;
  try {
    routed = co_await services_.route(std::move(request));
  } catch (const Error& error) {
    failure = error.message;
  }
  if (self.expired()) co_return;
  // Meanwhile the user may have chosen, edited, asked again or given up.
  const auto* waiting = queues_.find(id);
  const auto state = routings_.find(id);
  if (!waiting || state == routings_.end() || attempts_[id] != attempt) co_return;
  if (failure || routed.place == RoutedRequest::Place::unclear) {
    state->second.step = failure ? RequestRouting::Step::failed : RequestRouting::Step::choice;
    state->second.message = failure.value_or(std::string());
    state->second.routed = std::move(routed);
    queues_.changed().emit({});
    co_return;
  }
  auto addressed = *waiting;
  addressed.options.routing = std::move(routed.routing);
  instruct(addressed, routed.instructions);
  routings_.erase(state);
  attempts_.erase(id);
  const bool isPage = routed.place == RoutedRequest::Place::page;
  const auto folder = routed.place == RoutedRequest::Place::anywhere ? places_.anywhereFolder : routed.folder;
  address(std::move(addressed), isPage ? AgentThread::Kind::page : AgentThread::Kind::project,
          isPage ? std::filesystem::path() : folder, std::move(routed.title));
}

void AgentHub::routeAgain(const Uuid& request) {
  if (routings_.contains(request)) startRouting(request);
}

void AgentHub::chooseProject(const Uuid& id, const std::filesystem::path& folder, const std::string& name) {
  const auto* waiting = queues_.find(id);
  const auto state = routings_.find(id);
  if (!waiting || state == routings_.end()) return;
  auto request = *waiting;
  auto routing = state->second.routed.routing;
  const std::string project = folder.native();
  routing.method = TurnRouting::Method::chosen;
  routing.projectID = project;
  routing.destination = name;
  routing.confidence.reset();
  std::erase_if(routing.alternates, [&](const auto& other) { return other.projectID == project; });
  request.options.routing = std::move(routing);
  auto title = state->second.routed.title;
  routings_.erase(state);
  attempts_.erase(id);
  address(std::move(request), AgentThread::Kind::project, folder, std::move(title));
}

void AgentHub::choosePage(const Uuid& id) {
  const auto* waiting = queues_.find(id);
  const auto state = routings_.find(id);
  if (!waiting || state == routings_.end()) return;
  auto request = *waiting;
  request.options.routing =
      TurnRouting{.method = TurnRouting::Method::chosen, .reason = state->second.routed.routing.reason};
  auto title = state->second.routed.title;
  routings_.erase(state);
  attempts_.erase(id);
  address(std::move(request), AgentThread::Kind::page, {}, std::move(title));
}

}  // namespace vale
