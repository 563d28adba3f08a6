#include "benchmarks/Rows.h"
#include "benchmarks/Spawn.h"
#include "projects/ProjectIndex.h"
#include "tests/support/TemporaryFolder.h"

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/use_future.hpp>
#include <fmt/format.h>

#include <fstream>
#include <future>
#include <memory>
#include <sys/stat.h>

namespace vale::bench {
namespace {

namespace fs = std::filesystem;

constexpr int projectCount = 500;
constexpr double milliseconds = 1000;

void write(const fs::path& file, std::string_view text) {
  fs::create_directories(file.parent_path());
  std::ofstream(file, std::ios::binary) << text;
}

/// Repositories with a manifest and a README each, and a conversation with an agent in every one.
class Projects {
 public:
  Projects() {
    // One history for all: what counts is that each is a repository of its own.
    const auto first = home_ / "project-0";
    const auto git = programOnPath("git").native();
    const std::string script =
        fmt::format("mkdir -p '{0}' && cd '{0}' && '{1}' init -q && for i in 1 2 3 4 5 6 7 8 9 10 11 12; do "
                    "GIT_AUTHOR_NAME=a GIT_AUTHOR_EMAIL=a@b GIT_COMMITTER_NAME=a GIT_COMMITTER_EMAIL=a@b "
                    "'{1}' commit -q --allow-empty -m \"Step $i\"; done",
                    first.native(), git);
    if (Spawned({"/bin/sh", "-c", script}).wait() != 0) throw Unmeasured("git made no repository");
    for (int i = 0; i < projectCount; ++i) {
      const auto project = home_ / fmt::format("project-{}", i);
      if (i > 0) fs::copy(first, project, fs::copy_options::recursive);
      write(project / "package.json", fmt::format(R"({{"name":"p{}","description":"Number {}"}})", i, i));
      write(project / "README.md", fmt::format("# Project {}\n\n{}\n", i, std::string(2'000, 'r')));
      write(home_ / fmt::format(".claude/projects/-p{0}/{0}.jsonl", i),
            fmt::format(R"({{"cwd":"{}","sessionId":"{}","type":"user","message":{{"role":"user","content":)"
                        R"("Please fix it"}},"timestamp":"2026-11-20T10:00:00.000Z"}})"
                        "\n",
                        project.native(), i));
    }
  }
  ~Projects() { workers_.stop(); }

  /// The seconds of a pass; the first of an index knows nothing.
  double pass() {
    return secondsOf([&] {
      auto result = asio::co_spawn(context_, index_->refresh(), asio::use_future);
      const auto guard = asio::make_work_guard(context_);
      context_.restart();
      while (result.wait_for(std::chrono::seconds(0)) != std::future_status::ready) context_.run_one();
      if (result.get().index.projects.size() != projectCount) throw Unmeasured("projects are missing");
    });
  }
  void forget() {
    index_.reset();
    fs::remove_all(places_.support);
    index_ = std::make_unique<ProjectIndex>(places_, Surroundings{main_, workers_, clock_});
  }

  double logs() const {
    const auto git = programOnPath("git").native();
    return secondsOf([&] {
      for (int i = 0; i < projectCount; ++i) {
        Spawned({git, "-C", (home_ / fmt::format("project-{}", i)).native(), "log", "-10"}).wait();
      }
    });
  }

  /// The dates of the files that a pass looks at.
  double stats() const {
    return secondsOf([&] {
      for (int i = 0; i < projectCount; ++i) {
        const auto project = home_ / fmt::format("project-{}", i);
        for (const auto* name : {"", "package.json", "README.md", ".git/HEAD", ".git/logs/HEAD",
                                 ".git/config", ".git/packed-refs", ".git/refs/heads/master"}) {
          struct stat status = {};
          keep(stat((project / name).c_str(), &status));
        }
      }
    });
  }

 private:
  test::TemporaryFolder folder_;
  fs::path home_ = folder_ / "home";
  ProjectPlaces places_{.home = home_,
                        .support = folder_ / "support",
                        .library = folder_ / "support/Library",
                        .claude = home_ / ".claude",
                        .codex = home_ / ".codex",
                        .programs = {programOnPath("git").parent_path()}};
  WorkerPool workers_;
  asio::io_context context_;
  MainQueue main_{context_.get_executor()};
  SystemClock clock_{main_, workers_};
  std::unique_ptr<ProjectIndex> index_ =
      std::make_unique<ProjectIndex>(places_, Surroundings{main_, workers_, clock_});
};

}  // namespace

void addProjectRows(Table& table) {
  const auto shared = std::make_shared<std::unique_ptr<Projects>>();
  const auto with = [shared]() -> Projects& {
    if (!*shared) *shared = std::make_unique<Projects>();
    return **shared;
  };
  table.add({.name = "500 projects indexed, first pass",
             .unit = "ms",
             .ours =
                 [with] {
                   with().forget();
                   return milliseconds * with().pass();
                 },
             .peerName = "git log -10 in each of them",
             .peer = [with] { return milliseconds * with().logs(); },
             .direction = Goal::atMost,
             .goal = 1.5});
  table.add({.name = "500 projects indexed, nothing changed",
             .unit = "ms",
             .ours =
                 [with, warm = std::make_shared<bool>()] {
                   if (!std::exchange(*warm, true)) with().pass();
                   return milliseconds * with().pass();
                 },
             .peerName = "stat of the same files",
             .peer = [with] { return milliseconds * with().stats(); },
             .direction = Goal::atMost,
             .goal = 6});
}

}  // namespace vale::bench
