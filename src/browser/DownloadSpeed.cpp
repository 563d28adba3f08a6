#include "browser/DownloadSpeed.h"

#include <algorithm>

namespace vale {

void DownloadSpeed::note(Date now, std::int64_t received) {
  if (!samples_.empty() && (now < samples_.back().time || received < samples_.back().received))
    samples_.clear();
  samples_.push_back({now, received});
  // One sample from before the window stays, so that the window is covered.
  while (samples_.size() > 2 && now - samples_[1].time >= window) samples_.pop_front();
}

std::optional<double> DownloadSpeed::rate() const {
  if (samples_.empty()) return std::nullopt;
  const auto& first = samples_.front();
  const auto& last = samples_.back();
  const Seconds time = last.time - first.time;
  if (time < Seconds(1)) return std::nullopt;
  return static_cast<double>(last.received - first.received) / time.count();
}

}  // namespace vale
