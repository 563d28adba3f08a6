#pragma once

#include "app/gtk/GObjectPointer.h"
#include "app/gtk/Signal.h"
#include "browser/MemoryPressure.h"
#include "common/Clock.h"

#include <gio/gio.h>
#include <memory>

namespace vale::gtk {

/// The higher of what the desktop's memory monitor warns of and what another source says. A warning holds for
/// a while, because the desktop never takes one back. Main thread only.
class DesktopMemoryPressure : public MemoryPressureSource {
 public:
  /// How long a warning holds when no other follows.
  static constexpr Seconds warningTime{60};

  /// `clock` must outlive the source.
  DesktopMemoryPressure(std::unique_ptr<MemoryPressureSource> other, Clock& clock);

 private:
  void warned(GMemoryMonitorWarningLevel level);
  void update();

  std::unique_ptr<MemoryPressureSource> other_;
  Clock& clock_;
  MemoryPressure warned_ = MemoryPressure::normal;
  Timer calm_;
  Subscription otherChanges_;
  GObjectPointer<GMemoryMonitor> monitor_;
  Connection warnings_;
};

}  // namespace vale::gtk
