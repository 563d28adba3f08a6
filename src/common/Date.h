#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

namespace vale {

/// A moment in time, UTC. Wider than a double, so that the doubles in files (seconds since 2001) come back from it bit
/// for bit.
using Date = std::chrono::sys_time<std::chrono::duration<long double>>;

/// A span of time in seconds.
using Seconds = std::chrono::duration<double>;

/// ISO 8601 in UTC with whole seconds, rounded down: "2026-11-22T21:51:57Z". Years 0 to 9999; a date outside of them
/// is clamped.
std::string iso8601(Date date);

/// Reads "YYYY-MM-DDTHH:MM:SS" with an optional fraction and "Z" or an offset such as "+02:00"; none when the text is
/// anything else or names a moment that no calendar has.
std::optional<Date> parseISO8601(std::string_view text);

/// Seconds since 2001-01-01 00:00:00 UTC, as the session and thread files hold dates.
double secondsSince2001(Date date);
Date dateFromSecondsSince2001(double seconds);

}  // namespace vale
