#include "app/ProjectIndexUpkeep.h"

#include "common/Error.h"
#include "common/Log.h"

#include <boost/asio/co_spawn.hpp>

#include <exception>
#include <utility>

namespace vale {

namespace {

std::string messageOf(const std::exception_ptr& error) {
  try {
    if (error) std::rethrow_exception(error);
  } catch (const Error& problem) {
    return problem.message;
  }
  return {};
}

}  // namespace

ProjectIndexUpkeep::ProjectIndexUpkeep(ProjectPlaces places, Surroundings surroundings)
    : surroundings_(std::move(surroundings)), index_(std::move(places), surroundings_),
      self_(std::make_shared<ProjectIndexUpkeep*>(this)) {
  lookIn(firstLook);
}

void ProjectIndexUpkeep::lookIn(Seconds delay) {
  timer_ = surroundings_.clock.schedule(delay, [this] { refresh(); });
}

void ProjectIndexUpkeep::refresh() {
  asio::co_spawn(surroundings_.main.executor(), index_.refresh(),
                 [weak = std::weak_ptr(self_)](const std::exception_ptr& error, const ProjectIndexRefresh&) {
                   const auto self = weak.lock();
                   if (!self) return;
                   auto problem = messageOf(error);
                   if (!problem.empty() && problem != (*self)->reported_) log::warning("{}", problem);
                   (*self)->reported_ = std::move(problem);
                   (*self)->lookIn(interval);
                 });
}

}  // namespace vale
