#include "agents/CLIValue.h"

#include <algorithm>

namespace vale::CLIValue {
namespace {

// Not <cctype>: what is a letter must not depend on the locale.
bool isLower(char c) { return c >= 'a' && c <= 'z'; }
bool isUpper(char c) { return c >= 'A' && c <= 'Z'; }
bool isDigit(char c) { return c >= '0' && c <= '9'; }

template <typename Allowed> bool isWord(std::string_view value, std::size_t limit, Allowed allowed) {
  return !value.empty() && value.size() <= limit && value.front() != '-' &&
         std::ranges::all_of(value, allowed);
}

}  // namespace

bool isModel(std::string_view value) {
  return isWord(value, 128, [](char c) {
    return isLower(c) || isUpper(c) || isDigit(c) ||
           std::string_view("._:/-[]@").find(c) != std::string_view::npos;
  });
}

bool isEffort(std::string_view value) {
  return isWord(value, 32, [](char c) { return isLower(c) || c == '_' || c == '-'; });
}

std::optional<std::string> model(const std::optional<std::string>& value) {
  return value && isModel(*value) ? value : std::nullopt;
}

std::optional<std::string> effort(const std::optional<std::string>& value) {
  return value && isEffort(*value) ? value : std::nullopt;
}

}  // namespace vale::CLIValue
