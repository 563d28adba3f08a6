#include "agents/CLIVersion.h"

#include <gtest/gtest.h>

#include <iterator>
#include <sstream>

namespace vale::test {
namespace {

TEST(CLIVersion, isTheFirstDottedNumberOfTheText) {
  const std::pair<std::string, std::string> cases[] = {
      {"codex-cli 0.144.4", "0.144.4"},
      {"2.1.330 (Claude Code)\n", "2.1.330"},
      {"build 7 of v1.2", "1.2"},
      {"1. 2.x 3.4.", "3.4"},
      {"1.2-", "1.2"},
      {"0.170.0-alpha.3. Done", "0.170.0-alpha.3"},
      {"1.2-x-y..z+build", "1.2-x-y.z"},
      {"99999999999999999999.1", "2147483647.1"},
      {std::string(1 << 20, '7').append(" 5.06.7"), "5.6.7"},
      {std::string("\0\xff 4.5", 6), "4.5"},
      {"version twelve 12", "none"},
  };
  for (const auto& [text, expected] : cases) {
    const auto version = CLIVersion::parse(text);
    EXPECT_EQ(version ? version->description() : "none", expected) << text.substr(0, 100);
  }
}

TEST(CLIVersion, ordersByReleaseThenPrerelease) {
  std::istringstream ascending(
      "0.9-9 0.9 0.14.3 0.14.4-a 0.14.4-a.2 0.14.4-a.10 0.14.4-a.b 0.14.4-b 0.14.4-rc.99999999999999999999 "
      "0.14.4-rc.100000000000000000000 0.14.4 0.14.4.1 1.0");
  const std::vector<std::string> texts{std::istream_iterator<std::string>(ascending), {}};
  for (std::size_t left = 0; left < texts.size(); ++left) {
    for (std::size_t right = 0; right < texts.size(); ++right) {
      EXPECT_EQ(*CLIVersion::parse(texts[left]) <=> *CLIVersion::parse(texts[right]), left <=> right)
          << texts[left] << " and " << texts[right];
    }
  }
  EXPECT_EQ(*CLIVersion::parse("2.1-rc.007"), *CLIVersion::parse("2.1.0.0-rc.7"));
}

}  // namespace
}  // namespace vale::test
