#include "agents/ShellCommand.h"

#include <algorithm>
#include <array>
#include <cstddef>

namespace vale::ShellCommand {
namespace {

bool isBlank(char c) { return c == ' ' || c == '\t'; }

/// Reads words one after another; `failed` once something other than plain words comes.
class WordReader {
 public:
  explicit WordReader(std::string_view text) : text_(text) {}

  bool failed() const { return failed_; }

  std::optional<std::string> next() {
    while (at_ < text_.size() && isBlank(text_[at_])) ++at_;
    if (at_ == text_.size() || failed_) return std::nullopt;
    std::string word;
    for (bool first = true; at_ < text_.size() && !isBlank(text_[at_]) && !failed_; first = false) {
      const char c = text_[at_++];
      if (c == '\'') {
        readSingleQuoted(word);
      } else if (c == '"') {
        readDoubleQuoted(word);
      } else if (c == '\\' && at_ < text_.size() && text_[at_] != '\n') {
        word += text_[at_++];
      } else if (std::string_view("|&;<>()$`\\*?[{!\n\r").find(c) != std::string_view::npos ||
                 (first && (c == '#' || c == '~'))) {
        failed_ = true;
      } else {
        word += c;
      }
    }
    return failed_ ? std::nullopt : std::optional(std::move(word));
  }

 private:
  void readSingleQuoted(std::string& word) {
    const auto end = text_.find('\'', at_);
    if (end == std::string_view::npos) {
      failed_ = true;
      return;
    }
    word += text_.substr(at_, end - at_);
    at_ = end + 1;
  }

  void readDoubleQuoted(std::string& word) {
    for (; at_ < text_.size(); ++at_) {
      const char c = text_[at_];
      if (c == '"') {
        ++at_;
        return;
      }
      if (c == '$' || c == '`') break;
      if (c == '\\' && at_ + 1 < text_.size() &&
          std::string_view("$`\"\\").find(text_[at_ + 1]) != std::string_view::npos) {
        ++at_;
      }
      word += text_[at_];
    }
    failed_ = true;
  }

  std::string_view text_;
  std::size_t at_ = 0;
  bool failed_ = false;
};

std::string_view lastComponent(std::string_view path) { return path.substr(path.rfind('/') + 1); }

template <std::size_t size>
bool isOneOf(std::string_view word, const std::array<std::string_view, size>& words) {
  return std::ranges::find(words, word) != words.end();
}

bool isOption(std::string_view word) { return word.size() > 1 && word.front() == '-'; }

bool isDigits(std::string_view word) {
  return !word.empty() && std::ranges::all_of(word, [](char c) { return c >= '0' && c <= '9'; });
}

/// "1,20p", "5p": what `sed -n` prints without changing anything.
bool isLineRange(std::string_view script) {
  if (script.empty() || script.back() != 'p') return false;
  script.remove_suffix(1);
  return script.find_first_not_of("0123456789,$") == std::string_view::npos;
}

using Words = std::vector<std::string>;

std::optional<Meaning> reading(const Words& words) {
  Meaning meaning{Action::read, {}, {}};
  const bool isSed = words[0] == "sed";
  const bool counts = words[0] == "head" || words[0] == "tail";
  bool scriptSeen = !isSed;
  for (std::size_t i = 1; i < words.size(); ++i) {
    const std::string_view word = words[i];
    if (isSed && (word == "-n" || (!scriptSeen && isLineRange(word)))) {
      scriptSeen |= word != "-n";
    } else if (counts && (word == "-n" || word == "-c") && i + 1 < words.size()) {
      ++i;
    } else if (isOption(word)) {
      const auto flags = word.substr(1);
      const bool harmless = counts ? isDigits(flags) || isDigits(flags.substr(1))
                                   : !isSed && flags.find_first_not_of("nbAETsv") == std::string_view::npos;
      if (!harmless) return std::nullopt;
    } else {
      meaning.paths.emplace_back(word);
    }
  }
  if (!scriptSeen || meaning.paths.empty()) return std::nullopt;
  return meaning;
}

std::optional<Meaning> searching(const Words& words) {
  static constexpr std::array<std::string_view, 14> withValue{
      "-A",          "-B",       "-C",     "-m",        "-g",        "-t",
      "-T",          "--glob",   "--type", "--include", "--exclude", "--exclude-dir",
      "--max-count", "--context"};
  Meaning meaning{Action::search, {}, {}};
  std::optional<std::string> pattern;
  bool optionsEnded = false;
  for (std::size_t i = 1; i < words.size(); ++i) {
    const auto& word = words[i];
    if (!optionsEnded && isOption(word)) {
      if (word == "--") {
        optionsEnded = true;
      } else if ((word == "-e" || word == "--regexp") && !pattern && i + 1 < words.size()) {
        pattern = words[++i];
      } else if (isOneOf(word, withValue)) {
        ++i;
      } else if (word == "--files" || word == "-f" || word.starts_with("--file=") ||
                 word.starts_with("--pre") || word == "-r" || word == "--replace" || word == "-e") {
        // grep's -r searches folders, rg's replaces what is printed: only grep's is plain.
        if (word != "-r" || words[0] == "rg") return std::nullopt;
      }
    } else if (!pattern) {
      pattern = word;
    } else {
      meaning.paths.push_back(word);
    }
  }
  if (!pattern) return std::nullopt;
  meaning.pattern = std::move(*pattern);
  return meaning;
}

std::optional<Meaning> listing(const Words& words) {
  Meaning meaning{Action::list, {}, {}};
  for (std::size_t i = 1; i < words.size(); ++i) {
    if (!isOption(words[i])) meaning.paths.push_back(words[i]);
  }
  return meaning;
}

}  // namespace

std::optional<std::vector<std::string>> plainWords(std::string_view command) {
  WordReader reader(command);
  std::vector<std::string> words;
  while (auto word = reader.next()) words.push_back(std::move(*word));
  if (reader.failed() || words.empty()) return std::nullopt;
  return words;
}

std::string unwrapped(std::string_view command) {
  static constexpr std::array<std::string_view, 5> shells{"bash", "sh", "zsh", "dash", "ksh"};
  static constexpr std::array<std::string_view, 3> flags{"-lc", "-c", "-ic"};
  WordReader reader(command);
  const auto shell = reader.next();
  if (!shell || !isOneOf(lastComponent(*shell), shells)) return std::string(command);
  const auto flag = reader.next();
  if (!flag || !isOneOf(*flag, flags)) return std::string(command);
  auto script = reader.next();
  const auto more = reader.next();
  return script && !more && !reader.failed() ? std::move(*script) : std::string(command);
}

std::optional<Meaning> meaning(std::string_view command) {
  static constexpr std::array<std::string_view, 5> readers{"cat", "head", "tail", "nl", "sed"};
  static constexpr std::array<std::string_view, 4> searchers{"rg", "grep", "egrep", "fgrep"};
  const auto words = plainWords(command);
  if (!words) return std::nullopt;
  const auto& name = words->front();
  if (isOneOf(name, readers)) return reading(*words);
  if (isOneOf(name, searchers)) return searching(*words);
  if (name == "ls") return listing(*words);
  return std::nullopt;
}

}  // namespace vale::ShellCommand
