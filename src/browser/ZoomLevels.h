#pragma once

#include "common/DeferredFile.h"
#include "common/Json.h"
#include "common/Published.h"

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vale {

/// How large the user wants a site's pages: 1 is their own size.
struct SiteZoom {
  std::string site;  ///< an origin ("https://example.org"), or a scheme whose pages have none ("file:")
  double level = 1;
  std::optional<Date> changedAt = std::nullopt;  ///< none in files of old

  bool operator==(const SiteZoom&) const = default;
};
BOOST_DESCRIBE_STRUCT(SiteZoom, (), (site, level, changedAt))

/// The sizes of sites that the user has changed. Main thread only. Kept in a file of its own, or, for a store
/// with a parent, in memory: such a store begins with what its parent knows and tells it nothing. A file that
/// could not be read is never written.
class ZoomLevels {
 public:
  static constexpr double smallest = 0.3;
  static constexpr double largest = 5;

  /// Reads the file at once.
  ZoomLevels(std::filesystem::path file, Surroundings surroundings);

  /// For private windows. The parent must outlive it.
  static std::shared_ptr<ZoomLevels> withParent(const ZoomLevels& parent);

  ZoomLevels(const ZoomLevels&) = delete;
  ZoomLevels& operator=(const ZoomLevels&) = delete;

  /// Within `smallest` and `largest`, whatever the file says.
  double level(std::string_view address) const;

  /// For all pages of the address's site. Nothing happens for an empty address.
  void set(std::string_view address, double level);

  /// Forgets the sizes that were chosen since, or all. Gives how many.
  std::size_t forgetSince(std::optional<Date> since);

  /// The next of the usual steps above or below a level; the level itself at the ends.
  static double larger(double level);
  static double smaller(double level);

  /// Of this store itself, the latest last.
  const Published<std::vector<SiteZoom>>& sites() const { return sites_; }

  /// Why the file could not be read or written, a sentence for the user.
  const Published<std::optional<std::string>>& storageError() const { return storageError_; }

  /// Writes what waits to be written, for termination.
  void save();

 private:
  ZoomLevels() = default;
  void replace(std::vector<SiteZoom> sites);

  const ZoomLevels* parent_ = nullptr;
  Published<std::vector<SiteZoom>> sites_;
  json::array unknown_;
  Published<std::optional<std::string>> storageError_;
  const Clock* clock_ = nullptr;        ///< none in memory, where nothing lasts
  std::unique_ptr<DeferredFile> file_;  ///< null when nothing is to be written
};

}  // namespace vale
