#include "agents/CLIVersion.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <charconv>
#include <limits>
#include <ranges>

namespace vale {
namespace {

bool isDigit(char character) { return character >= '0' && character <= '9'; }

bool isPrereleaseCharacter(char character) {
  return isDigit(character) || (character >= 'a' && character <= 'z') ||
         (character >= 'A' && character <= 'Z') || character == '.' || character == '-';
}

/// The beginning of the text as far as its characters are of that kind.
std::string_view leading(std::string_view text, bool (*isOfKind)(char)) {
  return text.substr(0, static_cast<std::size_t>(std::ranges::find_if_not(text, isOfKind) - text.begin()));
}

/// A number too large for an int is the largest one.
int number(std::string_view digits) {
  int value = std::numeric_limits<int>::max();
  std::from_chars(digits.data(), digits.data() + digits.size(), value);
  return value;
}

std::weak_ordering compareRelease(std::span<const int> left, std::span<const int> right) {
  for (auto* numbers : {&left, &right}) {
    while (!numbers->empty() && numbers->back() == 0) *numbers = numbers->first(numbers->size() - 1);
  }
  return std::lexicographical_compare_three_way(left.begin(), left.end(), right.begin(), right.end());
}

std::weak_ordering compareIdentifier(std::string_view left, std::string_view right) {
  const bool leftNumeric = std::ranges::all_of(left, isDigit);
  const bool rightNumeric = std::ranges::all_of(right, isDigit);
  if (leftNumeric != rightNumeric)
    return leftNumeric ? std::weak_ordering::less : std::weak_ordering::greater;
  if (leftNumeric) {
    for (auto* digits : {&left, &right})
      digits->remove_prefix(std::min(digits->find_first_not_of('0'), digits->size()));
    if (left.size() != right.size()) return left.size() <=> right.size();
  }
  return left <=> right;
}

}  // namespace

std::optional<CLIVersion> CLIVersion::parse(std::string_view text) {
  while (true) {
    text.remove_prefix(static_cast<std::size_t>(std::ranges::find_if(text, isDigit) - text.begin()));
    if (text.empty()) return std::nullopt;
    CLIVersion version;
    auto digits = leading(text, isDigit);
    version.release.push_back(number(digits));
    text.remove_prefix(digits.size());
    while (text.size() >= 2 && text[0] == '.' && isDigit(text[1])) {
      digits = leading(text.substr(1), isDigit);
      version.release.push_back(number(digits));
      text.remove_prefix(1 + digits.size());
    }
    if (version.release.size() < 2) continue;
    if (text.starts_with('-')) {
      for (const auto part : leading(text.substr(1), isPrereleaseCharacter) | std::views::split('.')) {
        // A full stop behind the version is no part of it.
        if (!part.empty()) version.prerelease.emplace_back(part.begin(), part.end());
      }
    }
    return version;
  }
}

std::string CLIVersion::description() const {
  auto text = fmt::format("{}", fmt::join(release, "."));
  if (!prerelease.empty()) text += fmt::format("-{}", fmt::join(prerelease, "."));
  return text;
}

std::weak_ordering CLIVersion::operator<=>(const CLIVersion& other) const {
  if (const auto order = compareRelease(release, other.release); order != 0) return order;
  if (prerelease.empty() != other.prerelease.empty()) {
    return prerelease.empty() ? std::weak_ordering::greater : std::weak_ordering::less;
  }
  return std::lexicographical_compare_three_way(prerelease.begin(), prerelease.end(),
                                                other.prerelease.begin(), other.prerelease.end(),
                                                compareIdentifier);
}

}  // namespace vale
