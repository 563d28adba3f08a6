#include "common/Log.h"

#include <spdlog/sinks/stdout_sinks.h>
#include <spdlog/spdlog.h>

#include <cstdlib>

namespace vale::log {
namespace {

spdlog::logger& logger() {
  static spdlog::logger instance = [] {
    spdlog::logger made("vale", std::make_shared<spdlog::sinks::stderr_sink_mt>());
    const char* asked = std::getenv("VALE_LOG");
    made.set_level(asked ? spdlog::level::from_str(asked) : spdlog::level::warn);
    made.set_pattern("%H:%M:%S.%e %l: %v");
    return made;
  }();
  return instance;
}

}  // namespace

void write(Level level, std::string_view text) {
  constexpr spdlog::level::level_enum levels[] = {spdlog::level::debug, spdlog::level::info,
                                                  spdlog::level::warn, spdlog::level::err};
  logger().log(levels[static_cast<int>(level)], text);
}

}  // namespace vale::log
