#pragma once

#include <fmt/format.h>

#include <string_view>

/// Lines for the developer on standard error. The level is "warning" unless VALE_LOG names another ("debug",
/// "info", "error", "off"). Never the content of pages, prompts or answers, and nothing at all of private
/// windows.
namespace vale::log {

enum class Level { debug, info, warning, error };

void write(Level level, std::string_view text);

template <typename... Arguments>
void debug(fmt::format_string<Arguments...> format, Arguments&&... arguments) {
  write(Level::debug, fmt::format(format, std::forward<Arguments>(arguments)...));
}
template <typename... Arguments>
void info(fmt::format_string<Arguments...> format, Arguments&&... arguments) {
  write(Level::info, fmt::format(format, std::forward<Arguments>(arguments)...));
}
template <typename... Arguments>
void warning(fmt::format_string<Arguments...> format, Arguments&&... arguments) {
  write(Level::warning, fmt::format(format, std::forward<Arguments>(arguments)...));
}
template <typename... Arguments>
void error(fmt::format_string<Arguments...> format, Arguments&&... arguments) {
  write(Level::error, fmt::format(format, std::forward<Arguments>(arguments)...));
}

}  // namespace vale::log
