#pragma once

#include "agents/CheckpointStore.h"
#include "agents/ProjectLook.h"
#include "agents/ShortCommand.h"
#include "support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <sys/stat.h>
#include <vector>

namespace vale::test {

namespace fs = std::filesystem;

inline constexpr int plainMode = 0644;

/// A project folder, a store beside it and a home that knows no settings of the machine's user.
struct CheckpointProject : testing::Test {
  TemporaryFolder folder;
  fs::path project = folder / "project";
  EnvironmentVariables environment{{"PATH", "/usr/local/bin:/usr/bin:/bin"},
                                   {"HOME", (folder / "home").native()}};
  Uuid turn = Uuid::random();

  CheckpointProject() {
    fs::create_directories(folder / "home");
    fs::create_directories(project);
  }

  CheckpointStore store(CheckpointLimits limits = {}) const {
    return CheckpointStore(folder / "Checkpoints", environment, limits);
  }

  std::string git(std::vector<std::string> arguments, std::optional<fs::path> directory = {}) const {
    arguments.insert(arguments.begin(), {"-c", "user.name=A", "-c", "user.email=a@example.org", "-c",
                                         "init.defaultBranch=main", "-c", "protocol.file.allow=always"});
    const auto outcome = ShortCommand::run({.executable = "/usr/bin/git",
                                            .arguments = arguments,
                                            .directory = directory.value_or(project),
                                            .environment = environment},
                                           {}, 1 << 20, Seconds(60));
    EXPECT_TRUE(outcome.succeeded()) << arguments[8] << ": " << outcome.diagnostic;
    return outcome.output;
  }

  void commitAll() const {
    git({"add", "--all"});
    git({"commit", "--quiet", "--allow-empty", "--message", "A step"});
  }

  void write(const std::string& path, std::string_view bytes, int mode = plainMode) const {
    const auto file = project / path;
    fs::create_directories(file.parent_path());
    std::ofstream(file, std::ios::binary) << bytes;
    ASSERT_EQ(::chmod(file.c_str(), mode_t(mode)), 0);
  }

  std::string read(const std::string& path) const { return readFile(project / path).value_or("(none)"); }

  void link(const std::string& target, const std::string& path) const {
    fs::remove(project / path);
    fs::create_symlink(target, project / path);
  }

  /// Until what was written so far is older than the file system's clock can tell.
  void settle() const {
    const auto probe = folder / "probe";
    const auto written = [&] {
      std::ofstream(probe) << "p";
      return fs::last_write_time(probe);
    };
    const auto enough = written() + std::chrono::nanoseconds(2 * fileClockSlack);
    while (written() < enough) {
    }
  }

  void take() const {
    const auto taken = store().take(turn, project);
    ASSERT_TRUE(taken) << taken.error().message;
  }

  /// The path and kind of everything the turn changed.
  std::map<std::string, FileChangeKind> kinds(const Uuid& id) const {
    std::map<std::string, FileChangeKind> result;
    for (const auto& change : store().changes(id).files) result[change.path.native()] = change.kind;
    return result;
  }

  FileChange change(const std::string& path) const {
    for (const auto& change : store().changes(turn).files) {
      if (change.path == path) return change;
    }
    ADD_FAILURE() << path << " was not changed";
    return {};
  }
};

/// All that is below a folder: kind, permissions and content of each entry.
inline std::map<std::string, std::string> census(const fs::path& folder, bool withRepository = false) {
  std::map<std::string, std::string> entries;
  for (fs::recursive_directory_iterator entry(folder), end; entry != end; ++entry) {
    if (!withRepository && entry->path().filename() == ".git") {
      entry.disable_recursion_pending();
      continue;
    }
    const auto status = entry->symlink_status();
    auto& text = entries[entry->path().lexically_relative(folder).native()];
    if (fs::is_symlink(status)) {
      text = "link to " + fs::read_symlink(entry->path()).native();
    } else if (fs::is_directory(status)) {
      text = "folder";
    } else {
      text = std::to_string(unsigned(status.permissions())) + " " + readFile(entry->path()).value_or("");
    }
  }
  return entries;
}

}  // namespace vale::test
