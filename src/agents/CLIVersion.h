#pragma once

#include <compare>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vale {

/// A CLI's version, ordered by its release numbers (missing ones are 0), then as
/// https://semver.org/#spec-item-11 orders pre-releases: a pre-release stands below its release.
struct CLIVersion {
  /// The dotted numbers; one too large for an int is the largest int.
  std::vector<int> release;
  /// The dot-separated parts after "-".
  std::vector<std::string> prerelease;

  /// The first dotted number in the text, with its pre-release; none when there is none.
  static std::optional<CLIVersion> parse(std::string_view text);

  /// "2.1.330" or "0.170.0-alpha.3".
  std::string description() const;

  std::weak_ordering operator<=>(const CLIVersion& other) const;
  bool operator==(const CLIVersion& other) const { return (*this <=> other) == 0; }
};

}  // namespace vale
