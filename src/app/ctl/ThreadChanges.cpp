#include "agents/AgentEnvironment.h"
#include "app/ConsoleApplication.h"
#include "app/ctl/ThreadHub.h"
#include "common/Text.h"

#include <fmt/format.h>

#include <cstdio>
#include <unistd.h>

namespace vale::ctl {

AgentHub::Places hubPlaces(const CommonOptions& common) {
  return {.supportFolder = common.support,
          .anywhereFolder = {},
          .queueFile = std::nullopt,
          .environment = AgentEnvironment::inherited()};
}

Uuid readThread(const std::string& word) {
  const auto id = Uuid::parse(word);
  if (!id) throw UsageError("“" + singleLine(word) + "” is not a UUID.");
  return *id;
}

namespace {

struct ChangesOptions {
  std::string thread;
  std::string turn;
  bool redo = false;
  std::vector<std::filesystem::path> paths;
};

std::optional<Uuid> readTurn(const ChangesOptions& options) {
  return options.turn.empty() ? std::nullopt : std::optional(readThread(options.turn));
}

void line(std::FILE* stream, const std::string& text) {
  fmt::print(stream, "{}\n", forTerminal(singleLine(text), ::fileno(stream)));
}

void printChanges(const ProjectChanges& changes) {
  for (const auto& file : changes.files) {
    std::string heading = fmt::format("{} {}", rawValue(file.kind), file.path.native());
    if (file.additions && file.deletions)
      heading += fmt::format(" (+{} -{})", *file.additions, *file.deletions);
    line(stdout, heading + (file.binary ? " (binary)" : ""));
    if (file.diff) fmt::print("{}", forTerminal(*file.diff, STDOUT_FILENO));
    if (file.diff && !file.diff->ends_with('\n')) fmt::print("\n");
    if (file.diffCut) line(stdout, "(the rest of the diff is left out)");
    if (file.obstacle) line(stdout, *file.obstacle);
  }
  if (changes.files.empty()) line(stdout, "The turn changed no files.");
  for (const auto& note : changes.notes) line(stderr, note);
  if (changes.undoneBy) line(stderr, "The turn has been undone, at least in part.");
}

int printUndo(const UndoResult& result, const CommonOptions& common) {
  if (common.json) {
    printJson(encode(result));
  } else {
    for (const auto& path : result.restored) line(stdout, "Restored " + path.native());
    for (const auto& refusal : result.refused) line(stderr, refusal.reason);
    if (result.restored.empty() && result.refused.empty()) line(stdout, "Nothing had to be put back.");
  }
  return result.refused.empty() ? done : failed;
}

Task<int> showChanges(const ChangesOptions& options, const CommonOptions& common, AgentHub& hub) {
  const auto thread = readThread(options.thread);
  const auto turn = readTurn(options);
  const std::vector only(1, thread);
  co_await hub.load(only);
  if (hub.threads().empty()) throw Error(noSuchThread);
  const auto changes = co_await hub.changes(thread, turn);
  if (common.json) {
    printJson(encode(changes));
  } else {
    printChanges(changes);
  }
  co_return done;
}

Task<int> undo(const ChangesOptions& options, const CommonOptions& common, AgentHub& hub) {
  const auto thread = readThread(options.thread);
  const auto turn = readTurn(options);
  const std::vector only(1, thread);
  co_await hub.load(only);
  if (hub.threads().empty()) throw Error(noSuchThread);
  std::optional<std::vector<std::filesystem::path>> paths;
  if (!options.paths.empty()) paths = options.paths;
  UndoResult result;
  if (options.redo) {
    result = co_await hub.redo(thread, turn);
  } else {
    result = co_await hub.undo(thread, turn, paths);
  }
  co_return printUndo(result, common);
}

using Operation = Task<int> (*)(const ChangesOptions&, const CommonOptions&, AgentHub&);

int perform(Operation operation, const ChangesOptions& options, const CommonOptions& common) {
  ConsoleApplication application(common.support);
  AgentHub hub(hubPlaces(common), {}, application.agents(), application.surroundings());
  application.onInterrupt([&application] { application.abandon(); });
  const auto code = application.run(operation(options, common, hub)).value_or(cancelled);
  hub.save();
  return code;
}

}  // namespace

void addThreadChangesVerbs(CLI::App& threads, const CommonOptions& common, Work& work) {
  const auto add = [&](const char* name, const char* help, Operation operation) {
    const auto options = std::make_shared<ChangesOptions>();
    auto* verb = threads.add_subcommand(name, help);
    verb->add_option("UUID", options->thread, "The conversation")->required();
    verb->add_option("--turn", options->turn, "The turn's UUID (default: the last that could change files)");
    verb->callback([&common, &work, options, operation] {
      work = [&common, options, operation] { return perform(operation, *options, common); };
    });
    return std::pair(verb, options);
  };
  add("changes", "Show what a turn changed in its project, with the differences", showChanges);
  const auto [verb, options] =
      add("undo", "Put a turn's files back as they were before it; those that changed since stay", undo);
  auto* paths = verb->add_option("PATH", options->paths, "Only these files, as “changes” names them");
  verb->add_flag("--redo", options->redo, "Take the latest undo of the turn back instead")->excludes(paths);
}

}  // namespace vale::ctl
