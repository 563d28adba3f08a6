#include "agents/ProjectCheckpoints.h"

#include "common/Log.h"
#include "common/OneShot.h"

#include <exception>
#include <utility>

namespace vale {
namespace {

/// Runs `work` on the queue and resumes the caller on its own executor, with the result or what was thrown.
template <typename Work, typename Result = std::invoke_result_t<Work, CheckpointStore&>>
Task<Result> perform(SerialQueue queue, std::shared_ptr<CheckpointStore> store, Work work) {
  using Outcome = std::expected<Result, std::exception_ptr>;
  const OneShot<Outcome> done;
  queue.post([store, work = std::move(work), done] {
    try {
      done.set(work(*store));
    } catch (...) {
      done.set(std::unexpected(std::current_exception()));
    }
  });
  Outcome outcome = co_await done.wait();
  if (!outcome) std::rethrow_exception(outcome.error());
  co_return std::move(*outcome);
}

/// Runs `work` on the queue for its effect.
template <typename Work>
void performUnobserved(const SerialQueue& queue, std::shared_ptr<CheckpointStore> store, Work work) {
  queue.post([store = std::move(store), work = std::move(work)] {
    try {
      work(*store);
    } catch (const std::exception& error) {
      log::warning("{}", error.what());
    }
  });
}

}  // namespace

ProjectCheckpoints::ProjectCheckpoints(std::filesystem::path folder, EnvironmentVariables environment,
                                       WorkerPool& workers, CheckpointLimits limits)
    : queue_(workers, "Vale.checkpoints"),
      store_(std::make_shared<CheckpointStore>(std::move(folder), std::move(environment), limits)) {}

Task<std::optional<std::string>> ProjectCheckpoints::take(Uuid turn, std::filesystem::path project) {
  return perform(queue_, store_,
                 [turn, project = std::move(project)](auto& store) -> std::optional<std::string> {
                   const auto taken = store.take(turn, project);
                   if (taken) return std::nullopt;
                   return taken.error().message;
                 });
}

Task<std::optional<std::string>> ProjectCheckpoints::seal(Uuid turn) {
  return perform(queue_, store_, [turn](auto& store) -> std::optional<std::string> {
    try {
      store.seal(turn);
      return std::nullopt;
    } catch (const Error& error) {
      return error.message;
    }
  });
}

Task<ProjectChanges> ProjectCheckpoints::changes(Uuid turn) {
  return perform(queue_, store_, [turn](auto& store) { return store.changes(turn); });
}

Task<UndoResult> ProjectCheckpoints::undo(Uuid turn,
                                          std::optional<std::vector<std::filesystem::path>> paths) {
  return perform(queue_, store_,
                 [turn, paths = std::move(paths)](auto& store) { return store.undo(turn, paths); });
}

Task<bool> ProjectCheckpoints::canUndo(Uuid turn) {
  return perform(queue_, store_, [turn](auto& store) { return store.canUndo(turn); });
}

void ProjectCheckpoints::remove(std::vector<Uuid> turns) {
  performUnobserved(queue_, store_, [turns = std::move(turns)](auto& store) { store.remove(turns); });
}

void ProjectCheckpoints::prune(Date now, std::set<Uuid> running) {
  performUnobserved(queue_, store_,
                    [now, running = std::move(running)](auto& store) { store.prune(now, running); });
}

}  // namespace vale
