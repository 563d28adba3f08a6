#include "common/Date.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>

namespace vale {
namespace {

Date atUnixTime(double seconds) { return Date(Seconds(seconds)); }

TEST(Date, iso8601TextsAreReadStrictly) {
  const std::pair<std::string_view, double> good[] = {{"1970-01-01T00:00:00Z", 0},
                                                      {"2026-11-22T21:51:57Z", 1795384317},
                                                      {"2026-11-22T23:51:57+02:00", 1795384317},
                                                      {"2026-11-22T21:21:57-00:30", 1795384317},
                                                      {"1969-12-31T23:59:59.75Z", -0.25},
                                                      {"2000-02-29T00:00:00Z", 951782400},
                                                      {"0000-01-01T00:00:00Z", -62167219200}};
  for (const auto& [text, seconds] : good) EXPECT_EQ(parseISO8601(text), atUnixTime(seconds)) << text;
  for (const std::string_view bad :
       {"1900-02-29T00:00:00Z", "2026-04-31T00:00:00Z", "2026-00-10T00:00:00Z", "2026-11-22T24:00:00Z",
        "2026-11-22T23:59:60Z", "2026-11-22T21:51:57", "2026-11-22 21:51:57Z", "2026-11-22T21:51:57.Z",
        "2026-11-22T21:51:57Z ", "2026-11-22T21:51:57+24:00", "2026-11-22T21:51:57+0200",
        "+026-11-22T21:51:57Z", "2026-1-022T21:51:57Z", "2026-11-22T21:51:57.5e3Z", "2026-11-22", ""}) {
    EXPECT_FALSE(parseISO8601(bad)) << bad;
  }
}

TEST(Date, iso8601IsRoundedDownAndClampedToFourDigitYears) {
  constexpr double infinity = std::numeric_limits<double>::infinity();
  const std::pair<double, std::string_view> cases[] = {
      {1795384317.999, "2026-11-22T21:51:57Z"}, {-0.5, "1969-12-31T23:59:59Z"},
      {253402300799.9, "9999-12-31T23:59:59Z"}, {253402300800, "9999-12-31T23:59:59Z"},
      {infinity, "9999-12-31T23:59:59Z"},       {-62167219200.5, "0000-01-01T00:00:00Z"},
      {-infinity, "0000-01-01T00:00:00Z"},      {std::nan(""), "0000-01-01T00:00:00Z"},
  };
  for (const auto& [seconds, expected] : cases) EXPECT_EQ(iso8601(atUnixTime(seconds)), expected);
}

TEST(Date, secondsSince2001SurviveTheRoundTripBitForBit) {
  EXPECT_EQ(secondsSince2001(*parseISO8601("2001-01-01T00:00:00Z")), 0);
  EXPECT_EQ(iso8601(dateFromSecondsSince2001(797984517.9)), "2026-04-15T22:21:57Z");
  std::mt19937_64 random(7);
  std::uniform_real_distribution<double> moments(1e6, 4e9);
  for (int i = 0; i < 10'000; ++i) {
    const double seconds = moments(random);
    ASSERT_EQ(secondsSince2001(dateFromSecondsSince2001(seconds)), seconds);
  }
}

}  // namespace
}  // namespace vale
