#include "common/Json.h"

#include "common/JsonParser.h"
#include "common/Text.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <limits>

namespace vale {
namespace {

std::optional<std::int64_t> integerValue(const json::value& value) {
  constexpr auto largest = std::numeric_limits<std::int64_t>::max();
  constexpr auto smallest = std::numeric_limits<std::int64_t>::min();
  if (const auto* number = value.if_int64()) return *number;
  if (value.is_uint64()) return largest;
  if (const auto* number = value.if_double()) {
    if (std::isnan(*number)) return std::nullopt;
    if (*number >= 0x1p63) return largest;
    if (*number < -0x1p63) return smallest;
    return static_cast<std::int64_t>(*number);
  }
  return std::nullopt;
}

std::optional<double> numberValue(const json::value& value) {
  if (const auto* number = value.if_double()) return *number;
  if (const auto* number = value.if_int64()) return static_cast<double>(*number);
  if (const auto* number = value.if_uint64()) return static_cast<double>(*number);
  return std::nullopt;
}

bool hasUnfitNumber(const json::value& value) {
  if (const auto* number = value.if_double()) return !std::isfinite(*number);
  if (const auto* array = value.if_array()) return std::ranges::any_of(*array, hasUnfitNumber);
  const auto* object = value.if_object();
  return object &&
         std::ranges::any_of(*object, [](const auto& member) { return hasUnfitNumber(member.value()); });
}

void mendNumbers(json::value& value) {
  if (auto* number = value.if_double(); number && !std::isfinite(*number)) {
    *number = std::isnan(*number) ? 0 : std::copysign(std::numeric_limits<double>::max(), *number);
  } else if (auto* array = value.if_array()) {
    std::ranges::for_each(*array, mendNumbers);
  } else if (auto* object = value.if_object()) {
    for (auto& member : *object) mendNumbers(member.value());
  }
}

}  // namespace

json::value parseJson(std::string_view text) {
  json::error_code error;
  json::value value = parseAnyJson(text, error);
  if (error) throw DecodeError("The text is not valid JSON: " + error.message() + ".");
  return value;
}

std::optional<json::value> tryParseJson(std::string_view text) {
  json::error_code error;
  json::value value = parseAnyJson(text, error);
  if (error) return std::nullopt;
  return value;
}

std::string jsonText(const json::value& value) {
  // The serializer takes what no parser takes back, and one such byte would cost the whole file.
  if (!hasUnfitNumber(value)) return validUtf8(json::serialize(value));
  json::value mended = value;
  mendNumbers(mended);
  return validUtf8(json::serialize(mended));
}

std::optional<std::string_view> stringMember(const json::object& object, std::string_view key) {
  const auto* value = object.if_contains(key);
  const auto* text = value ? value->if_string() : nullptr;
  return text ? std::optional<std::string_view>(*text) : std::nullopt;
}

const json::object* objectMember(const json::object& object, std::string_view key) {
  const auto* value = object.if_contains(key);
  return value ? value->if_object() : nullptr;
}

const json::array* arrayMember(const json::object& object, std::string_view key) {
  const auto* value = object.if_contains(key);
  return value ? value->if_array() : nullptr;
}

std::optional<std::int64_t> integerMember(const json::object& object, std::string_view key) {
  const auto* value = object.if_contains(key);
  return value ? integerValue(*value) : std::nullopt;
}

std::optional<double> numberMember(const json::object& object, std::string_view key) {
  const auto* value = object.if_contains(key);
  return value ? numberValue(*value) : std::nullopt;
}

std::optional<bool> boolMember(const json::object& object, std::string_view key) {
  const auto* value = object.if_contains(key);
  const auto* flag = value ? value->if_bool() : nullptr;
  return flag ? std::optional<bool>(*flag) : std::nullopt;
}

namespace detail {

void failDecoding(const std::string& path, std::string_view expected) {
  const std::string name = path.empty() ? "The record" : "The key “" + path + "”";
  throw DecodeError(expected.empty() ? name + " is missing." : fmt::format("{} is not {}.", name, expected));
}

void decodeValue(const json::value& value, json::value& result, const std::string&) { result = value; }

void decodeValue(const json::value& value, json::object& result, const std::string& path) {
  const auto* object = value.if_object();
  if (!object) failDecoding(path, "an object");
  result = *object;
}

void decodeValue(const json::value& value, bool& result, const std::string& path) {
  const auto* flag = value.if_bool();
  if (!flag) failDecoding(path, "true or false");
  result = *flag;
}

void decodeValue(const json::value& value, std::int64_t& result, const std::string& path) {
  const auto number = numberValue(value);
  const auto integer = integerValue(value);
  if (!integer || !number || std::trunc(*number) != *number) failDecoding(path, "a whole number");
  result = *integer;
}

void decodeValue(const json::value& value, int& result, const std::string& path) {
  std::int64_t wide = 0;
  decodeValue(value, wide, path);
  if (wide < std::numeric_limits<int>::min() || wide > std::numeric_limits<int>::max()) {
    failDecoding(path, "a whole number of 32 bits");
  }
  result = static_cast<int>(wide);
}

void decodeValue(const json::value& value, double& result, const std::string& path) {
  const auto number = numberValue(value);
  if (!number) failDecoding(path, "a number");
  result = *number;
}

void decodeValue(const json::value& value, std::string& result, const std::string& path) {
  const auto* text = value.if_string();
  if (!text) failDecoding(path, "a string");
  result = *text;
}

void decodeValue(const json::value& value, std::filesystem::path& result, const std::string& path) {
  std::string text;
  decodeValue(value, text, path);
  result = std::move(text);
}

void decodeValue(const json::value& value, Uuid& result, const std::string& path) {
  const auto* text = value.if_string();
  const auto uuid = text ? Uuid::parse(std::string_view(*text)) : std::nullopt;
  if (!uuid) failDecoding(path, "a UUID");
  result = *uuid;
}

void decodeValue(const json::value& value, Date& result, const std::string& path) {
  double seconds = 0;
  decodeValue(value, seconds, path);
  result = dateFromSecondsSince2001(seconds);
}

}  // namespace detail
}  // namespace vale
