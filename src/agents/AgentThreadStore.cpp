#include "agents/AgentThreadStore.h"

#include "agents/AgentThreadFolder.h"
#include "common/QueuedCall.h"

#include <cassert>
#include <future>
#include <utility>

namespace vale {
namespace {

/// Why it failed, or none.
std::optional<std::string> outcomeOf(const std::function<void(AgentThreadFolder&)>& work,
                                     AgentThreadFolder& folder) {
  try {
    work(folder);
    return std::nullopt;
  } catch (const std::exception& error) {
    return error.what();
  }
}

std::function<void(AgentThreadFolder&)> writing(AgentThread thread) {
  const auto shared = std::make_shared<const AgentThread>(std::move(thread));
  return [shared](AgentThreadFolder& folder) { folder.write(*shared); };
}

}  // namespace

AgentThreadStore::AgentThreadStore(std::filesystem::path directory, Surroundings surroundings)
    : directory_(std::move(directory)), surroundings_(std::move(surroundings)),
      queue_(surroundings_.workers, "Vale.threads.store"),
      folder_(std::make_shared<AgentThreadFolder>(directory_, &surroundings_.workers)),
      self_(std::make_shared<AgentThreadStore*>(this)) {}

AgentThreadStore::~AgentThreadStore() = default;

std::filesystem::path AgentThreadStore::attachments(const Uuid& id) const { return folder_->attachments(id); }

Task<std::vector<AgentThread>> AgentThreadStore::loadAll() {
  return callOn(queue_, [folder = folder_] { return folder->readAll(); });
}

Task<std::optional<AgentThread>> AgentThreadStore::load(Uuid id) {
  return callOn(queue_, [folder = folder_, id] { return folder->read(id); });
}

Task<int> AgentThreadStore::removeUnreadable(std::optional<Date> since) {
  return callOn(queue_, [folder = folder_, since] { return folder->removeUnreadable(since); });
}

Task<std::vector<std::filesystem::path>> AgentThreadStore::adopt(std::vector<std::filesystem::path> files,
                                                                 Uuid id) {
  return callOn(queue_,
                [folder = folder_, files = std::move(files), id] { return folder->adopt(files, id); });
}

void AgentThreadStore::save(AgentThread thread) {
  const auto id = thread.id;
  pending_.erase(id);
  perform(id, writing(std::move(thread)));
}

void AgentThreadStore::saveSoon(const Uuid& id, Content content) {
  assert(surroundings_.main.isCurrent());
  auto& pending = pending_[id];
  pending.content = std::move(content);
  if (pending.isDue || pending.timer.pending()) return;
  pending.timer = surroundings_.clock.schedule(saveDelay, [this, id] { saveDue(id); });
}

void AgentThreadStore::saveDue(const Uuid& id) {
  // A disk that is slower than the changes gets one write at a time.
  if (underWay_.contains(id)) {
    pending_[id].isDue = true;
    return;
  }
  const auto pending = pending_.extract(id);
  if (auto thread = pending.mapped().content()) perform(id, writing(std::move(*thread)));
}

void AgentThreadStore::remove(const Uuid& id) {
  pending_.erase(id);
  perform(id, [id](AgentThreadFolder& folder) { folder.remove(id); });
}

void AgentThreadStore::perform(const Uuid& id, Work work) {
  assert(surroundings_.main.isCurrent());
  ++underWay_[id];
  queue_.post(
      [folder = folder_, id, work = std::move(work), main = surroundings_.main, weak = std::weak_ptr(self_)] {
        main.post([weak, id, error = outcomeOf(work, *folder)] {
          if (const auto self = weak.lock()) (*self)->finish(id, error);
        });
      });
}

void AgentThreadStore::finish(const Uuid& id, const std::optional<std::string>& error) {
  const auto underWay = underWay_.find(id);
  if (--underWay->second == 0) underWay_.erase(underWay);
  const auto pending = pending_.find(id);
  if (pending != pending_.end() && pending->second.isDue) saveDue(id);
  finished_.emit(id, error);
}

void AgentThreadStore::flush() {
  assert(surroundings_.main.isCurrent());
  struct Write {
    Uuid id;
    Work work;
    std::optional<std::string> error;
  };
  std::vector<Write> writes;
  for (auto& [id, pending] : std::exchange(pending_, {})) {
    if (auto thread = pending.content()) writes.push_back({id, writing(std::move(*thread)), {}});
  }
  const auto writeAll = [&] {
    for (auto& write : writes) write.error = outcomeOf(write.work, *folder_);
  };
  if (surroundings_.workers.context().stopped()) {
    writeAll();
  } else {
    std::promise<void> promise;
    auto done = promise.get_future();
    queue_.post([&] {
      writeAll();
      promise.set_value();
    });
    done.wait();
  }
  for (const auto& write : writes) finished_.emit(write.id, write.error);
}

}  // namespace vale
