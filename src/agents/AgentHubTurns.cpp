#include "agents/AgentHub.h"
#include "agents/TurnRequest.h"
#include "common/Log.h"
#include "common/PrivateFiles.h"

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/use_awaitable.hpp>

#include <algorithm>
#include <utility>

// One turn from its line to its end.

namespace vale {
namespace {

/// What cannot be made is told by the run that needs it.
Task<> makeFolder(std::filesystem::path folder) {
  try {
    PrivateFiles::makeFolder(folder);
  } catch (const FileError& error) {
    log::warning("Vale turns: {}", error.message);
  }
  co_return;
}

bool tells(const AgentTranscript& transcript, const std::string& failure) {
  return std::ranges::any_of(transcript.items(), [&](const TranscriptItem& item) {
    return item.kind == TranscriptItem::Kind::error && item.text == failure;
  });
}

}  // namespace

std::shared_ptr<LiveTurn> AgentHub::liveOf(const Uuid& thread) const {
  for (const auto& [queue, turn] : live_) {
    if (turn->request.threadID == thread) return turn;
  }
  return nullptr;
}

const LiveTurn* AgentHub::live(std::string_view queue) const {
  const auto found = live_.find(queue);
  return found == live_.end() ? nullptr : found->second.get();
}

AgentTurn& AgentHub::turnOf(const LiveTurn& turn) {
  return *std::ranges::find(open_.at(*turn.request.threadID).thread.turns, turn.request.id, &AgentTurn::id);
}

/// Begins the next turn of a line that is free to go on.
void AgentHub::advance(const std::string& queue) {
  const auto* next = queue.empty() ? nullptr : queues_.first(queue);
  if (!next || live_.contains(queue) || undoing_.contains(queue)) return;
  if (queues_.pause(queue) && !urgent_.contains(next->id)) return;
  const auto thread = summaries_.find(*next->threadID);
  // Until the CLI has been looked for, nobody knows whether it is there.
  if (thread != summaries_.end() && !agents_.hasDiscovered(thread->second.provider)) return;
  urgent_.erase(next->id);
  const auto turn = std::make_shared<LiveTurn>();
  turn->request = *next;
  live_.emplace(queue, turn);
  queues_.begin(queue);
  spawn(prepare(turn));
}

Task<> AgentHub::prepare(std::shared_ptr<LiveTurn> turn) {
  const Weak self = self_;
  const Uuid threadID = *turn->request.threadID;
  auto held = co_await lock(turn->request.queue);
  if (self.expired()) co_return;
  if (turn->cancelled) {
    giveBack(std::move(held));
    putBack(turn, QueuePause::turnCancelled);
    co_return;
  }
  if (!held) {
    turn->step = LiveTurn::Step::waiting;
    turn->retry = surroundings_.clock.schedule(otherValeDelay, [self, weak = std::weak_ptr(turn)] {
      const auto hub = self.lock();
      const auto waiting = weak.lock();
      if (hub && waiting) (*hub)->spawn((*hub)->prepare(waiting));
    });
    turnChanged_.emit(threadID);
    co_return;
  }
  turn->lock = std::move(held);
  turn->step = LiveTurn::Step::preparing;
  if (!open_.contains(threadID)) {
    auto thread = co_await store_.load(threadID);
    if (self.expired()) co_return;
    if (!thread || removed_.contains(threadID)) {
      putBack(turn, QueuePause::threadMissing);
      co_return;
    }
    open(std::move(*thread));
  }

  auto& opened = open_.at(threadID);
  endInterruptedTurns(opened.thread);
  opened.thread.turns.push_back(turnFrom(turn->request, surroundings_.clock.now()));
  opened.thread.updatedAt = opened.thread.turns.back().startedAt;
  opened.unwritten.push_back(turn->request.id);
  opened.lock = turn->lock;
  saveNow(opened);
  turnChanged_.emit(threadID);

  const bool isProject = opened.thread.kind == AgentThread::Kind::project;
  const auto folder =
      opened.thread.projectPath.empty() ? places_.supportFolder / pagesFolder : opened.thread.projectPath;
  if (!isProject || folder == places_.anywhereFolder) {
    co_await asio::co_spawn(surroundings_.workers.executor(), makeFolder(folder), asio::use_awaitable);
    if (self.expired()) co_return;
  }
  if (isProject && turn->request.options.access == AgentAccess::projectWrite && !turn->cancelled) {
    const auto problem = co_await checkpoints_.take(turn->request.id, folder);
    if (self.expired()) co_return;
    turn->keptAside = !problem;
    if (problem) addNote(turnOf(*turn), *problem);
  }
  if (turn->cancelled) {
    finishRun(turn, nullptr, {});
  } else {
    start(turn, folder);
  }
}

void AgentHub::start(const std::shared_ptr<LiveTurn>& turn, std::filesystem::path folder) {
  const Uuid threadID = *turn->request.threadID;
  const auto& thread = open_.at(threadID).thread;
  const Weak self = self_;
  const auto weak = std::weak_ptr(turn);
  auto request = runRequest(thread, turnOf(*turn), turn->request, folder);
  request.anywhere = thread.kind == AgentThread::Kind::project && folder == places_.anywhereFolder;
  request.onComplete = [self, weak](AgentRun& run) {
    const auto hub = self.lock();
    const auto ended = weak.lock();
    if (hub && ended) (*hub)->finishRun(ended, &run, {});
  };
  try {
    turn->run = agents_.start(std::move(request));
  } catch (const Error& error) {
    finishRun(turn, nullptr, error.message);
    return;
  }
  turn->step = LiveTurn::Step::running;
  turn->following =
      Subscription(turn->run->published().connect([self, weak](const std::vector<AgentStreamEvent>& events) {
        const auto hub = self.lock();
        const auto turn = weak.lock();
        if (!hub || !turn) return;
        turn->transcript.add(events);
        const bool answered = std::ranges::any_of(
            events, [](const auto& event) { return std::holds_alternative<stream::FinalText>(event); });
        if (answered) (*hub)->turnOf(*turn).answeredAt = (*hub)->surroundings_.clock.now();
        (*hub)->saveSoon(*turn->request.threadID);
        (*hub)->turnChanged_.emit(*turn->request.threadID);
      }));
  turnChanged_.emit(threadID);
}

/// Once for every turn that is in its thread. Without a run it was cancelled before there was one, or
/// `failure` says why there is none.
void AgentHub::finishRun(const std::shared_ptr<LiveTurn>& turn, const AgentRun* run,
                         const std::string& failure) {
  turn->step = LiveTurn::Step::ending;
  auto& opened = open_.at(*turn->request.threadID);
  auto& record = turnOf(*turn);
  record.finishedAt = surroundings_.clock.now();
  record.status = turn->cancelled ? AgentRunStatus::cancelled : AgentRunStatus::failed;
  turn->message = failure;
  if (run) {
    record.status = run->status();
    record.model = run->model();
    record.usage = run->usage();
    turn->message = run->message();
    if (record.usage) turn->transcript.addDenials(*record.usage);
    if (record.status == AgentRunStatus::completed && !record.answeredAt)
      record.answeredAt = record.finishedAt;
    // A run that failed to resume may have named a session that holds nothing.
    auto& session = opened.thread.cliSessionID;
    const bool resumed = session && turn->request.session == TurnSession::resumed;
    if (run->sessionID() && !(resumed && record.status == AgentRunStatus::failed)) session = run->sessionID();
  }
  if (!turn->message.empty() && !tells(turn->transcript, turn->message))
    turn->transcript.add(stream::Error{turn->message});
  turn->transcript.finish();
  record.items = turn->transcript.items();
  opened.thread.updatedAt = *record.finishedAt;
  saveNow(opened);
  spawn(end(turn));
}

Task<> AgentHub::end(std::shared_ptr<LiveTurn> turn) {
  const Weak self = self_;
  const Uuid threadID = *turn->request.threadID;
  if (turn->keptAside) {
    const auto problem = co_await checkpoints_.seal(turn->request.id);
    if (self.expired()) co_return;
    if (problem) {
      addNote(turnOf(*turn), *problem);
      saveNow(open_.at(threadID));
    }
  }
  const std::string queue = turn->request.queue;
  const auto& record = turnOf(*turn);
  const TurnEnd ended{.threadID = threadID,
                      .turnID = turn->request.id,
                      .outcome = outcomeOf(record),
                      .message = turn->message,
                      .sessionIsGone =
                          record.status == AgentRunStatus::failed && saysSessionIsGone(turn->message)};
  live_.erase(queue);
  turn->lock.reset();
  // What waits was written in the hope of this turn's success.
  if (ended.outcome == TurnOutcome::cancelled) queues_.setPause(queue, QueuePause::turnCancelled);
  if (ended.outcome == TurnOutcome::failed) queues_.setPause(queue, QueuePause::turnFailed);
  close(threadID);
  turnChanged_.emit(threadID);
  turnEnded_.emit(ended);
  if (!self.expired()) advance(queue);
}

/// The turn has not begun: its request waits again, or is gone with its conversation.
void AgentHub::putBack(const std::shared_ptr<LiveTurn>& turn, QueuePause pause) {
  const std::string queue = turn->request.queue;
  const Uuid threadID = *turn->request.threadID;
  live_.erase(queue);
  giveBack(std::move(turn->lock));
  if (removed_.contains(threadID)) {
    queues_.forget(turn->request.id);
    close(threadID);
    advance(queue);
    return;
  }
  queues_.putBack(turn->request.id);
  queues_.setPause(queue, pause);
  turnChanged_.emit(threadID);
}

void AgentHub::cancel(const std::string& queue) {
  const auto found = live_.find(queue);
  if (found == live_.end()) return;
  const auto turn = found->second;
  if (turn->cancelled || turn->step == LiveTurn::Step::ending) return;
  turn->cancelled = true;
  if (turn->run) agents_.cancel(turn->run->id);
  if (turn->step == LiveTurn::Step::waiting && turn->retry.pending()) {
    turn->retry.cancel();
    putBack(turn, QueuePause::turnCancelled);
  }
}

}  // namespace vale
