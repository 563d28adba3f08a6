#include "agents/ServiceNotices.h"

#include "common/Json.h"

#include <fmt/format.h>

#include <cmath>
#include <ctime>

namespace vale::ServiceNotices {
namespace {

std::string limitName(std::string_view type) {
  if (type == "five_hour") return "5-hour limit";
  if (type == "seven_day") return "weekly limit";
  if (type == "seven_day_opus") return "weekly limit for Opus";
  if (type == "seven_day_sonnet") return "weekly limit for Sonnet";
  return "usage limit";
}

/// " It resets on 22 November at 22:30 UTC.": the stream's reader has no time zone.
std::string reset(const json::object& info) {
  constexpr std::int64_t year9999 = 253370764800;
  const auto seconds = integerMember(info, "resetsAt");
  if (!seconds || *seconds <= 0 || *seconds > year9999) return {};
  const std::time_t time = *seconds;
  std::tm utc{};
  gmtime_r(&time, &utc);
  static constexpr const char* months[] = {"January",   "February", "March",    "April",
                                           "May",       "June",     "July",     "August",
                                           "September", "October",  "November", "December"};
  return fmt::format(" It resets on {} {} at {:02}:{:02} UTC.", utc.tm_mday, months[utc.tm_mon], utc.tm_hour,
                     utc.tm_min);
}

}  // namespace

std::optional<std::string> rateLimit(const json::object& info) {
  const auto status = stringMember(info, "status").value_or("");
  const auto limit = limitName(stringMember(info, "rateLimitType").value_or(""));
  if (status == "rejected") {
    const bool goesOn = boolMember(info, "isUsingOverage").value_or(false);
    return fmt::format("Your {} is used up{}.{}", limit, goesOn ? "; extra usage is counted now" : "",
                       reset(info));
  }
  if (status != "allowed_warning") return std::nullopt;
  const auto used = numberMember(info, "utilization");
  if (!used || !(*used >= 0 && *used <= 10))
    return fmt::format("You are close to your {}.{}", limit, reset(info));
  return fmt::format("You have used {}% of your {}.{}", std::lround(*used * 100), limit, reset(info));
}

std::string retry(const json::object& line) {
  const auto error = stringMember(line, "error").value_or("");
  const auto status = integerMember(line, "error_status");
  std::string reason = "the connection to the service failed";
  if (error == "rate_limit") {
    reason = "the service limits the rate of requests";
  } else if (error == "overloaded") {
    reason = "the service is overloaded";
  } else if (status) {
    reason = fmt::format("the service answered with error {}", *status);
  }
  const auto attempt = integerMember(line, "attempt");
  const auto most = integerMember(line, "max_retries");
  const auto count = attempt && most ? fmt::format(" ({} of {})", *attempt, *most) : "";
  return fmt::format("Claude Code is retrying{}: {}.", count, reason);
}

}  // namespace vale::ServiceNotices
