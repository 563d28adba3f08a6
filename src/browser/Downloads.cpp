#include "browser/Downloads.h"

#include "browser/AddressDisplay.h"
#include "browser/DownloadDestination.h"
#include "browser/PartialFile.h"
#include "common/Log.h"
#include "common/Preferences.h"
#include "common/RecordList.h"

#include <algorithm>
#include <future>
#include <map>
#include <utility>

namespace vale {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view key = "downloads";
/// Of addresses that hold the file themselves the beginning is enough.
constexpr std::size_t longestAddress = 8'000;
constexpr std::string_view interrupted = "Vale ended before the download was complete.";

}  // namespace

/// What is on the disk for running downloads.
struct Downloads::Places {
  struct Place {
    PartialFile file;
    PartialFile::Taken taken;
  };
  std::set<fs::path> names;  ///< the destinations given out, whose files are not there yet
  std::map<Uuid, Place> files;

  void forget(const Download& download) {
    names.erase(download.destination);
    files.erase(download.id);
  }
};

struct Downloads::Beginning {
  Download download;
  fs::path folder;
  std::string name;
  DownloadMemory memory;
  bool chosen = false;

  /// On the queue. Gives the sentence why it cannot be.
  std::optional<std::string> makePlace(Places& places) {
    download.destination = folder / name;
    std::error_code error;
    if (!chosen) fs::create_directories(folder, error);
    if (error) return FileError("make the folder", folder, error.value()).message;
    auto file = PartialFile::make(folder, download.id);
    if (!file) return file.error().message;
    if (!chosen) {
      download.destination = freeDestination(folder, name, [&](const fs::path& path) {
        std::error_code missing;
        return places.names.contains(path) || fs::exists(fs::symlink_status(path, missing));
      });
    }
    places.names.insert(download.destination);
    const auto taken = chosen ? PartialFile::Taken::replaced : PartialFile::Taken::nextName;
    places.files.emplace(download.id, Places::Place{*std::move(file), taken});
    return std::nullopt;
  }
};

Downloads::Downloads(std::optional<fs::path> directory, const Preferences& preferences, fs::path file,
                     Surroundings surroundings)
    : directory_(std::move(directory)), preferences_(preferences), surroundings_(std::move(surroundings)),
      queue_(surroundings_.workers, "Vale.downloads"), places_(std::make_shared<Places>()),
      self_(std::make_shared<Downloads*>(this)) {
  try {
    auto list = RecordList<Download>::read(file, key);
    for (auto& download : list.records) {
      if (download.hasEnded()) continue;
      download.state = DownloadState::failed;
      download.error = interrupted;
    }
    downloads_.set(std::move(list.records));
    unknown_ = std::move(list.unknown);
  } catch (const Error& error) {
    log::warning("Vale downloads: {}", error.message);
    storageError_.set("Could not read the list of downloads. The original file is preserved. " +
                      error.message);
    return;
  }
  file_ = std::make_unique<DeferredFile>(
      std::move(file), queue_, surroundings_,
      [this] {
        RecordList<Download> list{downloads_.value(), unknown_};
        std::erase_if(list.records, [this](const Download& one) { return unsaved_.contains(one.id); });
        return [list = std::move(list)] { return list.text(key); };
      },
      [this](std::optional<std::string> error) {
        if (error) log::warning("Vale downloads: {}", *error);
        storageError_.set(std::move(error));
      });
}

fs::path Downloads::directory() const {
  if (directory_) return *directory_;
  const auto asked = preferences_.string(directoryKey);
  if (asked && fs::path(*asked).is_absolute()) return *asked;
  return userDownloadsDirectory();
}

void Downloads::begin(const std::string& url, std::string suggestedName, DownloadMemory memory, Begun done) {
  add({.download = {.id = Uuid::random(),
                    .url = clampedText(url, longestAddress),
                    .startedAt = surroundings_.clock.now()},
       .folder = directory(),
       .name = safeFileName(suggestedName),
       .memory = memory},
      std::move(done));
}

void Downloads::beginAt(const std::string& url, fs::path chosen, DownloadMemory memory, Begun done) {
  add({.download = {.id = Uuid::random(),
                    .url = clampedText(url, longestAddress),
                    .startedAt = surroundings_.clock.now()},
       .folder = chosen.parent_path(),
       .name = chosen.filename(),
       .memory = memory,
       .chosen = true},
      std::move(done));
}

void Downloads::add(Beginning beginning, Begun done) {
  queue_.post([beginning = std::move(beginning), places = places_, main = surroundings_.main,
               weak = std::weak_ptr(self_), done = std::move(done)]() mutable {
    auto failure = beginning.makePlace(*places);
    main.post([weak, done = std::move(done), download = std::move(beginning.download),
               memory = beginning.memory, failure = std::move(failure)]() mutable {
      const auto self = weak.lock();
      if (!self) return;
      if (failure) {
        download.state = DownloadState::failed;
        download.endedAt = (*self)->surroundings_.clock.now();
        download.error = failure;
      }
      (*self)->keep(download, memory);
      if (failure) return done(std::unexpected(*failure));
      done(std::move(download));
    });
  });
}

