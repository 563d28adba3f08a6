#include "browser/ZoomLevels.h"

#include "common/Log.h"
#include "common/RecordList.h"
#include "common/WebAddress.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <ranges>

namespace vale {

namespace {

constexpr std::string_view key = "zoom";
constexpr std::array steps{0.3,  0.5, 0.67, 0.75, 0.8, 0.9, 1.0, 1.1,
                           1.25, 1.5, 1.75, 2.0,  2.5, 3.0, 4.0, 5.0};

/// Levels this near to each other look the same.
constexpr double same = 0.005;

std::string siteOf(std::string_view address) {
  auto origin = webOrigin(address);
  if (!origin.empty()) return origin;
  const auto colon = address.find(':');
  return colon == std::string_view::npos ? std::string() : std::string(address.substr(0, colon + 1));
}

}  // namespace

ZoomLevels::ZoomLevels(std::filesystem::path file, Surroundings surroundings) : clock_(&surroundings.clock) {
  try {
    auto list = RecordList<SiteZoom>::read(file, key);
    sites_.set(std::move(list.records));
    unknown_ = std::move(list.unknown);
  } catch (const Error& error) {
    log::warning("Vale zoom: {}", error.message);
    storageError_.set(
        "The sizes of sites could not be read and will be forgotten when Vale ends. The original file is "
        "preserved. " +
        error.message);
    return;
  }
  file_ = std::make_unique<DeferredFile>(
      std::move(file), SerialQueue(surroundings.workers, "Vale.zoom"), surroundings,
      [this] {
        return [list = RecordList<SiteZoom>{sites_.value(), unknown_}] { return list.text(key); };
      },
      [this](std::optional<std::string> error) {
        if (error) log::warning("Vale zoom: {}", *error);
        storageError_.set(std::move(error));
      });
}

std::shared_ptr<ZoomLevels> ZoomLevels::withParent(const ZoomLevels& parent) {
  std::shared_ptr<ZoomLevels> levels(new ZoomLevels);
  levels->parent_ = &parent;
  return levels;
}

double ZoomLevels::level(std::string_view address) const {
  const auto site = siteOf(address);
  for (const auto& one : std::views::reverse(sites_.value())) {
    if (one.site == site) return std::isfinite(one.level) ? std::clamp(one.level, smallest, largest) : 1;
  }
  return parent_ ? parent_->level(address) : 1;
}

void ZoomLevels::set(std::string_view address, double level) {
  const auto site = siteOf(address);
  if (site.empty() || !std::isfinite(level)) return;
  auto sites = sites_.value();
  std::erase_if(sites, [&](const auto& one) { return one.site == site; });
  // Over a parent, the usual size is itself something to remember.
  if (parent_ || std::abs(level - 1) > same) {
    sites.push_back({.site = site,
                     .level = std::clamp(level, smallest, largest),
                     .changedAt = clock_ ? std::optional(clock_->now()) : std::nullopt});
  }
  replace(std::move(sites));
}

std::size_t ZoomLevels::forgetSince(std::optional<Date> since) {
  auto sites = sites_.value();
  const auto count = std::erase_if(
      sites, [&](const auto& one) { return !since || (one.changedAt && *one.changedAt >= *since); });
  replace(std::move(sites));
  return count;
}

void ZoomLevels::replace(std::vector<SiteZoom> sites) {
  if (sites == sites_.value()) return;
  sites_.set(std::move(sites));
  if (file_) file_->schedule();
}

double ZoomLevels::larger(double level) {
  const auto next = std::ranges::find_if(steps, [&](double step) { return step > level + same; });
  return next == steps.end() ? level : *next;
}

double ZoomLevels::smaller(double level) {
  const auto down = std::views::reverse(steps);
  const auto next = std::ranges::find_if(down, [&](double step) { return step < level - same; });
  return next == down.end() ? level : *next;
}

void ZoomLevels::save() {
  if (file_) file_->save();
}

}  // namespace vale
