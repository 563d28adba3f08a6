#pragma once

#include <array>
#include <optional>
#include <string_view>
#include <type_traits>
#include <utility>

namespace vale {

/// The names that an enumeration's cases have in files and on command lines, in case order. An enumeration
/// gets its names by specialising this beside its declaration:
///
///   template <> inline constexpr auto rawValues<Access> = std::to_array<RawValue<Access>>({{Access::read,
///   "read"}});
template <typename Enum> using RawValue = std::pair<Enum, std::string_view>;
template <typename Enum> inline constexpr std::nullptr_t rawValues = nullptr;

template <typename Enum>
concept HasRawValues =
    std::is_enum_v<Enum> && !std::is_same_v<std::remove_cvref_t<decltype(rawValues<Enum>)>, std::nullptr_t>;

/// The case's name; every case has one.
template <HasRawValues Enum> constexpr std::string_view rawValue(Enum value) {
  for (const auto& [candidate, name] : rawValues<Enum>) {
    if (candidate == value) return name;
  }
  return {};
}

/// The case with exactly this name, or none.
template <HasRawValues Enum> constexpr std::optional<Enum> fromRawValue(std::string_view name) {
  for (const auto& [candidate, text] : rawValues<Enum>) {
    if (text == name) return candidate;
  }
  return std::nullopt;
}

}  // namespace vale
