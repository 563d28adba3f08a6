#pragma once

#include "common/Date.h"

#include <cstdint>
#include <deque>
#include <optional>

namespace vale {

/// How fast a download has come in lately: the mean of its last seconds, so that the number stands still
/// enough to be read.
class DownloadSpeed {
 public:
  static constexpr Seconds window{5};

  /// `received` bytes have come in all, by `now`. Times that run backwards begin anew.
  void note(Date now, std::int64_t received);

  /// Bytes a second; none before there is a second's worth to tell it from.
  std::optional<double> rate() const;

 private:
  struct Sample {
    Date time;
    std::int64_t received;
  };
  std::deque<Sample> samples_;
};

}  // namespace vale
