#pragma once

#include "common/Date.h"
#include "common/Error.h"
#include "common/RawValues.h"
#include "common/Uuid.h"

#include <boost/describe.hpp>
#include <boost/json.hpp>
#include <boost/mp11/algorithm.hpp>

#include <concepts>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

/// JSON records. A record is a plain struct with a BOOST_DESCRIBE_STRUCT line; its keys are its members'
/// names, in declared order. Absent optionals are left out; unknown keys are ignored on read; a missing or
/// unfit required key is an error that names its path. Dates are numbers: seconds since 2001-01-01 UTC.
namespace vale {

namespace json = boost::json;

/// Text that is not JSON, or JSON that is not the record asked for. The message says where.
struct DecodeError : Error {
  using Error::Error;
};

/// Parses one JSON text (nothing may follow it). Nesting is limited to 64 levels. Of a key that comes twice
/// the last value counts; an escaped half of a surrogate pair becomes U+FFFD. Throws DecodeError.
json::value parseJson(std::string_view text);

/// The same for text that may well be anything: none instead of an error.
std::optional<json::value> tryParseJson(std::string_view text);

/// One line of JSON, always readable again: bytes that are no UTF-8 become U+FFFD, infinite numbers the
/// largest ones, and what is not a number 0.
std::string jsonText(const json::value& value);

template <typename T>
concept DescribedRecord = boost::describe::has_describe_members<T>::value && !std::is_union_v<T>;

template <typename T> struct IsOptional : std::false_type {};
template <typename T> struct IsOptional<std::optional<T>> : std::true_type {};

template <typename T> json::value encode(const T& value);
template <typename T> T decode(const json::value& value);

namespace detail {

[[noreturn]] void failDecoding(const std::string& path, std::string_view expected);

template <typename T>
using RecordMembers =
    boost::describe::describe_members<T, boost::describe::mod_public | boost::describe::mod_inherited>;

inline json::value encodeValue(const json::value& value) { return value; }
inline json::value encodeValue(const json::object& value) { return value; }
inline json::value encodeValue(const json::array& value) { return value; }
inline json::value encodeValue(bool value) { return value; }
inline json::value encodeValue(std::integral auto value) { return value; }
inline json::value encodeValue(double value) { return value; }
inline json::value encodeValue(const std::string& value) { return json::string(value); }
inline json::value encodeValue(std::string_view value) { return json::string(value); }
inline json::value encodeValue(const std::filesystem::path& value) { return json::string(value.native()); }
inline json::value encodeValue(const Uuid& value) { return json::string(value.text()); }
inline json::value encodeValue(Date value) { return secondsSince2001(value); }
template <HasRawValues T> json::value encodeValue(T value) { return json::string(rawValue(value)); }
template <typename T> json::value encodeValue(const std::vector<T>& values) {
  json::array array;
  array.reserve(values.size());
  for (const auto& value : values) array.push_back(encode(value));
  return array;
}
template <typename T> json::value encodeValue(const std::map<std::string, T>& values) {
  json::object object;
  for (const auto& [key, value] : values) object.emplace(key, encode(value));
  return object;
}
template <DescribedRecord T> json::value encodeValue(const T& record) {
  json::object object;
  boost::mp11::mp_for_each<RecordMembers<T>>([&](auto member) {
    const auto& value = record.*member.pointer;
    if constexpr (IsOptional<std::remove_cvref_t<decltype(value)>>::value) {
      if (value) object.emplace(member.name, encode(*value));
    } else {
      object.emplace(member.name, encode(value));
    }
  });
  return object;
}

void decodeValue(const json::value& value, json::value& result, const std::string& path);
void decodeValue(const json::value& value, json::object& result, const std::string& path);
void decodeValue(const json::value& value, bool& result, const std::string& path);
void decodeValue(const json::value& value, std::int64_t& result, const std::string& path);
void decodeValue(const json::value& value, double& result, const std::string& path);
void decodeValue(const json::value& value, std::string& result, const std::string& path);
void decodeValue(const json::value& value, std::filesystem::path& result, const std::string& path);
void decodeValue(const json::value& value, Uuid& result, const std::string& path);
void decodeValue(const json::value& value, Date& result, const std::string& path);
void decodeValue(const json::value& value, int& result, const std::string& path);

template <HasRawValues T> void decodeValue(const json::value& value, T& result, const std::string& path) {
  const auto* text = value.if_string();
  const auto found = text ? fromRawValue<T>(std::string_view(*text)) : std::nullopt;
  if (!found) failDecoding(path, "one of its known names");
  result = *found;
}
template <DescribedRecord T> void decodeValue(const json::value& value, T& record, const std::string& path);
template <typename T>
void decodeValue(const json::value& value, std::vector<T>& result, const std::string& path);
template <typename T>
void decodeValue(const json::value& value, std::map<std::string, T>& result, const std::string& path);
template <typename T>
void decodeValue(const json::value& value, std::optional<T>& result, const std::string& path) {
  if (value.is_null()) {
    result.reset();
  } else {
    decodeValue(value, result.emplace(), path);
  }
}
template <DescribedRecord T> void decodeValue(const json::value& value, T& record, const std::string& path) {
  const auto* object = value.if_object();
  if (!object) failDecoding(path, "an object");
  boost::mp11::mp_for_each<RecordMembers<T>>([&](auto member) {
    auto& field = record.*member.pointer;
    const std::string fieldPath = path.empty() ? std::string(member.name) : path + "." + member.name;
    if (const auto* found = object->if_contains(member.name)) {
      decodeValue(*found, field, fieldPath);
    } else if constexpr (!IsOptional<std::remove_cvref_t<decltype(field)>>::value) {
      failDecoding(fieldPath, {});
    }
  });
}
template <typename T>
void decodeValue(const json::value& value, std::vector<T>& result, const std::string& path) {
  const auto* array = value.if_array();
  if (!array) failDecoding(path, "a list");
  result.clear();
  result.reserve(array->size());
  for (std::size_t i = 0; i < array->size(); ++i) {
    decodeValue((*array)[i], result.emplace_back(), path + "[" + std::to_string(i) + "]");
  }
}
template <typename T>
void decodeValue(const json::value& value, std::map<std::string, T>& result, const std::string& path) {
  const auto* object = value.if_object();
  if (!object) failDecoding(path, "an object");
  result.clear();
  for (const auto& [key, item] : *object) decodeValue(item, result[key], path + "." + std::string(key));
}

}  // namespace detail

/// The JSON form of a record, a value, or a list or map of them.
template <typename T> json::value encode(const T& value) { return detail::encodeValue(value); }

/// Reads a record back; throws DecodeError naming the first key that is missing or unfit.
template <typename T> T decode(const json::value& value) {
  T result{};
  detail::decodeValue(value, result, {});
  return result;
}

/// `decode` of a JSON text.
template <typename T> T decodeText(std::string_view text) { return decode<T>(parseJson(text)); }

/// The member of an object that is a string, or none: for reading JSON that others write.
std::optional<std::string_view> stringMember(const json::object& object, std::string_view key);
/// The member of an object that is itself an object, or null.
const json::object* objectMember(const json::object& object, std::string_view key);
/// The member of an object that is a list, or null.
const json::array* arrayMember(const json::object& object, std::string_view key);
/// The member that is a number, cut to its integer value and clamped to the type's range, or none.
std::optional<std::int64_t> integerMember(const json::object& object, std::string_view key);
/// The member that is a number, or none.
std::optional<double> numberMember(const json::object& object, std::string_view key);
/// The member that is true or false, or none.
std::optional<bool> boolMember(const json::object& object, std::string_view key);

}  // namespace vale
