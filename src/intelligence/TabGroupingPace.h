#pragma once

#include "common/Date.h"

#include <optional>

namespace vale {

/// When automatic passes of the tab grouping may run: how long they rest after a failure, and how they spare
/// an agent whose answers nobody waits for. A value; it is told the time.
class TabGroupingPace {
 public:
  static constexpr Seconds firstBackoff{60};
  static constexpr Seconds longestBackoff{600};
  /// The user is idle after so long without input.
  static constexpr Seconds idleInterval{120};
  /// Tabs are left alone until no address has changed for so long.
  static constexpr Seconds settling{2};
  /// Between the end of an automatic pass and the next one that nobody asks for.
  static constexpr Seconds rest{20};

  void tabsChanged(Date now) { lastChange_ = now; }
  void passEnded(Date now) { lastEnd_ = now; }
  void idlePassBegan(Date now) { lastIdlePass_ = now; }
  void succeeded();
  /// Pauses for 60 seconds, and after each further failure twice as long as before, up to 600.
  void failed(Date now);
  /// The user does not want a pass now: pauses for the shortest time.
  void cancelled(Date now);

  bool isPaused(Date now) const { return pause(now) > Seconds(0); }

  /// How long to wait before a pass while the start page is shown.
  Seconds waitForStartPage(Date now) const;
  /// How long to wait before looking whether the user is idle; none when this idle time has had its pass, and
  /// the next one comes after further changes of the tabs.
  std::optional<Seconds> waitForIdle(Date now, Seconds sinceInput) const;

 private:
  Seconds pause(Date now) const;

  Seconds backoff_ = firstBackoff;
  bool failing_ = false;
  std::optional<Date> pausedUntil_;
  std::optional<Date> lastChange_;
  std::optional<Date> lastEnd_;
  std::optional<Date> lastIdlePass_;
};

}  // namespace vale
