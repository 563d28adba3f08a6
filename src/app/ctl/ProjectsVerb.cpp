#include "app/ctl/Ctl.h"
#include "common/Text.h"
#include "history/ValeLibrary.h"
#include "projects/ProjectIndex.h"
#include "projects/ProjectLibrary.h"

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/use_future.hpp>
#include <fmt/format.h>

#include <cstdio>
#include <future>
#include <memory>
#include <unistd.h>

namespace vale::ctl {
namespace {

/// The index on a main loop of its own.
class Index {
 public:
  explicit Index(ProjectPlaces places) : index_(std::move(places), {main_, workers_, clock_}) {}
  ~Index() { workers_.stop(); }

  ProjectIndexRefresh refresh() {
    auto result = asio::co_spawn(context_, index_.refresh(), asio::use_future);
    const auto guard = asio::make_work_guard(context_);
    while (result.wait_for(std::chrono::seconds(0)) != std::future_status::ready) context_.run_one();
    return result.get();
  }

 private:
  WorkerPool workers_;
  asio::io_context context_;
  MainQueue main_{context_.get_executor()};
  SystemClock clock_{main_, workers_};
  ProjectIndex index_;
};

ProjectIndexRefresh refreshed(const CommonOptions& options) {
  ValeLibrary{ValeLibraryPaths::library(options.support)}.prepare();
  return Index(ProjectPlaces::ofThisUser(options.support)).refresh();
}

int list(const CommonOptions& options) {
  const auto index = refreshed(options).index;
  if (options.json) {
    printJson(encode(index.projects));
    return done;
  }
  for (const auto& project : index.projects) {
    fmt::print("{}  {}  {}\n", forTerminal(project.name, STDOUT_FILENO),
               forTerminal(project.id, STDOUT_FILENO), project.lastActivity.value_or("-"));
  }
  return done;
}

struct IndexReport {
  std::size_t projects = 0;
  std::size_t changed = 0;
  std::size_t missing = 0;
  bool written = false;
  double seconds = 0;
};
BOOST_DESCRIBE_STRUCT(IndexReport, (), (projects, changed, missing, written, seconds))

int index(const CommonOptions& options) {
  const auto refresh = refreshed(options);
  const IndexReport report{.projects = refresh.index.projects.size(),
                           .changed = refresh.changed,
                           .missing = refresh.index.missing.size(),
                           .written = refresh.written,
                           .seconds = refresh.seconds};
  if (options.json) {
    printJson(encode(report));
  } else {
    fmt::print("{} projects, {} changed, {} missing, {} in {:.2f} s\n", report.projects, report.changed,
               report.missing, report.written ? "written" : "nothing to write", report.seconds);
  }
  return done;
}

int add(const CommonOptions& options, const std::filesystem::path& folder) {
  const ProjectLibrary library(ProjectPlaces::ofThisUser(options.support));
  fmt::print("{}\n", library.add(folder, std::chrono::system_clock::now()));
  return done;
}

int remove(const CommonOptions& options, const std::filesystem::path& folder) {
  const auto index = refreshed(options).index;
  auto found = index.missing;
  for (const auto& project : index.projects) found.push_back(project.id);
  const ProjectLibrary library(ProjectPlaces::ofThisUser(options.support));
  fmt::print("{}\n", library.remove(folder, found));
  return done;
}

}  // namespace

void addProjectsVerb(CLI::App& app, const CommonOptions& options, Work& work) {
  auto* verb = app.add_subcommand("projects", "The user's coding projects, and their index for agents");
  verb->require_subcommand(0, 1);
  // Set first; a verb below, which is parsed later, replaces it.
  verb->preparse_callback([&](std::size_t) { work = [&] { return list(options); }; });
  verb->add_subcommand("list", "List them, the most recently active first")->callback([&] {
    work = [&] { return list(options); };
  });
  verb->add_subcommand("index", "Bring the index in the library up to date")->callback([&] {
    work = [&] { return index(options); };
  });
  const auto folder = std::make_shared<std::filesystem::path>();
  const auto withFolder = [&, folder](const char* name, const char* about, auto run) {
    auto* added = verb->add_subcommand(name, about);
    added->add_option("DIR", *folder, "The project's folder")->required();
    added->callback(
        [&options, &work, folder, run] { work = [&options, folder, run] { return run(options, *folder); }; });
  };
  withFolder("add", "Add a folder", add);
  withFolder("remove", "Take a folder off the list; the folder stays", ctl::remove);
}

}  // namespace vale::ctl
