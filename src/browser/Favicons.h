#pragma once

#include "browser/PageIcon.h"
#include "common/Surroundings.h"

#include <cstddef>
#include <filesystem>
#include <functional>
#include <list>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>

namespace vale {

/// The icons of sites, one PNG file an origin in a folder of their own, the latest used also in memory. Main
/// thread; the files are read and written on a queue of their own. A lost icon is no loss: failures are only
/// logged.
class Favicons {
 public:
  /// Bounds, in files and bytes. What was not stored again for longest goes first.
  static constexpr std::size_t fileLimit = 2'000;
  static constexpr std::size_t folderLimit = 64 << 20;
  static constexpr std::size_t largestIcon = 256 << 10;
  static constexpr std::size_t cacheLimit = 512;
  static constexpr std::size_t cacheBytesLimit = 8 << 20;

  Favicons(std::filesystem::path folder, Surroundings surroundings);
  Favicons(const Favicons&) = delete;
  Favicons& operator=(const Favicons&) = delete;

  /// Gives the icon of the page's site to `done`, later and on the main thread; null when there is none.
  /// `done` is not called once the store is gone.
  void load(const std::string& pageURL, std::function<void(PageIcon)> done);

  /// Keeps an icon for the page's site. Ignored when it is null, larger than `largestIcon` or no PNG, and for
  /// a page without a site. Not for private windows: it leaves a trace.
  void store(const std::string& pageURL, const PageIcon& icon);

  /// Removes the icons that were stored since, or all.
  void forgetSince(std::optional<Date> since);

 private:
  struct Cached {
    std::string origin;
    PageIcon icon;
    bool stored = false;  ///< in this run
  };
  const PageIcon* cached(const std::string& origin);
  void cache(const std::string& origin, PageIcon icon);

  std::filesystem::path folder_;
  Surroundings surroundings_;
  SerialQueue queue_;
  std::list<Cached> latest_;  ///< the latest used first
  std::unordered_map<std::string, std::list<Cached>::iterator> byOrigin_;
  std::size_t cachedBytes_ = 0;
  std::shared_ptr<Favicons*> self_;
};

}  // namespace vale
