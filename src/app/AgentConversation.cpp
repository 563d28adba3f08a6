#include "app/AgentConversation.h"

#include "agents/TurnRequest.h"
#include "common/Error.h"
#include "common/Text.h"

#include <boost/asio/co_spawn.hpp>
#include <fmt/format.h>

#include <algorithm>
#include <utility>

namespace vale {

namespace {

std::string spoken(QueuePause pause) {
  switch (pause) {
  case QueuePause::byUser:
    return "What waits is paused.";
  case QueuePause::turnCancelled:
    return "Paused, because the last turn was stopped.";
  case QueuePause::turnFailed:
    return "Paused, because the last turn failed.";
  case QueuePause::restarted:
    return "Paused, because Vale was started again meanwhile.";
  case QueuePause::threadMissing:
    return "Paused, because the conversation of the next request cannot be read.";
  }
  return {};
}

std::string spoken(const UndoResult& result, bool back) {
  std::string text;
  const auto count = result.restored.size();
  if (count > 0) {
    text = fmt::format("{} {} {}.", count, count == 1 ? "file was" : "files were",
                       back ? "put back" : "changed again");
  }
  for (const auto& refusal : result.refused) text += (text.empty() ? "" : "\n") + refusal.reason;
  return text.empty() ? "Nothing had to be put back." : text;
}

}  // namespace

AgentConversation::AgentConversation(AgentDesk& desk)
    : desk_(desk), self_(std::make_shared<AgentConversation*>(this)) {
  auto& hub = desk_.hub();
  const auto keep = [this](sigc::connection connection) {
    subscriptions_.emplace_back(std::move(connection));
  };
  keep(hub.turnChanged().connect([this](const Uuid& thread) { follow(thread); }));
  keep(hub.turnEnded().connect([this](const TurnEnd& end) {
    if (end.sessionIsGone) sessionsGone_[end.turnID] = true;
  }));
  keep(hub.queueChanged().connect([this](const std::string&) {
    showPending();
    changed_.emit();
  }));
  keep(hub.threadsChanged().connect([this] {
    if (thread_ && !record_) spawn(read());
    changed_.emit();
  }));
  subscriptions_.push_back(hub.storageError().subscribe([this](const auto&) { changed_.emit(); }));
}

AgentConversation::~AgentConversation() = default;

void AgentConversation::spawn(Task<> task) {
  asio::co_spawn(desk_.surroundings().main.executor(), std::move(task), [](const std::exception_ptr& error) {
    if (error) std::rethrow_exception(error);
  });
}

void AgentConversation::show(std::optional<Uuid> thread) {
  thread_ = thread;
  record_.reset();
  turns_.clear();
  changes_.clear();
  thinking_.clear();
  readProblem_.clear();
  showPending();
  if (thread_) spawn(read());
  changed_.emit();
}

/// The request that begins a conversation, as its turn will show it, until that turn is there.
void AgentConversation::showPending() {
  if (!thread_ || (record_ && !record_->turns.empty())) return;
  const auto* request = desk_.hub().queues().find(*thread_);
  if (!request) return;
  auto rows = agentRows(turnFrom(*request, request->sentAt), AgentThread(), {.live = true});
  if (turns_.size() == 1 && turns_[0].rows == rows) return;
  turns_ = {Turn{.id = request->id, .revision = ++revisions_, .rows = std::move(rows)}};
}

const ThreadSummary* AgentConversation::summary() const {
  if (!thread_) return nullptr;
  const auto& threads = desk_.hub().threads();
  const auto found = threads.find(*thread_);
  return found == threads.end() ? nullptr : &found->second;
}

std::string AgentConversation::queue() const {
  const auto* known = summary();
  return known ? known->queue : std::string();
}

/// One at a time; whoever asks meanwhile gets a later state.
Task<> AgentConversation::read() {
  const Weak self = self_;
  if (std::exchange(reading_, true)) {
    readAgain_ = true;
    co_return;
  }
  do {
    readAgain_ = false;
    const auto wanted = thread_;
    if (!wanted || !summary()) break;
    auto record = co_await desk_.hub().thread(*wanted);
    if (self.expired()) co_return;
    if (thread_ != wanted) {
      readAgain_ = true;
      continue;
    }
    readProblem_ = record ? std::string() : "The conversation cannot be read.";
    record_ = std::move(record);
    fillAll();
  } while (readAgain_);
  reading_ = false;
  changed_.emit();
}

const LiveTurn* AgentConversation::live() const {
  const auto name = queue();
  const auto* turn = name.empty() ? nullptr : desk_.hub().live(name);
  return turn && turn->request.threadID == thread_ ? turn : nullptr;
}

void AgentConversation::noteThoughts(const LiveTurn& live) {
  auto& thoughts = thinking_[live.request.id];
  const auto now = desk_.surroundings().clock.now();
  for (const auto& item : live.transcript.items()) {
    if (item.kind != TranscriptItemKind::reasoning) continue;
    auto& time = thoughts.try_emplace(item.id, ThinkingTime{.began = now}).first->second;
    if (item.finished && !time.ended) time.ended = now;
  }
}

/// The turn under way is taken from memory; a turn that begins or ends is read with its whole record.
void AgentConversation::follow(const Uuid& thread) {
  if (thread != thread_) return;
  const auto* turn = live();
  const bool goesOn = turn && turn->step == LiveTurn::Step::running && record_ && !record_->turns.empty() &&
                      record_->turns.back().id == turn->request.id;
  if (turn) noteThoughts(*turn);
  if (!goesOn) return spawn(read());
  record_->turns.back().items = turn->transcript.items();
  fill(turns_.back(), record_->turns.back());
  changed_.emit();
}

void AgentConversation::fill(Turn& turn, const AgentTurn& record) {
  const auto* running = live();
  AgentTurnView view{.live = running && running->request.id == record.id,
                     .now = desk_.surroundings().clock.now()};
  if (const auto thoughts = thinking_.find(record.id); thoughts != thinking_.end()) view.thinking = &thoughts->second;
  view.sessionIsGone = sessionsGone_.contains(record.id);
  const bool ended = record.status != AgentRunStatus::running && !view.live;
  if (ended && record.access == AgentAccess::projectWrite && record_->kind == AgentThreadKind::project) {
    auto& known = changes_[record.id];
    if (!known) known = std::make_shared<AgentTurnChanges>();
    view.changes = known;
  }
  auto rows = agentRows(record, *record_, view);
  if (turn.id == record.id && turn.rows == rows) return;
  turn = {.id = record.id, .revision = ++revisions_, .rows = std::move(rows)};
}

void AgentConversation::fillAll() {
  if (!record_ || record_->turns.empty()) return showPending();
  turns_.resize(record_->turns.size());
  for (std::size_t i = 0; i < turns_.size(); ++i) fill(turns_[i], record_->turns[i]);
  // What the last turn changed is looked at without being asked; the others wait for it.
  const auto& last = record_->turns.back().id;
  const auto known = changes_.find(last);
  if (known != changes_.end() && known->second->state == AgentTurnChanges::State::unknown) readChanges(last);
}

void AgentConversation::refill(const Uuid& id) {
  if (!record_) return;
  for (std::size_t i = 0; i < turns_.size() && i < record_->turns.size(); ++i) {
    if (turns_[i].id == id) fill(turns_[i], record_->turns[i]);
  }
  changed_.emit();
}

// What is asked.

Task<> AgentConversation::ask(AgentQuestion question) {
  const Weak self = self_;
  if (thread_ && std::holds_alternative<ToBeRouted>(question.destination) && summary())
    question.destination = ToThread{*thread_};
  const auto before = thread_;
  const auto sent = co_await desk_.ask(std::move(question));
  // The user may have gone on to another conversation while it was sent.
  if (!self.expired() && thread_ == before && thread_ != sent.threadID) show(sent.threadID);
}

AgentActivity AgentConversation::activity() const {
  AgentActivity activity;
  if (!thread_) return activity;
  if (!summary()) {
    const auto& routings = desk_.hub().routings();
    const auto routing = routings.find(*thread_);
    if (routing == routings.end()) return activity;
    using Step = RequestRouting::Step;
    const auto& state = routing->second;
    if (const auto* request = desk_.hub().queues().find(*thread_)) activity.since = request->sentAt;
    if (state.step == Step::underWay) {
      activity.step = AgentActivity::Step::routing;
      activity.sentence = "Finding the right project…";
      return activity;
    }
    activity.step = AgentActivity::Step::choosing;
    activity.canRouteAgain = state.step != Step::choice;
    activity.offers = state.routed.routing.alternates;
    activity.reason = state.routed.routing.reason;
    activity.sentence = state.step == Step::waiting  ? "This request was sent before Vale was last started."
                        : state.step == Step::failed ? state.message
                                                     : "Which project is this for?";
    return activity;
  }
  const auto* turn = live();
  if (!turn) {
    const auto name = queue();
    const auto* first = desk_.hub().queues().first(name);
    if (!first || desk_.hub().queues().pause(name)) return activity;
    // Another conversation's turn in this project goes first, or the CLI is still looked for.
    activity.step = AgentActivity::Step::working;
    activity.since = first->sentAt;
    activity.sentence = desk_.hub().live(name) ? "Waiting for another conversation in this project…"
                                               : "Looking for the agent…";
    return activity;
  }
  activity.step = turn->cancelled ? AgentActivity::Step::stopping : AgentActivity::Step::working;
  activity.since = turn->run ? turn->run->startedAt : turn->request.sentAt;
  switch (turn->step) {
  case LiveTurn::Step::waiting:
    activity.sentence = "Another Vale works in this folder. Waiting for its end…";
    break;
  case LiveTurn::Step::preparing:
    activity.sentence = "Keeping the project’s files for undo…";
    if (turn->request.options.access == AgentAccess::readOnly) activity.sentence = "Starting…";
    break;
  case LiveTurn::Step::running:
    activity.sentence = "Working…";
    break;
  case LiveTurn::Step::ending:
    activity.sentence = "Looking at what was changed…";
    break;
  }
  if (turn->cancelled) activity.sentence = "Stopping…";
  return activity;
}

std::vector<WaitingRequest> AgentConversation::waiting() const {
  std::vector<WaitingRequest> list;
  const auto name = queue();
  if (name.empty()) return list;
  for (const auto& request : desk_.hub().queues().waiting(name)) {
    list.push_back({.id = request.id,
                    .words = request.prompt,
                    .access = request.options.access,
                    .isHere = request.threadID == thread_});
  }
  return list;
}

std::string AgentConversation::pauseSentence() const {
  const auto name = queue();
  const auto pause = name.empty() ? std::nullopt : desk_.hub().queues().pause(name);
  return pause ? spoken(*pause) : std::string();
}

std::string AgentConversation::problem() const {
  if (const auto& error = desk_.hub().storageError().value()) return *error;
  if (const auto& error = desk_.hub().queues().storageError().value()) return *error;
  if (const auto& error = desk_.problem().value()) return *error;
  return readProblem_;
}

void AgentConversation::stop() {
  if (live()) return desk_.hub().cancel(queue());
  if (activity().step != AgentActivity::Step::working) return;
  // It waits behind another conversation's turn.
  for (const auto& request : waiting()) {
    if (!request.isHere) continue;
    desk_.hub().pause(queue());
    return;
  }
}

void AgentConversation::resume() {
  if (const auto name = queue(); !name.empty()) desk_.hub().resume(name);
}

void AgentConversation::chooseProject(const std::filesystem::path& folder) {
  if (thread_) desk_.hub().chooseProject(*thread_, folder, desk_.projectName(folder));
}

void AgentConversation::choosePage() {
  if (thread_) desk_.hub().choosePage(*thread_);
}

void AgentConversation::routeAgain() {
  if (thread_) desk_.hub().routeAgain(*thread_);
}

std::string AgentConversation::takeBack() {
  const auto* request = thread_ && !summary() ? desk_.hub().queues().find(*thread_) : nullptr;
  if (!request) return {};
  auto words = request->prompt;
  desk_.hub().remove(*thread_);
  show(std::nullopt);
  return words;
}

Task<> AgentConversation::remedy(Uuid id, AgentRow::Remedy remedy) {
  if (!record_ || !thread_) co_return;
  const auto thread = *thread_;
  using Remedy = AgentRow::Remedy;
  if (remedy == Remedy::allowWriting) {
    const auto turn = std::ranges::find(record_->turns, id, &AgentTurn::id);
    if (turn == record_->turns.end()) co_return;
    UserRequest request{.prompt = turn->prompt};
    request.options.access = AgentAccess::projectWrite;
    co_await desk_.hub().send(ToThread{thread}, std::move(request));
  } else if (remedy != Remedy::none) {
    const auto session = remedy == Remedy::sendAgain ? TurnSession::resumed : TurnSession::fresh;
    co_await desk_.hub().retry(thread, id, session);
  }
}

// What turns changed.

void AgentConversation::setChanges(const Uuid& turn, AgentTurnChanges changes) {
  changes_[turn] = std::make_shared<AgentTurnChanges>(std::move(changes));
  refill(turn);
}

void AgentConversation::readChanges(const Uuid& turn) {
  const auto known = changes_.find(turn);
  if (known == changes_.end() || known->second->state == AgentTurnChanges::State::reading) return;
  spawn(fetchChanges(turn));
}

Task<> AgentConversation::fetchChanges(Uuid turn) {
  const Weak self = self_;
  const auto thread = thread_;
  if (!thread) co_return;
  auto changes = changes_[turn] ? *changes_[turn] : AgentTurnChanges();
  changes.state = AgentTurnChanges::State::reading;
  setChanges(turn, changes);
  try {
    changes.changes = co_await desk_.hub().changes(*thread, turn);
    changes.state = AgentTurnChanges::State::known;
  } catch (const Error& error) {
    changes.state = AgentTurnChanges::State::failed;
    changes.message = error.message;
  }
  if (!self.expired() && thread_ == thread) setChanges(turn, std::move(changes));
}

void AgentConversation::undo(const Uuid& turn, std::optional<std::vector<std::filesystem::path>> paths) {
  spawn(restore(turn, Way::back, std::move(paths)));
}

void AgentConversation::redo(const Uuid& turn) { spawn(restore(turn, Way::forth, std::nullopt)); }

Task<> AgentConversation::restore(Uuid turn, Way way,
                                  std::optional<std::vector<std::filesystem::path>> paths) {
  const Weak self = self_;
  const auto thread = thread_;
  const auto known = changes_.find(turn);
  if (!thread || known == changes_.end()) co_return;
  auto changes = *known->second;
  changes.state = AgentTurnChanges::State::reading;
  changes.message.clear();
  setChanges(turn, changes);
  try {
    UndoResult result;
    if (way == Way::back) {
      result = co_await desk_.hub().undo(*thread, turn, std::move(paths));
    } else {
      result = co_await desk_.hub().redo(*thread, turn);
    }
    changes.message = spoken(result, way == Way::back);
  } catch (const Error& error) {
    changes.message = error.message;
  }
  if (self.expired() || thread_ != thread) co_return;
  changes.state = AgentTurnChanges::State::known;
  setChanges(turn, std::move(changes));
  co_await fetchChanges(turn);
}

}  // namespace vale
