#include "agents/AgentHub.h"

#include "agents/AgentThreadFolder.h"
#include "agents/TurnRequest.h"
#include "common/Log.h"
#include "common/Text.h"

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/use_awaitable.hpp>

#include <algorithm>
#include <utility>

// The conversations, what is sent to them, and their files. Turns: AgentHubTurns.cpp. Routing and undo:
// AgentHubRouting.cpp, AgentHubUndo.cpp.

namespace vale {
namespace {

using LockPointer = std::shared_ptr<TurnLock>;

Task<LockPointer> acquire(std::filesystem::path folder, std::string queue) {
  auto lock = TurnLock::tryAcquire(folder, queue);
  co_return lock ? std::make_shared<TurnLock>(std::move(*lock)) : nullptr;
}

bool hasRunningTurn(const AgentThread& thread) {
  return std::ranges::find(thread.turns, AgentRunStatus::running, &AgentTurn::status) != thread.turns.end();
}

}  // namespace

ThreadSummary ThreadSummary::of(const AgentThread& thread) {
  ThreadSummary summary{.id = thread.id,
                        .kind = thread.kind,
                        .projectPath = thread.projectPath,
                        .provider = thread.provider,
                        .title = thread.title,
                        .createdAt = thread.createdAt,
                        .updatedAt = thread.updatedAt,
                        .turns = thread.turns.size(),
                        .page = thread.page,
                        .queue = queueOf(thread)};
  if (!thread.turns.empty()) {
    summary.status = thread.turns.back().status;
    summary.needsAttention = outcomeOf(thread.turns.back()) == TurnOutcome::needsAttention;
  }
  return summary;
}

AgentHub::AgentHub(Places places, Services services, AgentRuntime& agents, Surroundings surroundings)
    : places_(std::move(places)), services_(std::move(services)), agents_(agents),
      surroundings_(std::move(surroundings)),
      store_(places_.supportFolder / AgentThreadFolder::folderName, surroundings_),
      checkpoints_(places_.supportFolder / CheckpointStore::folderName, places_.environment,
                   surroundings_.workers),
      queues_(places_.queueFile, surroundings_), self_(std::make_shared<AgentHub*>(this)) {
  subscriptions_.emplace_back(agents_.statusChanged().connect([this](AgentProvider) {
    for (const auto& queue : queues_.names()) advance(queue);
  }));
  subscriptions_.emplace_back(store_.finished().connect(
      [this](const Uuid& id, const std::optional<std::string>& error) { written(id, error); }));
}

AgentHub::~AgentHub() {
  for (const auto& [queue, turn] : live_) {
    if (turn->run) agents_.cancel(turn->run->id);
  }
}

void AgentHub::spawn(Task<> task) {
  asio::co_spawn(surroundings_.main.executor(), std::move(task), [](std::exception_ptr error) {
    if (error) std::rethrow_exception(error);
  });
}

// The conversations.

Task<> AgentHub::load(std::optional<std::vector<Uuid>> only) {
  const Weak self = self_;
  std::vector<AgentThread> threads;
  if (only) {
    for (const auto& id : *only) {
      auto thread = co_await store_.load(id);
      if (self.expired()) co_return;
      if (thread) threads.push_back(std::move(*thread));
    }
  } else {
    threads = co_await store_.loadAll();
    if (self.expired()) co_return;
    checkpoints_.prune(surroundings_.clock.now(), {});
  }
  for (const auto& thread : threads) {
    summaries_[thread.id] = ThreadSummary::of(thread);
    // Their turns began, but the list was not written again.
    for (const auto& turn : thread.turns) queues_.remove(turn.id);
  }
  for (const auto& request : queues_.waiting({})) routings_[request.id].step = RequestRouting::Step::waiting;
  for (auto& thread : threads) {
    if (!hasRunningTurn(thread)) continue;
    co_await endInterrupted(std::move(thread));
    if (self.expired()) co_return;
  }
  threadsChanged_.emit();
}

Task<> AgentHub::endInterrupted(AgentThread thread) {
  const Weak self = self_;
  // Another Vale may still run it.
  auto held = co_await lock(queueOf(thread));
  if (self.expired() || !held) co_return;
  for (auto& turn : thread.turns) {
    if (turn.status != AgentRunStatus::running || turn.access != AgentAccess::projectWrite) continue;
    const auto problem = co_await checkpoints_.seal(turn.id);
    if (self.expired()) co_return;
    addNote(turn, problem.value_or("What was changed in the folder until Vale was started again counts as "
                                   "this turn’s."));
  }
  endInterruptedTurns(thread);
  auto& opened = open(std::move(thread));
  opened.lock = std::move(held);
  saveNow(opened);
}

Task<std::optional<AgentThread>> AgentHub::thread(Uuid id) {
  const auto found = open_.find(id);
  if (found == open_.end()) {
    auto read = co_await store_.load(id);
    co_return read;
  }
  std::optional<AgentThread> thread = found->second.thread;
  const auto live = liveOf(id);
  if (live && live->step != LiveTurn::Step::ending) {
    const auto turn = std::ranges::find(thread->turns, live->request.id, &AgentTurn::id);
    if (turn != thread->turns.end()) turn->items = live->transcript.items();
  }
  co_return thread;
}

Task<> AgentHub::removeThread(Uuid id) {
  const Weak self = self_;
  const auto known = summaries_.find(id);
  if (known == summaries_.end()) co_return;
  removed_.insert(id);
  for (const auto& request : queues_.waiting(known->second.queue)) {
    if (request.threadID == id) queues_.remove(request.id);
  }
  if (const auto turn = liveOf(id)) cancel(turn->request.queue);
  summaries_.erase(id);
  threadsChanged_.emit();
  const auto record = co_await thread(id);
  if (self.expired()) co_return;
  std::vector<Uuid> turns;
  if (record) std::ranges::transform(record->turns, std::back_inserter(turns), &AgentTurn::id);
  checkpoints_.remove(std::move(turns));
  store_.remove(id);
  close(id);
}

const ThreadSummary& AgentHub::summary(const Uuid& thread) const {
  const auto found = summaries_.find(thread);
  if (found == summaries_.end()) throw Error("There is no such conversation. It may have been deleted.");
  return found->second;
}

// In memory and on disk.

AgentHub::Open& AgentHub::open(AgentThread thread) {
  const Uuid id = thread.id;
  return open_.try_emplace(id, Open{.thread = std::move(thread)}).first->second;
}

void AgentHub::close(const Uuid& id) {
  const auto found = open_.find(id);
  if (found == open_.end() || liveOf(id)) return;
  const auto& open = found->second;
  if (!removed_.contains(id) && (open.writes != 0 || open.failure)) return;
  for (const auto& turn : open.unwritten) queues_.forget(turn);
  auto lock = open.lock;
  open_.erase(found);
  giveBack(std::move(lock));
}

void AgentHub::saveNow(Open& open) {
  summarise(open.thread);
  if (removed_.contains(open.thread.id)) return;
  ++open.writes;
  store_.save(open.thread);
}

void AgentHub::saveSoon(const Uuid& id) {
  if (removed_.contains(id)) return;
  store_.saveSoon(id, [weak = Weak(self_), id]() -> std::optional<AgentThread> {
    const auto self = weak.lock();
    if (!self) return std::nullopt;
    AgentHub& hub = **self;
    const auto open = hub.open_.find(id);
    if (open == hub.open_.end() || hub.removed_.contains(id)) return std::nullopt;
    if (const auto live = hub.liveOf(id)) hub.turnOf(*live).items = live->transcript.items();
    ++open->second.writes;
    return open->second.thread;
  });
}

void AgentHub::written(const Uuid& id, const std::optional<std::string>& error) {
  const auto found = open_.find(id);
  if (found != open_.end() && found->second.writes > 0) {
    auto& open = found->second;
    --open.writes;
    open.failure = error;
    if (open.writes == 0 && !error) {
      for (const auto& turn : std::exchange(open.unwritten, {})) queues_.forget(turn);
      close(id);
    }
  }
  if (error) log::warning("Vale threads: {}", *error);
  storageError_.set(error);
}

void AgentHub::summarise(const AgentThread& thread) {
  if (removed_.contains(thread.id)) return;
  summaries_[thread.id] = ThreadSummary::of(thread);
  threadsChanged_.emit();
}

/// Held until the last turn of the line is on disk, and by the next one from then on.
Task<LockPointer> AgentHub::lock(std::string queue) {
  const Weak self = self_;
  const auto folder = store_.directory() / "Running";
  LockPointer held = locks_[queue].lock();
  if (held) co_return held;
  try {
    held = co_await asio::co_spawn(surroundings_.workers.executor(), acquire(folder, queue),
                                   asio::use_awaitable);
    if (!self.expired()) locks_[queue] = held;
  } catch (const FileError& error) {
    // Without a lock there is no turn, like one that another program holds.
    log::warning("Vale threads: {}", error.message);
  }
  co_return held;
}

void AgentHub::giveBack(std::shared_ptr<TurnLock> lock) {
  if (lock) surroundings_.workers.post([lock = std::move(lock)] {});
}

void AgentHub::save() {
  // What a full disk refused may have its place by now.
  for (auto& [id, open] : open_) {
    if (open.failure) saveNow(open);
  }
  store_.flush();
  queues_.save();
}

// Requests.

AgentThread AgentHub::newThread(const QueuedRequest& request, AgentThread::Kind kind,
                                std::filesystem::path folder, std::string title) const {
  AgentThread thread{.id = request.id, .kind = kind, .projectPath = std::move(folder)};
  thread.provider = request.provider ? *request.provider : services_.usualProvider();
  thread.title = onlyWhiteSpace(title) ? titleFrom(request.prompt) : titleFrom(title);
  thread.createdAt = thread.updatedAt = surroundings_.clock.now();
  if (kind == AgentThread::Kind::page) thread.page = request.options.page;
  return thread;
}

/// Makes the conversation that a request begins; the request goes to its line.
void AgentHub::address(QueuedRequest request, AgentThread::Kind kind, const std::filesystem::path& folder,
                       std::string title) {
  auto& opened = open(newThread(request, kind, folder, std::move(title)));
  request.threadID = opened.thread.id;
  request.queue = queueOf(opened.thread);
  const std::string queue = request.queue;
  saveNow(opened);
  if (!queues_.find(request.id) || !queues_.readdress(request)) queues_.append(std::move(request));
  advance(queue);
}

Task<SentRequest> AgentHub::send(RequestDestination destination, UserRequest asked) {
  const Weak self = self_;
  if (onlyWhiteSpace(asked.prompt)) throw Error("Enter a prompt first.");
  QueuedRequest request{.id = Uuid::random(),
                        .prompt = std::move(asked.prompt),
                        .options = std::move(asked.options),
                        .provider = asked.provider,
                        .model = std::move(asked.model),
                        .effort = std::move(asked.effort),
                        .sentAt = surroundings_.clock.now()};
  const SentRequest sent{.id = request.id,
                         .threadID = std::holds_alternative<ToThread>(destination)
                                         ? summary(std::get<ToThread>(destination).id).id
                                         : request.id};
  if (!request.options.images.empty()) {
    auto images = co_await store_.adopt(request.options.images, sent.threadID);
    if (self.expired()) throw Error("Vale is being quit. Send the request again after its next start.");
    request.options.images = std::move(images);
  }
  if (std::holds_alternative<ToThread>(destination)) {
    request.threadID = sent.threadID;
    request.queue = summary(sent.threadID).queue;
    const std::string queue = request.queue;
    queues_.append(std::move(request));
    advance(queue);
  } else if (const auto* project = std::get_if<ToProject>(&destination)) {
    address(std::move(request), AgentThread::Kind::project, project->folder, project->title);
  } else if (const auto* page = std::get_if<ToPage>(&destination)) {
    address(std::move(request), AgentThread::Kind::page, page->folder, page->title);
  } else {
    queues_.append(std::move(request));
    startRouting(sent.id);
  }
  co_return sent;
}

bool AgentHub::edit(const Uuid& request, std::string prompt, std::optional<AgentAccess> access) {
  return !onlyWhiteSpace(prompt) && queues_.edit(request, std::move(prompt), access);
}

bool AgentHub::move(const Uuid& request, std::size_t index) { return queues_.move(request, index); }

bool AgentHub::remove(const Uuid& request) {
  const auto* found = queues_.find(request);
  if (!found) return false;
  const auto thread = found->threadID;
  queues_.remove(request);
  urgent_.erase(request);
  routings_.erase(request);
  if (!thread) {
    store_.remove(request);
    return true;
  }
  // A conversation that never began goes with the request that was to begin it.
  const auto known = summaries_.find(*thread);
  if (known == summaries_.end() || known->second.turns != 0 || liveOf(*thread)) return true;
  const auto others = queues_.waiting(known->second.queue);
  if (std::ranges::find(others, thread, &QueuedRequest::threadID) == others.end())
    spawn(removeThread(*thread));
  return true;
}

void AgentHub::resume(const std::string& queue) {
  queues_.setPause(queue, std::nullopt);
  advance(queue);
}

void AgentHub::pause(const std::string& queue) { queues_.setPause(queue, QueuePause::byUser); }

void AgentHub::runNext(const Uuid& request) {
  const auto* found = queues_.find(request);
  if (!found || found->queue.empty()) return;
  const std::string queue = found->queue;
  urgent_.insert(request);
  queues_.move(request, 0);
  advance(queue);
}

Task<SentRequest> AgentHub::retry(Uuid thread, Uuid turn, TurnSession session) {
  const Weak self = self_;
  const auto record = co_await this->thread(thread);
  if (self.expired() || !record) throw Error("There is no such conversation. It may have been deleted.");
  const auto found = std::ranges::find(record->turns, turn, &AgentTurn::id);
  if (found == record->turns.end() || found->status == AgentRunStatus::running) {
    throw Error("There is no such turn that has ended.");
  }
  auto request = requestFrom(*record, *found, session, surroundings_.clock.now());
  const SentRequest sent{.id = request.id, .threadID = thread};
  queues_.append(std::move(request));
  runNext(sent.id);
  co_return sent;
}

}  // namespace vale
