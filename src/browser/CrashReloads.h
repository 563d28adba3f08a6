#pragma once

#include "common/Clock.h"

#include <cstddef>
#include <deque>

namespace vale {

/// Whether a page that crashed is opened again by itself: a few times, and then no more, so that a page that
/// always crashes comes to rest. One for each page.
class CrashReloads {
 public:
  static constexpr std::size_t most = 2;
  static constexpr Seconds span{60};

  /// True when a page that crashed now is to be reloaded; counts it.
  bool allow(Date now);

 private:
  std::deque<Date> reloads_;
};

}  // namespace vale
