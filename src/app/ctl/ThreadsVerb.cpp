#include "agents/AgentThreadFolder.h"
#include "app/ctl/Ctl.h"
#include "app/ctl/HistoryInput.h"
#include "app/ctl/ThreadHub.h"
#include "app/ctl/ThreadOutput.h"
#include "common/Text.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdio>
#include <memory>
#include <unistd.h>

namespace vale::ctl {
namespace {

struct Arguments {
  bool json = false;
  std::string id, since;
  std::filesystem::path file;
  std::vector<std::filesystem::path> files;
};

/// A thread as the list shows it.
struct Listed {
  Uuid id;
  AgentThreadKind kind = AgentThreadKind::project;
  std::filesystem::path projectPath;
  AgentProvider provider = AgentProvider::codex;
  std::string title;
  std::string createdAt;
  std::string updatedAt;
  std::int64_t turnCount = 0;
  std::optional<AgentRunStatus> status;  ///< of the last turn
};
BOOST_DESCRIBE_STRUCT(Listed, (),
                      (id, kind, projectPath, provider, title, createdAt, updatedAt, turnCount, status))

int list(AgentThreadFolder& folder, const Arguments& given) {
  std::vector<std::pair<Date, Listed>> threads;
  folder.forEachThread([&threads](const AgentThread& thread) {
    threads.emplace_back(
        thread.updatedAt,
        Listed{thread.id, thread.kind, thread.projectPath, thread.provider, thread.title,
               iso8601(thread.createdAt), iso8601(thread.updatedAt), std::int64_t(thread.turns.size()),
               thread.turns.empty() ? std::nullopt : std::optional(thread.turns.back().status)});
  });
  // The latest first; of one moment in the order of their ids, so that the list is the same each time.
  std::ranges::sort(threads, [](const auto& one, const auto& other) {
    return one.first != other.first ? one.first > other.first : one.second.id < other.second.id;
  });
  if (given.json) {
    std::vector<Listed> listed;
    for (auto& [date, thread] : threads) listed.push_back(std::move(thread));
    printJson(encode(listed));
    return done;
  }
  for (const auto& [date, thread] : threads) {
    const auto about = fmt::format("{}  {}", thread.title.empty() ? "(no title)" : thread.title,
                                   thread.projectPath.native());
    fmt::print("{}  {}  {:9}  {}\n", thread.id.text(), thread.updatedAt,
               thread.status ? rawValue(*thread.status) : "empty",
               forTerminal(trimmed(singleLine(about)), STDOUT_FILENO));
  }
  return done;
}

int show(AgentThreadFolder& folder, const Arguments& given) {
  const auto id = readUuid(given.id);
  std::string text;
  const auto thread = folder.read(id, &text);
  if (!thread) throw Error(fmt::format("There is no thread {} that can be read.", id.text()));
  if (given.json) {
    if (!text.ends_with('\n')) text += '\n';
    std::fwrite(text.data(), 1, text.size(), stdout);
  } else {
    printThread(*thread);
  }
  return done;
}

int save(AgentThreadFolder& folder, const Arguments& given) {
  AgentThread thread;
  try {
    thread = decodeText<AgentThread>(readInput(given.file));
  } catch (const DecodeError& error) {
    throw Error("The thread could not be read. " + error.message);
  }
  folder.write(thread);
  if (given.json) {
    printJson(encode(thread));
  } else {
    fmt::print("{}\n", thread.id.text());
  }
  return done;
}

int remove(AgentThreadFolder& folder, const Arguments& given) {
  folder.remove(readUuid(given.id));
  return done;
}

int removeUnreadable(AgentThreadFolder& folder, const Arguments& given) {
  const int removed = folder.removeUnreadable(readDate(given.since));
  if (given.json) {
    printJson({{"removed", removed}});
  } else {
    fmt::print("{}\n", removed);
  }
  return done;
}

int adopt(AgentThreadFolder& folder, const Arguments& given) {
  const auto places = folder.adopt(given.files, readUuid(given.id));
  if (given.json) {
    printJson(encode(places));
  } else {
    for (const auto& place : places) fmt::print("{}\n", forTerminal(place.native(), STDOUT_FILENO));
  }
  return done;
}

using Verb = int (*)(AgentThreadFolder&, const Arguments&);

}  // namespace

void addThreadsVerb(CLI::App& app, const CommonOptions& options, Work& work) {
  auto* verb = app.add_subcommand("threads", "The conversations with agents");
  verb->require_subcommand(1);
  const auto given = std::make_shared<Arguments>();
  const auto add = [&](const char* name, const char* about, Verb run) {
    auto* added = verb->add_subcommand(name, about);
    added->callback([&options, &work, given, run] {
      work = [&options, given, run] {
        given->json = options.json;
        WorkerPool workers;
        AgentThreadFolder folder(options.support / AgentThreadFolder::folderName, &workers);
        return run(folder, *given);
      };
    });
    return added;
  };
  const auto addOfOne = [&](const char* name, const char* about, Verb run) {
    auto* added = add(name, about, run);
    added->add_option("UUID", given->id, "The thread's id")->required();
    return added;
  };
  add("list", "The threads, the one that was changed last first", list);
  addOfOne("show", "What was asked and what the agent did", show);
  add("save", "Write a thread's record", save)
      ->add_option("FILE", given->file, "The record in JSON; - is standard input");
  addOfOne("delete", "Delete a thread and its attachments", remove);
  add("remove-unreadable", "Delete the thread files that cannot be read", removeUnreadable)
      ->add_option("--since", given->since, "Only those modified then or later (ISO 8601)");
  addOfOne("adopt", "Move files into a thread's attachments", adopt)
      ->add_option("FILE", given->files, "The files")
      ->required();
  addThreadChangesVerbs(*verb, options, work);
}

}  // namespace vale::ctl
