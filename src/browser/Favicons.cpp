#include "browser/Favicons.h"

#include "common/FileDescriptor.h"
#include "common/Log.h"
#include "common/PrivateFiles.h"
#include "common/Sha256.h"
#include "common/WebAddress.h"

#include <algorithm>
#include <chrono>
#include <string_view>
#include <utility>
#include <vector>

namespace vale {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view suffix = ".png";

bool isPng(std::string_view bytes) {
  return bytes.starts_with("\x89PNG\r\n\x1a\n") && bytes.size() <= Favicons::largestIcon;
}

fs::path fileFor(const fs::path& folder, const std::string& origin) {
  return folder / (sha256Hex(origin) + std::string(suffix));
}

PageIcon read(const fs::path& file) {
  auto bytes = readFile(file, Favicons::largestIcon);
  if (!bytes || !isPng(*bytes)) return nullptr;
  return std::make_shared<const std::string>(std::move(*bytes));
}

/// Removes the icons not stored again for longest until the folder is within its bounds.
void trim(const fs::path& folder) {
  struct Icon {
    fs::path path;
    fs::file_time_type storedAt;
    std::size_t size;
  };
  std::vector<Icon> icons;
  std::size_t bytes = 0;
  std::error_code error;
  for (fs::directory_iterator entry(folder, error), end; !error && entry != end; entry.increment(error)) {
    std::error_code gone;
    if (entry->path().extension() != suffix || !entry->is_regular_file(gone)) continue;
    const auto size = entry->file_size(gone);
    if (gone) continue;
    icons.push_back({entry->path(), entry->last_write_time(gone), std::size_t(size)});
    bytes += icons.back().size;
  }
  if (icons.size() <= Favicons::fileLimit && bytes <= Favicons::folderLimit) return;
  std::ranges::sort(icons, {}, &Icon::storedAt);
  std::size_t count = icons.size();
  for (const auto& icon : icons) {
    if (count <= Favicons::fileLimit && bytes <= Favicons::folderLimit) return;
    std::error_code ignored;
    fs::remove(icon.path, ignored);
    --count;
    bytes -= icon.size;
  }
}

void write(const std::string& bytes, const fs::path& file) {
  try {
    if (PrivateFiles::writeIfChanged(bytes, file)) {
      trim(file.parent_path());
    } else {
      std::error_code ignored;
      fs::last_write_time(file, fs::file_time_type::clock::now(), ignored);
    }
  } catch (const Error& error) {
    log::warning("Vale favicons: {}", error.message);
  }
}

}  // namespace

Favicons::Favicons(fs::path folder, Surroundings surroundings)
    : folder_(std::move(folder)), surroundings_(std::move(surroundings)),
      queue_(surroundings_.workers, "Vale.favicons"), self_(std::make_shared<Favicons*>(this)) {}

void Favicons::load(const std::string& pageURL, std::function<void(PageIcon)> done) {
  const auto origin = webOrigin(pageURL);
  const auto* known = cached(origin);
  if (known || origin.empty()) {
    surroundings_.main.post(
        [weak = std::weak_ptr(self_), icon = known ? *known : nullptr, done = std::move(done)] {
          if (weak.lock()) done(icon);
        });
    return;
  }
  queue_.post([file = fileFor(folder_, origin), origin, main = surroundings_.main,
               weak = std::weak_ptr(self_), done = std::move(done)] {
    main.post([weak, origin, icon = read(file), done] {
      const auto self = weak.lock();
      if (!self) return;
      // What was stored meanwhile is newer than what was read.
      const auto* newer = (*self)->cached(origin);
      if (!newer) (*self)->cache(origin, icon);
      done(newer ? *newer : icon);
    });
  });
}

void Favicons::store(const std::string& pageURL, const PageIcon& icon) {
  const auto origin = webOrigin(pageURL);
  if (!icon || origin.empty() || !isPng(*icon)) return;
  // Every page of a site brings the same icon again; once a run it is said to be still in use.
  const auto* known = cached(origin);
  if (known && latest_.front().stored && **known == *icon) return;
  cache(origin, icon);
  latest_.front().stored = true;
  queue_.post([icon, file = fileFor(folder_, origin)] { write(*icon, file); });
}

void Favicons::forgetSince(std::optional<Date> since) {
  latest_.clear();
  byOrigin_.clear();
  cachedBytes_ = 0;
  queue_.post([folder = folder_, since] {
    const auto first = since ? fs::file_time_type::clock::from_sys(
                                   std::chrono::time_point_cast<std::chrono::system_clock::duration>(*since))
                             : fs::file_time_type::min();
    std::error_code error;
    for (fs::directory_iterator entry(folder, error), end; !error && entry != end; entry.increment(error)) {
      std::error_code ignored;
      if (entry->path().extension() != suffix || entry->last_write_time(ignored) < first) continue;
      fs::remove(entry->path(), ignored);
    }
  });
}

const PageIcon* Favicons::cached(const std::string& origin) {
  const auto found = byOrigin_.find(origin);
  if (found == byOrigin_.end()) return nullptr;
  latest_.splice(latest_.begin(), latest_, found->second);
  return &latest_.front().icon;
}

void Favicons::cache(const std::string& origin, PageIcon icon) {
  const auto size = [](const Cached& entry) { return entry.icon ? entry.icon->size() : 0; };
  const auto drop = [&](std::list<Cached>::iterator entry) {
    cachedBytes_ -= size(*entry);
    byOrigin_.erase(entry->origin);
    latest_.erase(entry);
  };
  if (const auto found = byOrigin_.find(origin); found != byOrigin_.end()) drop(found->second);
  latest_.push_front({.origin = origin, .icon = std::move(icon)});
  byOrigin_[origin] = latest_.begin();
  cachedBytes_ += size(latest_.front());
  while (latest_.size() > cacheLimit || cachedBytes_ > cacheBytesLimit) drop(std::prev(latest_.end()));
}

}  // namespace vale
