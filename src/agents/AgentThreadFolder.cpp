#include "agents/AgentThreadFolder.h"

#include "agents/TranscriptBounds.h"
#include "common/FileDescriptor.h"
#include "common/InParallel.h"
#include "common/JsonParser.h"
#include "common/Log.h"
#include "common/PrivateFiles.h"
#include "common/Text.h"

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <mutex>
#include <sys/stat.h>
#include <unistd.h>

namespace vale {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view extension = ".json";

/// Of a file name that is a UUID, in either case, and the extension.
std::optional<Uuid> idOf(std::string_view name) {
  if (!name.ends_with(extension)) return std::nullopt;
  name.remove_suffix(extension.size());
  return Uuid::parse(name);
}

std::int64_t nanoseconds(const struct timespec& time) {
  return std::int64_t(time.tv_sec) * 1'000'000'000 + time.tv_nsec;
}

Date dateOf(std::int64_t nanosecondsSince1970) {
  return Date(std::chrono::duration<long double, std::nano>(nanosecondsSince1970));
}

/// Decoded out of memory that is given back in one piece.
AgentThread decodeThread(std::string_view text) {
  json::monotonic_resource memory(text.size());
  json::error_code error;
  const auto value = parseAnyJson(text, error, &memory);
  if (error) throw DecodeError("The text is not valid JSON: " + error.message() + ".");
  return decode<AgentThread>(value);
}

/// The system's own trouble, which says nothing about the file.
bool passes(int code) { return code == EMFILE || code == ENFILE || code == ENOMEM || code == EIO; }

}  // namespace

/// What came of one file.
struct AgentThreadFolder::Reading {
  std::optional<AgentThread> thread = {};
  std::string text = {};
  std::optional<Stamp> stamp = {};  ///< as it was before it was read
  std::string problem = {};         ///< for the log; empty for what is passed over silently
  bool mayPass = false;             ///< the problem is not the file's
};

AgentThreadFolder::AgentThreadFolder(fs::path directory, WorkerPool* workers, std::size_t sizeLimit)
    : directory_(std::move(directory)), workers_(workers), sizeLimit_(sizeLimit) {}

fs::path AgentThreadFolder::file(const Uuid& id) const { return directory_ / (id.text() + ".json"); }

fs::path AgentThreadFolder::attachments(const Uuid& id) const {
  return directory_ / "Attachments" / id.text();
}

AgentThreadFolder::Stamp AgentThreadFolder::stampOf(const struct ::stat& status) {
  return {nanoseconds(status.st_mtim), status.st_ino, std::uint64_t(status.st_size)};
}

std::optional<AgentThreadFolder::Stamp> AgentThreadFolder::stampOf(const fs::path& file) {
  struct stat status = {};
  if (::lstat(file.c_str(), &status) != 0) return std::nullopt;
  return stampOf(status);
}

AgentThreadFolder::Reading AgentThreadFolder::readFile(const fs::path& file, const Uuid& id) const {
  struct stat status = {};
  if (::lstat(file.c_str(), &status) != 0) return {.mayPass = passes(errno)};
  if (!S_ISREG(status.st_mode) || std::size_t(status.st_size) > sizeLimit_) return {};
  Reading reading{.stamp = stampOf(status)};
  const auto name = singleLine(file.filename().native());
  const auto failed = [&](std::string_view error) {
    reading.problem = fmt::format("Vale could not read thread file {}: {}", name, singleLine(error));
  };
  auto text = vale::readFile(file, sizeLimit_);
  if (!text) {
    // One that has grown meanwhile is passed over like one that was too large before.
    if (text.error().code != EFBIG) failed(text.error().message);
    reading.mayPass = passes(text.error().code);
    return reading;
  }
  try {
    reading.thread = decodeThread(*text);
  } catch (const DecodeError& error) {
    failed(error.message);
    return reading;
  }
  if (reading.thread->id != id) {
    reading.thread.reset();
    reading.problem = fmt::format("Vale skipped thread file {}: its id differs", name);
  }
  reading.text = std::move(*text);
  return reading;
}

std::vector<std::pair<Uuid, std::string>> AgentThreadFolder::list() const {
  std::vector<std::pair<Uuid, std::string>> files;
  std::error_code error;
  for (fs::directory_iterator entry(directory_, error), end; !error && entry != end; entry.increment(error)) {
    std::string name = entry->path().filename();
    if (const auto id = idOf(name)) files.emplace_back(*id, std::move(name));
  }
  if (error && error.value() != ENOENT) throw FileError("list the folder", directory_, error.value());
  // Upper case comes first.
  std::ranges::sort(files);
  return files;
}

AgentThreadFolder::Reading AgentThreadFolder::readFirst(const std::vector<std::string>& names,
                                                        const Uuid& id) const {
  Reading reading;
  for (const auto& name : names) {
    reading = readFile(directory_ / name, id);
    if (!reading.problem.empty()) log::warning("{}", reading.problem);
    if (reading.thread) break;
  }
  return reading;
}

