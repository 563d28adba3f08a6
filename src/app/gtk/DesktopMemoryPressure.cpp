#include "app/gtk/DesktopMemoryPressure.h"

#include <algorithm>
#include <utility>

namespace vale::gtk {

DesktopMemoryPressure::DesktopMemoryPressure(std::unique_ptr<MemoryPressureSource> other, Clock& clock)
    : other_(std::move(other)), clock_(clock),
      otherChanges_(other_->onChange([this](MemoryPressure) { update(); })),
      monitor_(GObjectPointer<GMemoryMonitor>::adopt(g_memory_monitor_dup_default())),
      warnings_(connect(monitor_.get(), "low-memory-warning",
                        [this](GMemoryMonitorWarningLevel level) { warned(level); })) {
  update();
}

void DesktopMemoryPressure::warned(GMemoryMonitorWarningLevel level) {
  // https://docs.gtk.org/gio/enum.MemoryMonitorWarningLevel.html: at "critical" the next step is that the
  // system ends programs.
  const auto pressure =
      level >= G_MEMORY_MONITOR_WARNING_LEVEL_CRITICAL ? MemoryPressure::critical : MemoryPressure::warning;
  warned_ = calm_.pending() ? std::max(warned_, pressure) : pressure;
  calm_ = clock_.schedule(warningTime, [this] {
    warned_ = MemoryPressure::normal;
    update();
  });
  update();
}

void DesktopMemoryPressure::update() { level_.set(std::max(warned_, other_->current())); }

}  // namespace vale::gtk
