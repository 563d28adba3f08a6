#include "browser/SessionGenerations.h"

#include "browser/SessionFile.h"
#include "common/FileDescriptor.h"
#include "common/PrivateFiles.h"
#include "common/Text.h"

#include <fmt/format.h>

#include <algorithm>
#include <functional>

namespace vale {
namespace {

constexpr std::string_view suffix = ".json";

/// "2026-11-23T01-02-03.456Z.json": an ISO 8601 date without colons, so that names sort by time.
std::string nameFor(Date date) {
  const auto moment = std::chrono::floor<std::chrono::milliseconds>(date);
  std::string text = iso8601(date);
  text.pop_back();
  std::ranges::replace(text, ':', '-');
  return fmt::format("{}.{:03}Z{}", text, (moment - std::chrono::floor<std::chrono::seconds>(moment)).count(),
                     suffix);
}

/// The date of a generation's name; none for any other name.
std::optional<Date> dateOf(std::string_view name) {
  constexpr std::string_view form = "0000-00-00T00-00-00.000Z.json";
  if (name.size() != form.size() || !name.ends_with(suffix)) return std::nullopt;
  std::string text(name.substr(0, name.size() - suffix.size()));
  if (text[13] != '-' || text[16] != '-') return std::nullopt;
  text[13] = text[16] = ':';
  return parseISO8601(text);
}

std::size_t windowCount(const Session& session) { return session.restoredWindows().size(); }

std::size_t tabCount(const Session& session) {
  std::size_t count = session.closedWindow ? session.closedWindow->tabs.size() : 0;
  for (const auto& window : session.restoredWindows()) count += window.tabs.size();
  for (const auto& group : session.folded.value_or(std::vector<FoldedTabGroup>())) count += group.tabs.size();
  return count;
}

std::optional<Session> tryRead(const std::filesystem::path& path) {
  try {
    return SessionFile{path}.read();
  } catch (const Error&) {
    return std::nullopt;
  }
}

}  // namespace

std::vector<std::string> SessionGenerations::names() const {
  std::vector<std::string> found;
  std::error_code error;
  for (std::filesystem::directory_iterator entry(folder_, error), end; !error && entry != end;
       entry.increment(error)) {
    auto name = entry->path().filename().native();
    std::error_code unknown;
    if (dateOf(name) && entry->symlink_status(unknown).type() == std::filesystem::file_type::regular) {
      found.push_back(std::move(name));
    }
  }
  std::ranges::sort(found, std::greater());
  return found;
}

void SessionGenerations::keep(const std::string& bytes, Date now, std::string_view spared) const {
  if (tabCount(SessionFile::decode(bytes)) == 0) return;
  const auto present = names();
  if (!present.empty() && readFile(folder_ / present.front(), SessionFile::largestFile) == bytes) {
    // An earlier start may have been killed before it came to this.
    return dropOldest(present.front(), spared);
  }
  std::string name = nameFor(now);
  while (std::ranges::find(present, name) != present.end())
    name = nameFor(now += std::chrono::milliseconds(1));
  PrivateFiles::write(bytes, folder_ / name);
  dropOldest(name, spared);
}

void SessionGenerations::dropOldest(std::string_view newest, std::string_view spared) const {
  struct Candidate {
    std::string name;
    std::size_t tabs;
  };
  auto present = names();
  if (present.size() <= limit) return;
  std::vector<Candidate> oldestFirst;
  for (auto& name : present) {
    const auto session = tryRead(folder_ / name);
    oldestFirst.insert(oldestFirst.begin(), {std::move(name), session ? tabCount(*session) : 0});
  }
  while (oldestFirst.size() > limit) {
    const auto droppable = [&](const Candidate& candidate) {
      // The newest may stand first, after the machine's clock was set back.
      if (candidate.name == newest || candidate.name == spared) return false;
      return std::ranges::any_of(oldestFirst, [&](const Candidate& other) {
        return other.name != candidate.name && other.tabs >= candidate.tabs;
      });
    };
    const auto oldest = std::ranges::find_if(oldestFirst, droppable);
    if (oldest == oldestFirst.end()) return;
    std::error_code ignored;
    std::filesystem::remove(folder_ / oldest->name, ignored);
    oldestFirst.erase(oldest);
  }
}

std::vector<SessionGeneration> SessionGenerations::list() const {
  std::vector<SessionGeneration> generations;
  for (auto& name : names()) {
    const auto session = tryRead(folder_ / name);
    if (!session) continue;
    const auto date = *dateOf(name);
    generations.push_back({std::move(name), date, windowCount(*session), tabCount(*session)});
  }
  return generations;
}

std::size_t SessionGenerations::removeSince(std::optional<Date> since) const {
  std::size_t count = 0;
  std::optional<FileError> failure;
  for (const auto& name : names()) {
    if (since && *dateOf(name) < *since) continue;
    std::error_code error;
    count += std::filesystem::remove(folder_ / name, error) ? 1 : 0;
    if (error) failure.emplace("delete", folder_ / name, error.value());
  }
  if (failure) throw *failure;
  return count;
}

std::expected<std::string, Error> SessionGenerations::bytes(const std::string& name) const {
  const auto failed = [&name](std::string_view reason) {
    return std::unexpected(
        Error(fmt::format("Could not restore the session “{}”: {}", singleLine(name), reason)));
  };
  // The name may come from anywhere, and must not lead out of the folder.
  if (!dateOf(name)) return failed("There is none of this name.");
  try {
    auto bytes = SessionFile{folder_ / name}.bytes();
    if (!bytes) return failed("There is none of this name.");
    SessionFile::decode(*bytes);
    return std::move(*bytes);
  } catch (const Error& error) {
    return failed(error.message);
  }
}

std::expected<Session, Error> SessionGenerations::read(const std::string& name) const {
  auto found = bytes(name);
  if (!found) return std::unexpected(std::move(found.error()));
  return SessionFile::decode(*found);
}

}  // namespace vale
