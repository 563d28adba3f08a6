#pragma once

#include "projects/ProjectFolders.h"
#include "support/ManualClock.h"
#include "support/TemporaryFolder.h"
#include "support/TestQueues.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

namespace vale::test {

/// A home folder with projects, session logs and a support folder in it.
struct ProjectsTest : testing::Test {
  ProjectsTest() { std::filesystem::create_directories(places.home); }

  TemporaryFolder folder;
  ProjectPlaces places{.home = folder / "home",
                       .support = folder / "home/.local/share/Vale",
                       .library = folder / "home/.local/share/Vale/Library",
                       .claude = folder / "home/.claude",
                       .codex = folder / "home/.codex",
                       .temporary = {folder / "tmp"},
                       .programs = {"/usr/local/bin", "/usr/bin", "/bin"}};

  std::filesystem::path home(std::string_view path) const { return places.home / path; }

  static void write(const std::filesystem::path& file, std::string_view text) {
    std::filesystem::create_directories(file.parent_path());
    std::ofstream(file, std::ios::binary) << text;
  }
  static std::string content(const std::filesystem::path& file) {
    std::ostringstream text;
    text << std::ifstream(file, std::ios::binary).rdbuf();
    return text.str();
  }

  /// Runs git in a folder, which is made; false when it failed.
  static bool git(const std::filesystem::path& at, const std::string& arguments) {
    std::filesystem::create_directories(at);
    return std::system(
               fmt::format("exec </dev/null >/dev/null 2>&1; cd '{}' || exit; unset GIT_DIR; "
                           "export GIT_CONFIG_GLOBAL=/dev/null GIT_AUTHOR_NAME=a GIT_AUTHOR_EMAIL=a@b "
                           "GIT_COMMITTER_NAME=a GIT_COMMITTER_EMAIL=a@b; git {}",
                           at.native(), arguments)
                   .c_str()) == 0;
  }

  /// One conversation with Claude Code, or with Codex, of a single request.
  void logClaude(std::string_view id, std::string_view cwd, std::string_view request,
                 std::string_view date = "2026-11-20T10:00:00.123Z") const {
    write(places.claude / fmt::format("projects/-x/{}.jsonl", id),
          fmt::format(R"({{"parentUuid":null,"isSidechain":false,"cwd":"{}","sessionId":"{}","type":"user",)"
                      R"("message":{{"role":"user","content":"{}"}},"timestamp":"{}"}})"
                      "\n",
                      cwd, id, request, date));
  }
  void logCodex(std::string_view id, std::string_view cwd, std::string_view request,
                std::string_view date = "2026-11-20T10:00:00.123Z") const {
    write(places.codex / fmt::format("sessions/2026/11/20/rollout-{}.jsonl", id),
          fmt::format(R"({{"timestamp":"{3}","type":"session_meta","payload":{{"id":"{0}","cwd":"{1}"}}}})"
                      "\n"
                      R"({{"timestamp":"{3}","type":"event_msg","payload":{{"type":"user_message",)"
                      R"("message":"{2}"}}}})"
                      "\n",
                      id, cwd, request, date));
  }
};

}  // namespace vale::test
