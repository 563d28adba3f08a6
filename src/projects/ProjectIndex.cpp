#include "projects/ProjectIndex.h"

#include "projects/ProjectIndexPass.h"

#include <boost/asio/co_spawn.hpp>

#include <utility>

namespace vale {

ProjectIndex::ProjectIndex(ProjectPlaces places, Surroundings surroundings)
    : places_(std::move(places)), surroundings_(std::move(surroundings)),
      cache_(std::make_shared<std::optional<ProjectIndexCache>>()),
      self_(std::make_shared<ProjectIndex*>(this)) {}

ProjectIndex::~ProjectIndex() {
  const auto closed = std::make_exception_ptr(Error("The project index was closed. Try again."));
  for (const auto& caller : served_) caller.set(closed);
  for (const auto& caller : waiting_) caller.set(closed);
}

Task<ProjectIndexRefresh> ProjectIndex::refresh() {
  const OneShot<Outcome> outcome;
  waiting_.push_back(outcome);
  if (!refreshing_.value()) start();
  auto ended = co_await outcome.wait();
  if (const auto* error = std::get_if<std::exception_ptr>(&ended)) std::rethrow_exception(*error);
  co_return std::get<ProjectIndexRefresh>(std::move(ended));
}

void ProjectIndex::start() {
  served_ = std::exchange(waiting_, {});
  refreshing_.set(true);
  asio::co_spawn(surroundings_.workers.executor(),
                 runProjectIndexPass(places_, cache_, surroundings_.workers),
                 [main = surroundings_.main, weak = std::weak_ptr(self_)](std::exception_ptr error,
                                                                          ProjectIndexRefresh refresh) {
                   Outcome outcome(std::move(refresh));
                   if (error) outcome = error;
                   main.post([weak, outcome = std::move(outcome)]() mutable {
                     if (const auto self = weak.lock()) (*self)->finish(std::move(outcome));
                   });
                 });
}

void ProjectIndex::finish(Outcome outcome) {
  for (const auto& caller : std::exchange(served_, {})) caller.set(outcome);
  if (waiting_.empty()) {
    refreshing_.set(false);
  } else {
    start();
  }
}

}  // namespace vale
