#include "app/ctl/Ctl.h"
#include "browser/SessionFile.h"
#include "browser/SessionGenerations.h"
#include "common/PrivateFiles.h"
#include "common/SupportFolderLock.h"
#include "common/Text.h"

#include <fmt/format.h>

#include <chrono>
#include <cstdio>
#include <memory>
#include <unistd.h>
#include <unordered_map>

namespace vale::ctl {
namespace {

constexpr std::string_view unreadable = "Could not restore the session. The original file is preserved. ";

/// What would be restored; nothing is written for it.
struct Restorable {
  std::vector<SavedWindow> windows;
  std::optional<std::vector<FoldedTabGroup>> folded;
  std::optional<SavedWindow> closedWindow;
};
BOOST_DESCRIBE_STRUCT(Restorable, (), (windows, folded, closedWindow))

Restorable readSession(const SessionFile& file) {
  try {
    auto session = file.read();
    if (!session) return {};
    return {session->restoredWindows(), std::move(session->folded), std::move(session->closedWindow)};
  } catch (const Error& error) {
    throw Error(std::string(unreadable) + error.message);
  }
}

std::string counted(std::size_t count, std::string_view noun) {
  return fmt::format("{} {}{}", count, noun, count == 1 ? "" : "s");
}

/// Prints one line; what pages and people have written in it stays one.
void line(int depth, const std::string& text) {
  fmt::print("{:{}}{}\n", "", 2 * depth, forTerminal(singleLine(text), STDOUT_FILENO));
}

void printTab(const SavedTab& tab, int depth, const std::optional<Uuid>& selected) {
  std::string marks;
  if (tab.pinned) marks += " [pinned]";
  if (tab.id == selected) marks += " [selected]";
  const std::string address = tab.url.empty() ? "(empty tab)" : tab.url;
  line(depth, (tab.title.empty() ? address : tab.title + "  " + address) + marks);
}

void printWindow(const SavedWindow& window, const std::string& heading) {
  const auto groups = window.groups.value_or(std::vector<ManualTabGroup>());
  line(0, heading + ": " + counted(window.tabs.size(), "tab") +
              (groups.empty() ? "" : ", " + counted(groups.size(), "group")));
  std::unordered_map<Uuid, const ManualTabGroup*> groupOf;
  for (const auto& group : groups) {
    for (const auto& id : group.tabIDs) groupOf.emplace(id, &group);
  }
  const ManualTabGroup* shown = nullptr;
  for (const auto& tab : window.tabs) {
    const auto found = groupOf.find(tab.id);
    const auto* group = found == groupOf.end() ? nullptr : found->second;
    if (group && group != shown) {
      line(1, fmt::format("Group “{}” ({}{}): {}", group->name, rawValue(group->color),
                          group->collapsed ? ", collapsed" : "", counted(group->tabIDs.size(), "tab")));
    }
    shown = group;
    printTab(tab, group ? 2 : 1, window.selected);
  }
}

int showSession(const CommonOptions& options, const std::filesystem::path& file) {
  const auto session = readSession({file});
  if (options.json) {
    printJson(encode(session));
    return done;
  }
  for (std::size_t i = 0; i < session.windows.size(); ++i) {
    printWindow(session.windows[i], fmt::format("Window {}", i + 1));
  }
  if (session.windows.empty()) line(0, "No windows.");
  for (const auto& group : session.folded.value_or(std::vector<FoldedTabGroup>())) {
    line(0, fmt::format("Folded group “{}”, {}: {}", group.name, iso8601(group.foldedAt),
                        counted(group.tabs.size(), "tab")));
    if (!group.summary.empty()) line(1, group.summary);
    for (const auto& tab : group.tabs) printTab(tab, 1, std::nullopt);
  }
  if (session.closedWindow) printWindow(*session.closedWindow, "Last closed window");
  return done;
}

/// A generation as a script sees it.
struct Listed {
  std::string name;
  std::string date;
  std::int64_t windows = 0;
  std::int64_t tabs = 0;
};
BOOST_DESCRIBE_STRUCT(Listed, (), (name, date, windows, tabs))

int listGenerations(const CommonOptions& options, const SessionGenerations& kept) {
  const auto generations = kept.list();
  std::vector<Listed> listed;
  for (const auto& one : generations) {
    listed.push_back({one.name, iso8601(one.date), std::int64_t(one.windows), std::int64_t(one.tabs)});
  }
  if (options.json) {
    printJson(encode(listed));
    return done;
  }
  if (listed.empty()) line(0, "No earlier session is kept.");
  for (const auto& one : generations) {
    line(0, fmt::format("{}  {}  {}, {}", one.name, iso8601(one.date), counted(one.windows, "window"),
                        counted(one.tabs, "tab")));
  }
  return done;
}

/// Puts the present session among the generations, or, when it is none, beside them: it is not lost either
/// way.
void setAside(const SessionFile& file, const SessionGenerations& kept, const std::filesystem::path& folder,
              const std::string& spared) {
  const auto bytes = file.bytes();
  if (!bytes) return;
  try {
    kept.keep(*bytes, std::chrono::system_clock::now(), spared);
  } catch (const DecodeError&) {
    PrivateFiles::write(*bytes, folder / fmt::format("unreadable-{}.json", Uuid::random().text()));
  }
}

int restoreGeneration(const CommonOptions& options, std::string name) {
  const auto lock = SupportFolderLock::tryAcquire(options.support);
  if (!lock) throw Error("Vale is running. Quit it before an earlier session is restored.");
  const auto folder = options.support / SessionGenerations::folderName;
  const SessionGenerations kept(folder);
  if (name == "latest") {
    const auto generations = kept.list();
    if (generations.empty()) throw Error("No earlier session is kept.");
    name = generations.front().name;
  }
  const auto bytes = kept.bytes(name);
  if (!bytes) throw bytes.error();
  const SessionFile file{options.support / "session.json"};
  setAside(file, kept, folder, name);
  PrivateFiles::write(*bytes, file.url);
  fmt::print(stderr, "Restored the session of {}.\n", name);
  return done;
}

}  // namespace

void addSessionVerb(CLI::App& app, const CommonOptions& options, Work& work) {
  struct Arguments {
    std::filesystem::path file;
    bool list = false;
    std::string restore;
  };
  const auto given = std::make_shared<Arguments>();
  auto* verb = app.add_subcommand("session", "Show the windows and tabs that would be restored");
  auto* file = verb->add_option("FILE", given->file, "A session file, instead of the support folder's");
  auto* list = verb->add_flag("--list", given->list, "List the sessions that earlier starts kept");
  auto* restore = verb->add_option("--restore", given->restore,
                                   "Make a kept session the present one: its name, or \"latest\"");
  file->excludes(list)->excludes(restore);
  list->excludes(restore);
  verb->callback([&, given] {
    work = [&, given] {
      if (given->list)
        return listGenerations(options, SessionGenerations(options.support / SessionGenerations::folderName));
      if (!given->restore.empty()) return restoreGeneration(options, given->restore);
      return showSession(options, given->file.empty() ? options.support / "session.json" : given->file);
    };
  });
}

}  // namespace vale::ctl
