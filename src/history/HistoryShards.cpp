#include "history/HistoryShards.h"

#include "common/FileDescriptor.h"
#include "common/PrivateFiles.h"
#include "common/WebAddress.h"
#include "history/HistoryLineReader.h"
#include "history/HistoryRecords.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace vale {
namespace {

Stamp stampOf(const struct stat& status) {
  return {std::uint64_t(status.st_size), status.st_mtim.tv_sec * 1'000'000'000 + status.st_mtim.tv_nsec,
          std::uint64_t(status.st_ino)};
}

/// Calls `take` with each line of an archive until it gives false.
template <typename Take>
void readLines(const ArchiveBytes& bytes, std::string_view archive, HistoryVisit& visit, Take take) {
  HistoryLineReader reader;
  std::size_t position = 0;
  for (std::size_t record = 1; const auto line = bytes.nextLine(position); ++record) {
    if (!reader.read(*line, bytes, visit)) throw HistoryStoreError::corruptArchive(archive, record);
    if (!take()) return;
  }
}

}  // namespace

std::optional<Stamp> Stamp::of(const std::filesystem::path& file) {
  struct stat status = {};
  if (stat(file.c_str(), &status) != 0) return std::nullopt;
  return stampOf(status);
}

std::optional<Stamp> Stamp::of(int descriptor) {
  struct stat status = {};
  if (fstat(descriptor, &status) != 0) return std::nullopt;
  return stampOf(status);
}

void Shard::index() {
  latest.emplace();
  for (std::size_t i = 0; i < visits.size(); ++i) (*latest)[normalizeURL(visits[i].url)] = i;
}

Shard* HistoryShards::cached(const std::string& archive) {
  const auto found = shards_.find(archive);
  if (found == shards_.end()) return nullptr;
  if (found->second.stamp != Stamp::of(file(archive))) {
    forget(archive);
    return nullptr;
  }
  std::erase(shardUse_, archive);
  shardUse_.push_back(archive);
  return &found->second;
}

Shard& HistoryShards::store(const std::string& archive, Shard shard) {
  forget(archive);
  if (shardUse_.size() == capacity) forget(std::string(shardUse_.front()));
  shardUse_.push_back(archive);
  return shards_.emplace(archive, std::move(shard)).first->second;
}

void HistoryShards::forget(const std::string& archive) {
  shards_.erase(archive);
  std::erase(shardUse_, archive);
}

Shard& HistoryShards::load(const std::string& archive, Indexing indexing) {
  Shard* shard = cached(archive);
  if (!shard) {
    Shard read;
    // Before the bytes: what is written meanwhile then shows the next time.
    read.stamp = Stamp::of(file(archive));
    const auto bytes = ArchiveBytes::read(file(archive));
    HistoryVisit visit;
    readLines(bytes, archive, visit, [&] {
      read.visits.push_back(std::move(visit));
      return true;
    });
    read.endsWithLineFeed = bytes.view().empty() || bytes.view().ends_with('\n');
    shard = &store(archive, std::move(read));
  }
  if (indexing == Indexing::byAddress && !shard->latest) shard->index();
  return *shard;
}

void HistoryShards::forEachVisit(const std::string& archive,
                                 const std::function<bool(const HistoryVisit&)>& visit) {
  if (const auto* shard = cached(archive)) {
    for (const auto& one : shard->visits) {
      if (!visit(one)) return;
    }
    return;
  }
  HistoryVisit read;
  readLines(ArchiveBytes::read(file(archive)), archive, read, [&] { return visit(read); });
}

void HistoryShards::append(const std::string& archive, HistoryVisit visit) {
  Shard& shard = load(archive, Indexing::byAddress);
  const auto path = file(archive);
  refuseLink(archive, "write");
  constexpr int flags = O_WRONLY | O_APPEND | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
  FileDescriptor file(::open(path.c_str(), flags, 0600));
  struct stat before = {};
  if (!file || fstat(file.get(), &before) != 0) throw FileError("write", path, errno);
  if ((before.st_mode & 07777) != 0600 && fchmod(file.get(), 0600) != 0)
    throw FileError("make private", path, errno);
  const std::string line = (shard.endsWithLineFeed ? "" : "\n") + jsonLine(visit) + "\n";
  const int code = writeAll(file.get(), line);
  if (code != 0) {
    // A part of a line would make the whole archive unreadable.
    [[maybe_unused]] const int ignored = ftruncate(file.get(), before.st_size);
    throw FileError("write", path, code);
  }
  const auto stamp = Stamp::of(file.get());
  if (!stamp || stamp->size != (shard.stamp ? shard.stamp->size : 0) + line.size()) {
    // Somebody who knows nothing of the lock has written too.
    forget(archive);
    return;
  }
  shard.stamp = stamp;
  shard.endsWithLineFeed = true;
  (*shard.latest)[normalizeURL(visit.url)] = shard.visits.size();
  shard.visits.push_back(std::move(visit));
}

void HistoryShards::rewrite(const std::string& archive, Shard shard) {
  forget(archive);
  if (shard.visits.empty()) {
    deleteArchive(archive);
    return;
  }
  refuseLink(archive, "write");
  std::string bytes;
  for (const auto& visit : shard.visits) (bytes += jsonLine(visit)) += '\n';
  PrivateFiles::write(bytes, file(archive));
  shard.stamp = Stamp::of(file(archive));
  shard.endsWithLineFeed = true;
  store(archive, std::move(shard));
}

void HistoryShards::deleteArchive(const std::string& archive) {
  forget(archive);
  refuseLink(archive, "delete");
  if (unlink(file(archive).c_str()) != 0 && errno != ENOENT) throw FileError("delete", file(archive), errno);
}

void HistoryShards::refuseLink(const std::string& archive, std::string_view action) const {
  struct stat status = {};
  if (lstat(file(archive).c_str(), &status) == 0 && S_ISLNK(status.st_mode))
    throw FileError(action, file(archive), ELOOP, "It is a symbolic link");
}

}  // namespace vale