void Downloads::keep(Download download, DownloadMemory memory) {
  if (memory == DownloadMemory::thisRun) unsaved_.insert(download.id);
  auto downloads = downloads_.value();
  downloads.push_back(std::move(download));
  set(std::move(downloads), Saving::yes);
}

void Downloads::addFailed(const std::string& url, const std::string& name, DownloadMemory memory,
                          std::string error) {
  const auto now = surroundings_.clock.now();
  keep({.id = Uuid::random(),
        .url = clampedText(url, longestAddress),
        .destination = directory() / safeFileName(name),
        .state = DownloadState::failed,
        .startedAt = now,
        .endedAt = now,
        .error = std::move(error)},
       memory);
}

fs::path Downloads::partialFile(const Download& download) {
  return PartialFile::file(download.destination.parent_path(), download.id);
}

void Downloads::complete(const Uuid& id) {
  const auto& downloads = downloads_.value();
  const auto found = std::ranges::find(downloads, id, &Download::id);
  if (found == downloads.end() || found->hasEnded()) return;
  queue_.post([download = *found, places = places_, main = surroundings_.main, weak = std::weak_ptr(self_)] {
    std::expected<fs::path, std::string> moved = download.destination;
    if (const auto place = places->files.find(download.id); place != places->files.end()) {
      // A name that was free at the start may be taken by now.
      auto name = place->second.file.moveTo(download.destination.filename(), place->second.taken);
      if (name) {
        moved = download.destination.parent_path() / *name;
      } else {
        moved = std::unexpected(name.error().message);
      }
    }
    places->forget(download);
    main.post([weak, id = download.id, moved = std::move(moved)] {
      if (const auto self = weak.lock()) (*self)->finish(id, moved);
    });
  });
}

void Downloads::finish(const Uuid& id, std::expected<fs::path, std::string> moved) {
  if (!moved) return setState(id, DownloadState::failed, std::move(moved.error()));
  auto downloads = downloads_.value();
  const auto found = std::ranges::find(downloads, id, &Download::id);
  if (found == downloads.end()) return;
  found->destination = *std::move(moved);
  set(std::move(downloads), Saving::no);
  setState(id, DownloadState::finished);
}

DownloadMemory Downloads::memory(const Uuid& id) const {
  return unsaved_.contains(id) ? DownloadMemory::thisRun : DownloadMemory::lasting;
}

void Downloads::examine(const Download& download, std::function<void(DownloadedFile)> done) const {
  queue_.post([path = download.destination, main = surroundings_.main, weak = std::weak_ptr(self_),
               done = std::move(done)]() mutable {
    main.post([weak, found = downloadedFile(path), done = std::move(done)] {
      if (weak.lock()) done(found);
    });
  });
}

void Downloads::removeLeftovers() const {
  std::set<fs::path> folders{directory()};
  for (const auto& one : downloads_.value()) {
    if (one.state == DownloadState::failed) folders.insert(one.destination.parent_path());
  }
  queue_.post([folders = std::move(folders)] {
    for (const auto& folder : folders) PartialFile::removeLeftovers(folder);
  });
}

void Downloads::noteProgress(const Uuid& id, std::int64_t received, std::optional<std::int64_t> expected) {
  auto downloads = downloads_.value();
  const auto found = std::ranges::find(downloads, id, &Download::id);
  if (found == downloads.end() || found->hasEnded()) return;
  found->bytesReceived = received;
  found->bytesExpected = expected;
  set(std::move(downloads), Saving::no);
}

void Downloads::setState(const Uuid& id, DownloadState state, std::optional<std::string> error) {
  auto downloads = downloads_.value();
  const auto found = std::ranges::find(downloads, id, &Download::id);
  if (found == downloads.end() || found->hasEnded()) return;
  found->state = state;
  found->error = std::move(error);
  if (found->hasEnded()) {
    found->endedAt = surroundings_.clock.now();
    queue_.post([download = *found, places = places_] { places->forget(download); });
  }
  set(std::move(downloads), Saving::yes);
}

void Downloads::remove(const Uuid& id) {
  auto downloads = downloads_.value();
  std::erase_if(downloads, [&](const Download& one) { return one.id == id && one.hasEnded(); });
  set(std::move(downloads), Saving::yes);
}

void Downloads::removeEnded(DownloadMemory of) {
  auto downloads = downloads_.value();
  std::erase_if(downloads, [&](const Download& one) { return one.hasEnded() && memory(one.id) == of; });
  set(std::move(downloads), Saving::yes);
}

void Downloads::set(std::vector<Download> downloads, Saving saving) {
  while (downloads.size() > limit) {
    const auto oldest = std::ranges::find_if(downloads, &Download::hasEnded);
    if (oldest == downloads.end()) break;
    downloads.erase(oldest);
  }
  if (downloads == downloads_.value()) return;
  downloads_.set(std::move(downloads));
  if (saving == Saving::yes && file_) file_->schedule();
}

void Downloads::save() {
  if (file_) file_->save();
  if (surroundings_.workers.context().stopped()) return;
  // The list may have had nothing to write.
  std::promise<void> reached;
  queue_.post([&reached] { reached.set_value(); });
  reached.get_future().wait();
}

}  // namespace vale