void AgentThreadFolder::forEachThread(const std::function<void(AgentThread)>& take) {
  std::vector<std::pair<Uuid, std::vector<std::string>>> threads;
  for (auto& [id, name] : list()) {
    if (threads.empty() || threads.back().first != id) threads.push_back({id, {}});
    threads.back().second.push_back(std::move(name));
  }
  std::mutex lock;
  inParallel(threads.size(), workers_, [&](std::size_t number) {
    const auto& [id, names] = threads[number];
    auto reading = readFirst(names, id);
    reading.text = {};
    if (!reading.thread) return;
    const std::lock_guard guard(lock);
    stamps_[id] = reading.stamp;
    take(std::move(*reading.thread));
  });
}

std::vector<AgentThread> AgentThreadFolder::readAll() {
  std::vector<AgentThread> threads;
  forEachThread([&threads](AgentThread thread) { threads.push_back(std::move(thread)); });
  return threads;
}

std::optional<AgentThread> AgentThreadFolder::read(const Uuid& id, std::string* text) {
  std::vector<std::string> names;
  for (auto& [found, name] : list()) {
    if (found == id) names.push_back(std::move(name));
  }
  auto reading = readFirst(names, id);
  if (!reading.thread) return std::nullopt;
  stamps_[id] = reading.stamp;
  if (text) *text = std::move(reading.text);
  return std::move(reading.thread);
}

std::vector<AgentTurn> AgentThreadFolder::turnsOfOthers(const AgentThread& thread) const {
  const auto known = stamps_.find(thread.id);
  if (known == stamps_.end()) return {};
  const auto present = stampOf(file(thread.id));
  if (!present || present == known->second) return {};
  auto reading = readFile(file(thread.id), thread.id);
  if (!reading.thread) return {};
  std::erase_if(reading.thread->turns, [&](const AgentTurn& turn) {
    return std::ranges::find(thread.turns, turn.id, &AgentTurn::id) != thread.turns.end();
  });
  return std::move(reading.thread->turns);
}

void AgentThreadFolder::write(const AgentThread& thread) {
  const auto textOf = [](const AgentThread& content) { return jsonText(encode(content)) + "\n"; };
  auto others = turnsOfOthers(thread);
  const bool isShared = !others.empty();
  std::optional<AgentThread> changed;
  if (isShared) {
    changed = thread;
    for (auto& turn : others) {
      const auto later = std::ranges::find_if(
          changed->turns, [&](const AgentTurn& own) { return own.startedAt > turn.startedAt; });
      changed->turns.insert(later, std::move(turn));
    }
  }
  auto text = textOf(changed ? *changed : thread);
  if (text.size() > sizeLimit_) {
    if (!changed) changed = thread;
    for (auto& turn : changed->turns) {
      if (!foldTranscript(turn.items)) continue;
      text = textOf(*changed);
      if (text.size() <= sizeLimit_) break;
    }
  }
  if (text.size() > sizeLimit_) {
    throw Error(fmt::format("The conversation “{}” is too long to be saved. Begin a new one to go on.",
                            singleLine(thread.title)));
  }
  const auto path = file(thread.id);
  PrivateFiles::writeIfChanged(text, path);
  // With turns of another program in it the file must be looked at each time, or they would be lost.
  stamps_[thread.id] = isShared ? std::nullopt : stampOf(path);
}

void AgentThreadFolder::remove(const Uuid& id) {
  for (const auto& [found, name] : list()) {
    const auto path = directory_ / name;
    if (found != id || ::unlink(path.c_str()) == 0 || errno == ENOENT || errno == EISDIR) continue;
    throw FileError("delete", path, errno);
  }
  stamps_.erase(id);
  if (!removeAttachments(id)) throw FileError("delete", attachments(id), errno);
}

/// False, with errno, when something of them is left.
bool AgentThreadFolder::removeAttachments(const Uuid& id) const {
  const auto folder = attachments(id);
  // What a link leads to is not ours to delete.
  if (fs::is_symlink(fs::symlink_status(folder.parent_path()))) return true;
  std::error_code error;
  fs::remove_all(folder, error);
  errno = error.value();
  return !error;
}

int AgentThreadFolder::removeUnreadable(std::optional<Date> since) {
  int removed = 0;
  try {
    std::vector<Uuid> loaded;
    forEachThread([&loaded](const AgentThread& thread) { loaded.push_back(thread.id); });
    std::ranges::sort(loaded);
    for (const auto& [id, name] : list()) {
      const auto path = directory_ / name;
      struct stat status = {};
      if (std::ranges::binary_search(loaded, id) || ::lstat(path.c_str(), &status) != 0) continue;
      if (S_ISDIR(status.st_mode) || (since && dateOf(nanoseconds(status.st_mtim)) < *since)) continue;
      // Another Vale may have written it just now, or the system been short of something.
      const auto reading = readFile(path, id);
      if (reading.thread || reading.mayPass) continue;
      if (::unlink(path.c_str()) != 0) {
        if (errno == ENOENT) continue;
        throw FileError("delete", path, errno);
      }
      ++removed;
      if (!removeAttachments(id)) throw FileError("delete", attachments(id), errno);
    }
  } catch (const FileError& error) {
    log::warning("{}", error.message);
  }
  return removed;
}

}  // namespace vale
