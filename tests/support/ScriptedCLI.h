#pragma once

#include "agents/AgentRuntime.h"
#include "support/Program.h"
#include "support/TemporaryFolder.h"

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

namespace vale::test {

/// A home folder with a `claude` and a `codex` in it: real child processes that tell their version and the
/// sign-in as the real ones do and then do what the test's script says. Every run's arguments (one a line)
/// and standard input are kept.
class ScriptedCLI {
 public:
  ScriptedCLI() {
    for (const char* name : {"claude", "codex"}) script(name, "exit 0");
    std::filesystem::create_directories(project());
  }

  const std::filesystem::path& home() const { return folder_.path(); }
  std::filesystem::path project() const { return folder_ / "project"; }
  std::filesystem::path support() const { return folder_ / "support"; }

  /// For a runtime that finds these CLIs. A machine may stand still for some seconds.
  AgentRuntime::Places places() const {
    return {.home = home(),
            .supportFolder = support(),
            .environment = {{"PATH", "/usr/bin:/bin"}, {"SHELL", "/bin/sh"}, {"HOME", home()}},
            .limits = {.loginPath = Seconds(60), .version = Seconds(60), .signIn = Seconds(60)}};
  }

  /// What `name` does with a run, in shell; "$IN" holds its standard input where `reads` is set.
  void script(const std::string& name, const std::string& body, bool reads = true) {
    const std::string kept = (folder_ / name).string();
    writeProgram(folder_ / ".local" / "bin" / name,
                 "case \"$1 $2\" in\n"
                 "'--version ') echo '9.9.9 (scripted)'; exit;;\n"
                 "'auth status') echo '{\"loggedIn\":true,\"authMethod\":\"api_key\"}'; exit;;\n"
                 "'login status') echo 'Logged in using ChatGPT' >&2; exit;;\n"
                 "esac\n"
                 "printf '%s\\n' \"$@\" > " +
                     kept + ".arguments\n" + (reads ? "cat > " + kept + ".input\n" : "") + body);
  }

  /// Replays a recorded stream and ends with `status`.
  void replay(const std::string& name, const std::string& recording, int status) {
    script(name, "cat '" VALE_TESTS_DIR "/fixtures/streams/" + recording + ".jsonl'; exit " +
                     std::to_string(status));
  }

  std::string arguments(const std::string& name) const { return content(folder_ / (name + ".arguments")); }
  std::string input(const std::string& name) const { return content(folder_ / (name + ".input")); }

 private:
  static std::string content(const std::filesystem::path& path) {
    std::ostringstream text;
    text << std::ifstream(path).rdbuf();
    return text.str();
  }

  TemporaryFolder folder_;
};

}  // namespace vale::test
