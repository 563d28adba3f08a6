#include "agents/AgentHub.h"
#include "agents/TurnRequest.h"

#include <algorithm>
#include <utility>

// What turns did to their projects' files, and the way back.

namespace vale {

Task<AgentHub::UndoTarget> AgentHub::undoTarget(Uuid thread, std::optional<Uuid> turn) {
  const auto record = co_await this->thread(thread);
  if (!record) throw Error("There is no such conversation. It may have been deleted.");
  UndoTarget target{.queue = queueOf(*record)};
  const auto wanted = [&](const AgentTurn& one) {
    return turn ? one.id == *turn : one.access == AgentAccess::projectWrite;
  };
  const auto found = std::ranges::find_if(record->turns.rbegin(), record->turns.rend(), wanted);
  if (found == record->turns.rend()) {
    throw Error(turn ? "The conversation has no such turn."
                     : "No turn of this conversation was allowed to change files.");
  }
  target.turn = found->id;
  co_return target;
}

Task<ProjectChanges> AgentHub::changes(Uuid thread, std::optional<Uuid> turn) {
  const Weak self = self_;
  const auto target = co_await undoTarget(thread, turn);
  if (self.expired()) throw Error("Vale is being quit.");
  auto changes = co_await checkpoints_.changes(target.turn);
  co_return changes;
}

Task<UndoResult> AgentHub::undo(Uuid thread, std::optional<Uuid> turn,
                                std::optional<std::vector<std::filesystem::path>> paths) {
  const Weak self = self_;
  const auto target = co_await undoTarget(thread, turn);
  if (self.expired()) throw Error("Vale is being quit.");
  auto result = co_await undo(target, target.turn, std::move(paths));
  co_return result;
}

Task<UndoResult> AgentHub::redo(Uuid thread, std::optional<Uuid> turn) {
  const Weak self = self_;
  const auto target = co_await undoTarget(thread, turn);
  if (self.expired()) throw Error("Vale is being quit.");
  const auto changes = co_await checkpoints_.changes(target.turn);
  if (self.expired()) throw Error("Vale is being quit.");
  if (!changes.undoneBy) throw Error("The turn has not been undone.");
  auto result = co_await undo(target, *changes.undoneBy, std::nullopt);
  co_return result;
}

Task<UndoResult> AgentHub::undo(UndoTarget target, Uuid checkpoint,
                                std::optional<std::vector<std::filesystem::path>> paths) {
  const Weak self = self_;
  if (live_.contains(target.queue) || !undoing_.insert(target.queue).second) {
    throw Error("A turn is running in this folder. Cancel it, or wait until it has ended.");
  }
  UndoResult result;
  std::exception_ptr failure;
  auto held = co_await lock(target.queue);
  if (self.expired()) throw Error("Vale is being quit.");
  if (!held) {
    failure =
        std::make_exception_ptr(Error("Another Vale runs a turn in this folder. Wait until it has ended."));
  } else {
    try {
      result = co_await checkpoints_.undo(checkpoint, std::move(paths));
    } catch (const Error&) {
      failure = std::current_exception();
    }
  }
  if (const auto hub = self.lock()) {
    (*hub)->undoing_.erase(target.queue);
    (*hub)->giveBack(std::move(held));
    (*hub)->advance(target.queue);
  }
  if (failure) std::rethrow_exception(failure);
  co_return result;
}

}  // namespace vale
