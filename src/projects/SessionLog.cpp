#include "projects/SessionLog.h"

#include "agents/JsonLineReader.h"
#include "agents/PreviewText.h"
#include "common/Date.h"
#include "common/Text.h"
#include "projects/PlainFiles.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <sys/stat.h>
#include <vector>

namespace vale {
namespace {

constexpr std::size_t idLimit = 100;

std::string oneLine(std::string_view text, std::size_t characters) {
  const auto begin = text.find_first_not_of(" \t\r\n");
  if (begin == std::string_view::npos) return {};
  auto line = validUtf8(previewLine(text.substr(begin), characters * 2));
  const auto repeated = std::ranges::unique(line, [](char a, char b) { return a == ' ' && b == ' '; });
  line.erase(repeated.begin(), repeated.end());
  return previewLine(trimmed(line), characters);
}

/// What is known of a conversation after some of its lines.
struct Reading {
  AgentProvider provider;
  SessionLog log{};
  std::string ownTitle{};  ///< the CLI's own, which outranks the request
  std::string named{};     ///< the user's own, which outranks both
  std::string lastRequest{};
  bool isHelper = false;

  void take(const json::object& line);
  bool hasBegun() const { return !log.folder.empty() && !log.title.empty() && !log.first.empty(); }

 private:
  void takeClaude(const json::object& line);
  void takeCodex(const json::object& line);
  void takeDate(const json::object& line);
  void takeRequest(std::string_view text);
};

void keepFirst(std::string& place, std::optional<std::string_view> value) {
  if (place.empty() && value) place = *value;
}

void Reading::takeRequest(std::string_view text) {
  if (log.title.empty()) log.title = SessionLogReader::titleOfRequest(text);
}

void Reading::takeDate(const json::object& line) {
  const auto text = stringMember(line, "timestamp");
  const auto date = text ? parseISO8601(*text) : std::nullopt;
  if (!date) return;
  const auto known = iso8601(*date);
  if (log.first.empty()) log.first = known;
  log.last = known;
}

/// A message's text: a string, or a list of blocks of which some are text.
void forEachText(const json::value* content, std::string_view type, const auto& take) {
  if (!content) return;
  if (const auto* text = content->if_string()) return take(std::string_view(*text));
  const auto* blocks = content->if_array();
  if (!blocks) return;
  for (const auto& block : *blocks) {
    const auto* object = block.if_object();
    if (!object || stringMember(*object, "type") != type) continue;
    if (const auto text = stringMember(*object, "text")) take(*text);
  }
}

void Reading::takeClaude(const json::object& line) {
  const auto type = stringMember(line, "type").value_or("");
  const auto title = [&](std::string& place, std::string_view key) {
    if (const auto text = stringMember(line, key)) place = oneLine(*text, SessionLog::titleLength);
  };
  if (type == "ai-title") return title(ownTitle, "aiTitle");
  if (type == "custom-title") return title(named, "customTitle");
  if (type == "last-prompt") return title(lastRequest, "lastPrompt");
  // Older versions put the summaries of other conversations at the beginning; the last one is this one's.
  if (type == "summary") return title(ownTitle, "summary");
  if (boolMember(line, "isSidechain").value_or(false)) {
    isHelper = isHelper || log.folder.empty();
    return;
  }
  keepFirst(log.folder, stringMember(line, "cwd"));
  keepFirst(log.id, stringMember(line, "sessionId"));
  takeDate(line);
  if (type != "user" || boolMember(line, "isMeta").value_or(false)) return;
  const auto* message = objectMember(line, "message");
  if (!message || stringMember(*message, "role") != "user") return;
  forEachText(message->if_contains("content"), "text", [this](std::string_view text) { takeRequest(text); });
}

void Reading::takeCodex(const json::object& line) {
  takeDate(line);
  const auto type = stringMember(line, "type").value_or("");
  const auto* payload = objectMember(line, "payload");
  if (!payload) return;
  if (type == "session_meta") {
    keepFirst(log.id, stringMember(*payload, "id"));
    keepFirst(log.folder, stringMember(*payload, "cwd"));
    const auto* source = objectMember(*payload, "source");
    isHelper = isHelper || (source && source->contains("subagent"));
  } else if (type == "turn_context") {
    keepFirst(log.folder, stringMember(*payload, "cwd"));
  } else if (type == "event_msg") {
    const auto kind = stringMember(*payload, "type");
    if (kind == "user_message") takeRequest(stringMember(*payload, "message").value_or(""));
    if (kind == "thread_name_updated")
      named = oneLine(stringMember(*payload, "thread_name").value_or(""), SessionLog::titleLength);
  } else if (type == "response_item" && stringMember(*payload, "role") == "user") {
    forEachText(payload->if_contains("content"), "input_text",
                [this](std::string_view text) { takeRequest(text); });
  }
}

void Reading::take(const json::object& line) {
  if (provider == AgentProvider::claude) {
    takeClaude(line);
  } else {
    takeCodex(line);
  }
}

/// Only these lines of the end are worth parsing before the last dated one is known.
bool mayHoldTitle(std::string_view line) {
  return line.contains("-title\"") || line.contains("\"summary\"") || line.contains("thread_name_updated") ||
         line.contains("\"last-prompt\"");
}

/// When the file was last written to.
std::string dateOf(int descriptor) {
  struct stat status = {};
  if (fstat(descriptor, &status) != 0) return {};
  return iso8601(Date(std::chrono::seconds(status.st_mtim.tv_sec)));
}

/// The whole lines of the first bytes, until the conversation's beginning is known.
void readHead(int descriptor, std::uint64_t size, Reading& reading, JsonLineReader& lines) {
  const auto limit = std::min<std::uint64_t>(size, SessionLogReader::headLimit);
  std::string unfinished;
  for (std::uint64_t offset = 0; offset < limit && !reading.hasBegun();) {
    const auto piece = PlainFiles::bytesAt(descriptor, offset, SessionLogReader::headStep);
    if (piece.empty()) return;
    offset += piece.size();
    unfinished += piece;
    std::size_t begin = 0;
    for (auto end = unfinished.find('\n'); end != std::string::npos; end = unfinished.find('\n', begin)) {
      if (const auto* line = lines.read(std::string_view(unfinished).substr(begin, end - begin)))
        reading.take(*line);
      begin = end + 1;
    }
    unfinished.erase(0, begin);
  }
  // A last line without its end, of a CLI that still writes or was killed, counts if it can be read.
  if (limit == size && !reading.hasBegun()) {
    if (const auto* line = lines.read(unfinished)) reading.take(*line);
  }
}

/// The latest title and date. Lines that begin before the end that is read are not seen.
void readTail(int descriptor, std::uint64_t size, Reading& reading, JsonLineReader& lines) {
  const auto begin = size > SessionLogReader::tailSize ? size - SessionLogReader::tailSize : 0;
  const auto bytes = PlainFiles::bytesAt(descriptor, begin, SessionLogReader::tailSize);
  std::string_view rest = bytes;
  if (begin > 0) rest.remove_prefix(std::min(rest.find('\n'), rest.size() - 1) + 1);
  std::vector<std::string_view> all;
  while (!rest.empty()) {
    const auto end = std::min(rest.find('\n'), rest.size());
    all.push_back(rest.substr(0, end));
    rest.remove_prefix(std::min(end + 1, rest.size()));
  }
  Reading end{.provider = reading.provider};
  std::size_t dated = all.size();
  while (dated > 0 && end.log.last.empty()) {
    if (const auto* line = lines.read(all[--dated])) end.take(*line);
  }
  for (std::size_t i = 0; i < all.size(); ++i) {
    if (!mayHoldTitle(all[i])) continue;
    if (const auto* line = lines.read(all[i])) end.take(*line);
  }
  if (reading.log.folder.empty()) reading.log.folder = end.log.folder;
  if (reading.log.id.empty()) reading.log.id = end.log.id;
  // The last line with a date may be longer than what was read.
  if (end.log.last.empty() && begin > 0) end.log.last = dateOf(descriptor);
  reading.log.last = std::max(reading.log.last, end.log.last);
  for (const auto title : {&Reading::ownTitle, &Reading::named, &Reading::lastRequest}) {
    if (!(end.*title).empty()) reading.*title = end.*title;
  }
}

}  // namespace

namespace SessionLogReader {

std::string titleOfRequest(std::string_view request) {
  const auto text = trimmed(request.substr(0, 64 * 1024));
  // What the CLIs put before or in place of the user's words.
  constexpr std::array<std::string_view, 5> machines = {"<", "# AGENTS.md instructions",
                                                        "Caveat: The messages below", "[Request interrupted",
                                                        "This session is being continued"};
  if (std::ranges::any_of(machines, [&](auto opening) { return text.starts_with(opening); })) return {};
  return oneLine(text, SessionLog::titleLength);
}

std::optional<SessionLog> read(const std::filesystem::path& path, AgentProvider provider) {
  const auto file = PlainFiles::open(path, PlainFiles::Owner::user);
  struct stat status = {};
  if (!file || fstat(file->get(), &status) != 0) return std::nullopt;
  const auto size = std::uint64_t(status.st_size);
  Reading reading{.provider = provider};
  reading.log.provider = provider;
  JsonLineReader lines;
  readHead(file->get(), size, reading, lines);
  if (reading.isHelper) return std::nullopt;
  readTail(file->get(), size, reading, lines);
  auto& log = reading.log;
  if (log.folder.empty()) return std::nullopt;
  for (const auto* title : {&reading.named, &reading.ownTitle, &log.title, &reading.lastRequest}) {
    if (title->empty()) continue;
    log.title = std::string(*title);
    break;
  }
  if (log.id.empty()) log.id = path.stem().native();
  log.id = oneLine(log.id, idLimit);
  if (log.last.empty()) log.last = dateOf(file->get());
  if (log.first.empty()) log.first = log.last;
  return log;
}

}  // namespace SessionLogReader
}  // namespace vale
