#include "browser/FilterPattern.h"

#include <algorithm>
#include <cstddef>
#include <optional>

namespace vale {

namespace {

constexpr std::size_t longestPattern = 1024;
constexpr int mostWildcards = 8;
constexpr int deepestGroup = 4;
/// An expression with fewer fixed characters would match nearly everything.
constexpr int fewestFixed = 3;

constexpr std::string_view hostPrefix = "^[^:]+://([^/]+\\.)?";
constexpr std::string_view separator = "[^a-zA-Z0-9_.%-]";

bool isAlphanumeric(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
}
bool isPrintable(char c) { return c > ' ' && c < 0x7F; }
bool isHostCharacter(char c) { return isAlphanumeric(c) || c == '.' || c == '-' || c == '_'; }

void appendFixed(std::string& expression, char c) {
  if (std::string_view(".+?${}()[]\\|^*").find(c) != std::string_view::npos) expression += '\\';
  expression += c;
}

std::vector<std::string> textExpressions(std::string_view text) {
  const bool atHost = text.starts_with("||");
  if (atHost) text.remove_prefix(2);
  const bool atStart = !atHost && text.starts_with('|');
  if (atStart) text.remove_prefix(1);
  const bool atEnd = text.ends_with('|');
  if (atEnd) text.remove_suffix(1);
  while (!atHost && !atStart && text.starts_with('*')) text.remove_prefix(1);
  while (!atEnd && text.ends_with('*')) text.remove_suffix(1);
  if (text.empty()) {
    return atHost || atStart || atEnd ? std::vector<std::string>() : std::vector{std::string(everyAddress)};
  }

  const bool endsInSeparator = text.ends_with('^');
  const auto body = text.substr(0, text.size() - (endsInSeparator ? 1 : 0));
  std::string expression(atHost ? hostPrefix : atStart ? "^" : "");
  int wildcards = 0;
  char last = 0;
  for (const char c : body) {
    if (c == '*') {
      if (last != '*' && ++wildcards > mostWildcards) return {};
      if (last != '*') expression += ".*";
    } else if (c == '^') {
      expression += separator;
    } else {
      appendFixed(expression, c);
    }
    last = c;
  }
  if (!endsInSeparator) return {expression + (atEnd ? "$" : "")};
  // After a host there is always a port or a path.
  if (atHost && !atEnd && !body.empty() && std::ranges::all_of(body, isHostCharacter)) {
    return {expression + "[:/]"};
  }
  return {expression + std::string(separator) + (atEnd ? "$" : ""), expression + "$"};
}

/// Reads an expression and writes what the engine understands of it.
class ExpressionReader {
 public:
  explicit ExpressionReader(std::string_view text) : text_(text) {}

  std::optional<std::string> read() {
    for (; at_ < text_.size(); ++at_) {
      if (!readOne()) return std::nullopt;
    }
    if (depth_ != 0 || fixed_ < fewestFixed) return std::nullopt;
    return std::move(result_);
  }

 private:
  /// What a quantifier would be for.
  enum class Before { nothing, atom, group };

  bool readOne() {
    const char c = text_[at_];
    switch (c) {
    case '^':
      return at_ == 0 && append("^", Before::nothing);
    case '$':
      return at_ + 1 == text_.size() && append("$", Before::nothing);
    case '\\':
      return readEscape();
    case '[':
      return readClass();
    case '(':
      return openGroup();
    case ')':
      if (depth_-- == 0 || result_.ends_with('(')) return false;
      return append(")", Before::group);
    case '*':
    case '+':
      if (before_ != Before::atom || ++wildcards_ > mostWildcards) return false;
      return append({&c, 1}, Before::nothing);
    case '?':
      if (before_ == Before::nothing) return false;
      return append("?", Before::nothing);
    case '.':
      return append(".", Before::atom);
    case '|':
    case '{':
    case '}':
    case ']':
      return false;
    default:
      return isPrintable(c) && appendCharacter(c);
    }
  }

  bool append(std::string_view text, Before before) {
    result_ += text;
    before_ = before;
    return true;
  }

  bool appendCharacter(char c) {
    ++fixed_;
    appendFixed(result_, c);
    before_ = Before::atom;
    return true;
  }

  bool readEscape() {
    if (++at_ == text_.size()) return false;
    const char c = text_[at_];
    if (c == 'd') return append("[0-9]", Before::atom);
    if (c == 'w') return append("[a-zA-Z0-9_]", Before::atom);
    return isPrintable(c) && !isAlphanumeric(c) && appendCharacter(c);
  }

  bool readClass() {
    std::string set = "[";
    if (at_ + 1 < text_.size() && text_[at_ + 1] == '^') {
      set += '^';
      ++at_;
    }
    const auto start = set.size();
    std::optional<char> first;  // what a range may begin with
    while (++at_ < text_.size() && text_[at_] != ']') {
      char c = text_[at_];
      if (c == '\\') {
        if (++at_ == text_.size()) return false;
        c = text_[at_];
        if (c == 'd' || c == 'w') {
          set += c == 'd' ? "0-9" : "a-zA-Z0-9_";
          first.reset();
          continue;
        }
        if (isAlphanumeric(c) || !isPrintable(c)) return false;
        set += '\\';
        set += c;
        first.reset();
      } else if (c == '-' && first && at_ + 1 < text_.size() && isAlphanumeric(text_[at_ + 1])) {
        if (text_[++at_] < *first) return false;
        set += '-';
        set += text_[at_];
        first.reset();
      } else if (!isPrintable(c) || c == '[') {
        return false;
      } else {
        if (!isAlphanumeric(c)) set += '\\';
        set += c;
        first = isAlphanumeric(c) ? std::optional(c) : std::nullopt;
      }
    }
    if (at_ == text_.size() || set.size() == start) return false;
    return append(set + "]", Before::atom);
  }

  bool openGroup() {
    if (++depth_ > deepestGroup) return false;
    const auto rest = text_.substr(at_ + 1);
    if (rest.starts_with("?:")) {
      at_ += 2;
    } else if (rest.starts_with('?')) {
      return false;
    }
    return append("(", Before::nothing);
  }

  std::string_view text_;
  std::size_t at_ = 0;
  std::string result_;
  Before before_ = Before::nothing;
  int depth_ = 0;
  int wildcards_ = 0;
  int fixed_ = 0;
};

}  // namespace

std::vector<std::string> filterExpressions(std::string_view pattern) {
  if (pattern.size() > longestPattern || !std::ranges::all_of(pattern, isPrintable)) return {};
  if (pattern.size() < 2 || !pattern.starts_with('/') || !pattern.ends_with('/')) {
    return textExpressions(pattern);
  }
  auto expression = ExpressionReader(pattern.substr(1, pattern.size() - 2)).read();
  return expression ? std::vector{*std::move(expression)} : std::vector<std::string>();
}

}  // namespace vale
