#include "projects/GitLog.h"

#include "agents/ChildProcess.h"
#include "agents/PreviewText.h"
#include "common/Text.h"
#include "projects/ProjectFacts.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <chrono>
#include <optional>
#include <unistd.h>

namespace vale::GitLog {
namespace {

std::optional<std::filesystem::path> programIn(const std::vector<std::filesystem::path>& folders) {
  for (const auto& folder : folders) {
    const auto program = folder / "git";
    if (access(program.c_str(), X_OK) == 0) return program;
  }
  return std::nullopt;
}

ChildProcess::Launch launch(const GitFolder& repository, const std::filesystem::path& program) {
  ChildProcess::Launch launch{.executable = program, .directory = repository.folder};
  launch.arguments = {"--git-dir=" + repository.folder.native(), "--no-pager", "--no-optional-locks"};
  for (const auto* setting :
       {"core.fsmonitor=false", "core.hooksPath=/dev/null", "log.showSignature=false"}) {
    launch.arguments.insert(launch.arguments.end(), {"-c", setting});
  }
  // A subject may be as long as a file: git cuts it, and so sends little.
  for (const auto& argument :
       {std::string("log"), fmt::format("--max-count={}", ProjectFacts::commitCount),
        std::string("--no-patch"), std::string("--no-show-signature"), std::string("--no-notes"),
        std::string("--no-decorate"), std::string("--no-mailmap"), std::string("--no-ext-diff"),
        std::string("--no-textconv"), std::string("--no-color"), std::string("--encoding=UTF-8"),
        fmt::format("--format=%ct %<({},trunc)%s", ProjectFacts::subjectLength), std::string("HEAD"),
        std::string("--")}) {
    launch.arguments.push_back(argument);
  }
  // The protocols that may be used for fetching are those of a list with none that exists.
  launch.environment = {{"PATH", program.parent_path().native()},
                        {"LC_ALL", "C.UTF-8"},
                        {"HOME", "/nonexistent"},
                        {"GIT_CONFIG_NOSYSTEM", "1"},
                        {"GIT_CONFIG_GLOBAL", "/dev/null"},
                        {"GIT_ATTR_NOSYSTEM", "1"},
                        {"GIT_TERMINAL_PROMPT", "0"},
                        {"GIT_OPTIONAL_LOCKS", "0"},
                        {"GIT_ALLOW_PROTOCOL", "none"},
                        {"GIT_NO_LAZY_FETCH", "1"},
                        {"GIT_NO_REPLACE_OBJECTS", "1"}};
  return launch;
}

std::optional<ProjectCommit> commitOf(std::string_view line) {
  std::int64_t seconds = 0;
  const auto [end, error] = std::from_chars(line.data(), line.data() + line.size(), seconds);
  if (error != std::errc{}) return std::nullopt;
  return ProjectCommit{.date = iso8601(Date(std::chrono::seconds(seconds))),
                       .subject = validUtf8(previewLine(trimmed(line.substr(std::size_t(end - line.data()))),
                                                        ProjectFacts::subjectLength))};
}

}  // namespace

Task<std::vector<ProjectCommit>> latest(GitFolder repository, std::vector<std::filesystem::path> programs,
                                        WorkerPool& workers) {
  std::vector<ProjectCommit> commits;
  const auto program = programIn(programs);
  if (!program) co_return commits;
  auto started = launch(repository, *program);
  const auto result = co_await ChildProcess::capture(std::move(started), ProjectFacts::gitTimeout, workers);
  if (!result || result->timedOut) co_return commits;
  std::string_view rest = result->output;
  while (!rest.empty() && commits.size() < ProjectFacts::commitCount) {
    const auto end = std::min(rest.find('\n'), rest.size());
    if (auto commit = commitOf(rest.substr(0, end))) commits.push_back(std::move(*commit));
    rest.remove_prefix(std::min(end + 1, rest.size()));
  }
  co_return commits;
}

}  // namespace vale::GitLog
