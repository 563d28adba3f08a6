#pragma once

#include <boost/json/fwd.hpp>

#include <optional>
#include <string>

namespace vale {

/// What Claude Code's stream says about the service behind it, in plain words.
namespace ServiceNotices {

/// Of a `rate_limit_event` line's "rate_limit_info": none while all is well.
std::optional<std::string> rateLimit(const boost::json::object& info);

/// Of a `system` line with subtype "api_retry": "Claude Code is retrying (2 of 10): the service is
/// overloaded."
std::string retry(const boost::json::object& line);

}  // namespace ServiceNotices

}  // namespace vale
