#pragma once

#include "common/FileDescriptor.h"
#include "common/Json.h"

#include <cerrno>
#include <filesystem>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace vale {

/// The content of a file of the form {"<key>": [record, ...]}. Records that this version does not know (a new
/// kind, another type) are kept as they stand, so that writing the file loses nothing.
template <typename Record> struct RecordList {
  static constexpr std::size_t largestFile = 64 << 20;

  std::vector<Record> records;
  json::array unknown;

  /// Empty when there is no file. Throws Error when it cannot be read or has another form.
  static RecordList read(const std::filesystem::path& file, std::string_view key) {
    RecordList list;
    const auto text = readFile(file, largestFile);
    if (!text && text.error().code == ENOENT) return list;
    if (!text) throw text.error();
    const auto value = parseJson(*text);
    const auto* entries = value.is_object() ? arrayMember(value.get_object(), key) : nullptr;
    if (!entries) throw DecodeError("The key “" + std::string(key) + "” is not a list.");
    for (const auto& entry : *entries) {
      try {
        list.records.push_back(decode<Record>(entry));
      } catch (const DecodeError&) {
        list.unknown.push_back(entry);
      }
    }
    return list;
  }

  std::string text(std::string_view key) const {
    auto entries = encode(records).as_array();
    entries.insert(entries.end(), unknown.begin(), unknown.end());
    return jsonText(json::object({{key, std::move(entries)}})) + "\n";
  }
};

}  // namespace vale
