#include "history/HistoryLineReader.h"

#include "common/Date.h"
#include "common/FileDescriptor.h"
#include "common/Json.h"

#include <array>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <simdjson.h>

namespace vale {
namespace {

/// In the order of a line that Vale wrote.
enum Key : unsigned {
  id,
  visitedAt,
  lastVisitedAt,
  visitCount,
  url,
  title,
  transition,
  tabID,
  openerTabID,
  source,
  sensitive,
  foregroundSeconds,
  textExcerpt,
  keyCount
};
constexpr std::array<std::string_view, keyCount> keyNames = {
    "id",        "visitedAt",         "lastVisitedAt", "visitCount",  "url",
    "title",     "transition",        "tabID",         "openerTabID", "source",
    "sensitive", "foregroundSeconds", "textExcerpt"};
constexpr unsigned required = 1u << id | 1u << visitedAt | 1u << lastVisitedAt | 1u << visitCount |
                              1u << url | 1u << title | 1u << textExcerpt;

bool assign(std::chrono::sys_seconds& time, std::string_view text) {
  const auto date = parseISO8601(text);
  if (date) time = std::chrono::time_point_cast<std::chrono::seconds>(*date);
  return date.has_value();
}
bool assign(Uuid& uuid, std::string_view text) {
  const auto parsed = Uuid::parse(text);
  if (parsed) uuid = *parsed;
  return parsed.has_value();
}
bool assign(std::optional<Uuid>& uuid, std::string_view text) {
  uuid = Uuid::parse(text);
  return uuid.has_value();
}
bool assign(std::optional<VisitTransition>& value, std::string_view text) {
  value = fromRawValue<VisitTransition>(text);
  return value.has_value();
}
template <typename Text> bool assignText(Text& field, std::string_view text) {
  field = text;
  return true;
}

/// The keys whose value is a string.
bool assign(HistoryVisit& visit, Key key, std::string_view text) {
  switch (key) {
  case id:
    return assign(visit.id, text);
  case visitedAt:
    return assign(visit.visitedAt, text);
  case lastVisitedAt:
    return assign(visit.lastVisitedAt, text);
  case url:
    return assignText(visit.url, text);
  case title:
    return assignText(visit.title, text);
  case transition:
    return assign(visit.transition, text);
  case tabID:
    return assign(visit.tabID, text);
  case openerTabID:
    return assign(visit.openerTabID, text);
  case source:
    return assignText(visit.source, text);
  case textExcerpt:
    return assignText(visit.textExcerpt, text);
  default:
    return false;
  }
}

void clearOptionals(HistoryVisit& visit) {
  visit.transition.reset();
  visit.tabID.reset();
  visit.openerTabID.reset();
  visit.source.reset();
  visit.sensitive = false;
  visit.foregroundSeconds.reset();
}

/// What simdjson refuses, or leaves unchecked (the value of a key that nobody asks for), is read the slow
/// way.
bool readSlowly(std::string_view line, HistoryVisit& visit) try {
  const auto parsed = tryParseJson(line);
  const auto* object = parsed ? parsed->if_object() : nullptr;
  if (!object) return false;
  clearOptionals(visit);
  for (unsigned key = 0; key < keyCount; ++key) {
    const auto* value = object->if_contains(keyNames[key]);
    const bool isRequired = required >> key & 1;
    if (!value || (value->is_null() && !isRequired)) {
      if (isRequired) return false;
    } else if (key == visitCount) {
      visit.visitCount = decode<std::int64_t>(*value);
    } else if (key == foregroundSeconds) {
      visit.foregroundSeconds = decode<std::int64_t>(*value);
    } else if (key == sensitive) {
      visit.sensitive = decode<bool>(*value);
    } else if (!value->is_string() || !assign(visit, Key(key), std::string_view(value->get_string()))) {
      return false;
    }
  }
  return true;
} catch (const DecodeError&) {
  return false;
}

}  // namespace

ArchiveBytes ArchiveBytes::read(const std::filesystem::path& file) {
  auto bytes = readFile(file);
  if (bytes) return ArchiveBytes(std::move(*bytes));
  if (bytes.error().code == ENOENT) return ArchiveBytes(std::string());
  throw bytes.error();
}

std::optional<std::string_view> ArchiveBytes::nextLine(std::size_t& position) const {
  while (position < bytes_.size()) {
    auto line = view().substr(position);
    line = line.substr(0, line.find('\n'));
    position += line.size() + 1;
    if (line.ends_with('\r')) line.remove_suffix(1);
    if (!line.empty()) return line;
  }
  return std::nullopt;
}

struct HistoryLineReader::Parser {
  simdjson::ondemand::parser parser;
  std::string copy;

  /// True for a visit, false when it is none or the fast way cannot tell. `readable` bytes may be looked at.
  bool read(std::string_view line, std::size_t readable, HistoryVisit& visit);
};

bool HistoryLineReader::Parser::read(std::string_view line, std::size_t readable, HistoryVisit& visit) {
  namespace ondemand = simdjson::ondemand;
  ondemand::document document;
  ondemand::object object;
  if (parser.iterate(line.data(), line.size(), readable).get(document)) return false;
  if (document.get_object().get(object)) return false;
  clearOptionals(visit);
  unsigned seen = 0;
  unsigned expected = 0;
  for (auto field : object) {
    ondemand::raw_json_string name;
    if (field.key().get(name)) return false;
    unsigned steps = 0;
    while (steps < keyCount && !name.unsafe_is_equal(keyNames[expected])) {
      expected = (expected + 1) % keyCount;
      ++steps;
    }
    if (steps == keyCount) return false;
    const auto key = Key(expected);
    seen |= 1u << key;
    if (key == visitCount) {
      if (field.value().get_int64().get(visit.visitCount)) return false;
    } else if (key == foregroundSeconds) {
      if (field.value().get_int64().get(visit.foregroundSeconds.emplace())) return false;
    } else if (key == sensitive) {
      if (field.value().get_bool().get(visit.sensitive)) return false;
    } else {
      std::string_view text;
      if (field.value().get_string().get(text) || !assign(visit, key, text)) return false;
    }
    expected = (expected + 1) % keyCount;
  }
  // Nothing may follow the object.
  return (seen & required) == required && document.current_location().error() == simdjson::OUT_OF_BOUNDS;
}

HistoryLineReader::HistoryLineReader() : parser_(std::make_unique<Parser>()) {}
HistoryLineReader::~HistoryLineReader() = default;
HistoryLineReader::HistoryLineReader(HistoryLineReader&&) noexcept = default;
HistoryLineReader& HistoryLineReader::operator=(HistoryLineReader&&) noexcept = default;

bool HistoryLineReader::read(std::string_view line, const ArchiveBytes& archive, HistoryVisit& visit) {
  const auto readable = std::size_t(archive.view().data() + archive.view().size() - line.data());
  if (readable < line.size() + simdjson::SIMDJSON_PADDING) return read(line, visit);
  return parser_->read(line, readable, visit) || readSlowly(line, visit);
}

bool HistoryLineReader::read(std::string_view line, HistoryVisit& visit) {
  auto& copy = parser_->copy;
  copy.resize(line.size() + simdjson::SIMDJSON_PADDING);
  std::memcpy(copy.data(), line.data(), line.size());
  return parser_->read({copy.data(), line.size()}, copy.size(), visit) || readSlowly(line, visit);
}

}  // namespace vale
