#include "agents/JsonLineReader.h"

#include "common/Json.h"
#include "common/Text.h"

#include <string>
#include <utility>

namespace vale {

const json::object* JsonLineReader::read(std::string_view line) {
  if (line.empty()) return nullptr;
  if (!parse(line)) {
    auto repaired = tryParseJson(validUtf8(std::string(line)));
    if (!repaired) return nullptr;
    value_.emplace(std::move(*repaired));
  }
  return value_->if_object();
}

bool JsonLineReader::parse(std::string_view line) {
  constexpr std::size_t large = 1 << 20;
  value_.reset();
  if (grown_) renewMemory();
  // Both keep for good what they once grew to.
  grown_ = line.size() > large;
  memory_->release();
  parser_->reset(&*memory_);
  json::error_code error;
  parser_->write(line.data(), line.size(), error);
  if (error) return false;
  value_.emplace(parser_->release());
  return true;
}

void JsonLineReader::renewMemory() {
  json::parse_options options;
  options.max_depth = 200;
  parser_.reset();
  memory_.emplace(values_.data(), values_.size());
  parser_.emplace(json::storage_ptr(), options, scratch_.data(), scratch_.size());
}

}  // namespace vale
