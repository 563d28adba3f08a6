#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vale {

/// Reading shell commands (POSIX Shell Command Language, 2.2 Quoting) as far as words go: never to run
/// anything.
namespace ShellCommand {

/// The words of a command that is nothing but words; none where it has operators, expansions, patterns,
/// comments, line breaks or an open quote.
std::optional<std::vector<std::string>> plainWords(std::string_view command);

/// The command as the user would type it: without the shell that Codex wraps around it ("/bin/bash -lc 'cat
/// x'").
std::string unwrapped(std::string_view command);

/// What a command with a plain meaning does.
enum class Action { read, search, list };
struct Meaning {
  Action action;
  /// What is searched for; empty otherwise.
  std::string pattern;
  /// The files or folders, as written.
  std::vector<std::string> paths;
};

/// The meaning of a single cat, head, tail, nl, sed -n, grep, rg or ls; none for any other command and for
/// one with an option that could change the meaning.
std::optional<Meaning> meaning(std::string_view command);

}  // namespace ShellCommand

}  // namespace vale
