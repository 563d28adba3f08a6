#include "agents/AgentQueues.h"

#include "common/Log.h"
#include "common/RecordList.h"

#include <algorithm>
#include <utility>

namespace vale {
namespace {

constexpr std::string_view key = "requests";

}  // namespace

AgentQueues::AgentQueues(std::optional<std::filesystem::path> file, Surroundings surroundings) {
  if (!file) return;
  try {
    auto list = RecordList<QueuedRequest>::read(*file, key);
    waiting_ = std::move(list.records);
    unknown_ = std::move(list.unknown);
  } catch (const Error& error) {
    log::warning("Vale queued requests: {}", error.message);
    storageError_.set("Could not read the requests that waited. The original file is preserved. " +
                      error.message);
    return;
  }
  for (const auto& name : names()) pauses_.emplace(name, QueuePause::restarted);
  const SerialQueue queue(surroundings.workers, "Vale.queues");
  file_ = std::make_unique<DeferredFile>(
      std::move(*file), queue, surroundings,
      [this] {
        RecordList<QueuedRequest> list{begun_, unknown_};
        list.records.insert(list.records.end(), waiting_.begin(), waiting_.end());
        return [list = std::move(list)] { return list.text(key); };
      },
      [this](std::optional<std::string> error) {
        if (error) log::warning("Vale queued requests: {}", *error);
        storageError_.set(std::move(error));
      });
}

std::vector<std::string> AgentQueues::names() const {
  std::vector<std::string> names;
  for (const auto& request : waiting_) {
    if (std::ranges::find(names, request.queue) == names.end()) names.push_back(request.queue);
  }
  return names;
}

std::vector<QueuedRequest> AgentQueues::waiting(std::string_view queue) const {
  std::vector<QueuedRequest> found;
  std::ranges::copy_if(waiting_, std::back_inserter(found),
                       [&](const auto& request) { return request.queue == queue; });
  return found;
}

bool AgentQueues::waits(std::string_view queue) const { return first(queue) != nullptr; }

const QueuedRequest* AgentQueues::find(const Uuid& id) const {
  const auto found = std::ranges::find(waiting_, id, &QueuedRequest::id);
  return found == waiting_.end() ? nullptr : &*found;
}

const QueuedRequest* AgentQueues::first(std::string_view queue) const {
  const auto found = std::ranges::find(waiting_, queue, &QueuedRequest::queue);
  return found == waiting_.end() ? nullptr : &*found;
}

std::vector<QueuedRequest>::iterator AgentQueues::position(const Uuid& id) {
  return std::ranges::find(waiting_, id, &QueuedRequest::id);
}

void AgentQueues::append(QueuedRequest request) {
  const std::string queue = request.queue;
  waiting_.push_back(std::move(request));
  changedIn(queue);
}

bool AgentQueues::edit(const Uuid& id, std::string prompt, std::optional<AgentAccess> access) {
  const auto found = position(id);
  if (found == waiting_.end()) return false;
  found->prompt = std::move(prompt);
  if (access) found->options.access = *access;
  changedIn(std::string(found->queue));
  return true;
}

bool AgentQueues::move(const Uuid& id, std::size_t index) {
  const auto found = position(id);
  if (found == waiting_.end()) return false;
  const auto request = *found;
  waiting_.erase(found);
  // Before the request that now has this place in the line; lines do not matter to each other.
  const auto place = std::ranges::find_if(
      waiting_, [&](const auto& other) { return other.queue == request.queue && index-- == 0; });
  waiting_.insert(place, request);
  changedIn(request.queue);
  return true;
}

bool AgentQueues::remove(const Uuid& id) {
  const auto found = position(id);
  if (found == waiting_.end()) return false;
  const std::string queue = found->queue;
  waiting_.erase(found);
  changedIn(queue);
  return true;
}

bool AgentQueues::readdress(QueuedRequest request) {
  if (!remove(request.id)) return false;
  append(std::move(request));
  return true;
}

std::optional<QueuedRequest> AgentQueues::begin(std::string_view queue) {
  const auto first = std::ranges::find(waiting_, queue, &QueuedRequest::queue);
  if (first == waiting_.end()) return std::nullopt;
  begun_.push_back(*first);
  waiting_.erase(first);
  const auto request = begun_.back();
  changedIn(request.queue);
  return request;
}

void AgentQueues::putBack(const Uuid& id) {
  const auto found = std::ranges::find(begun_, id, &QueuedRequest::id);
  if (found == begun_.end()) return;
  waiting_.insert(waiting_.begin(), *found);
  begun_.erase(found);
  changedIn(std::string(waiting_.front().queue));
}

void AgentQueues::forget(const Uuid& id) {
  if (std::erase_if(begun_, [&](const auto& request) { return request.id == id; }) != 0 && file_) {
    file_->schedule();
  }
}

std::optional<QueuePause> AgentQueues::pause(std::string_view queue) const {
  const auto found = pauses_.find(queue);
  return found == pauses_.end() ? std::nullopt : std::optional(found->second);
}

void AgentQueues::setPause(const std::string& queue, std::optional<QueuePause> pause) {
  if (pause && !waits(queue)) return;
  if (this->pause(queue) == pause) return;
  if (pause) {
    pauses_[queue] = *pause;
  } else {
    pauses_.erase(queue);
  }
  changed_.emit(queue);
}

void AgentQueues::changedIn(const std::string& queue) {
  if (!waits(queue)) pauses_.erase(queue);
  if (file_) file_->schedule();
  changed_.emit(queue);
}

void AgentQueues::save() {
  if (file_) file_->save();
}

}  // namespace vale
