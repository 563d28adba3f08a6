#pragma once

#include "common/Published.h"

#include <functional>
#include <utility>

namespace vale {

/// How short of memory the machine is, in rising order.
enum class MemoryPressure { normal, warning, critical };

/// Tells how short of memory the machine is. Main thread only.
class MemoryPressureSource {
 public:
  virtual ~MemoryPressureSource() = default;
  MemoryPressureSource() = default;
  MemoryPressureSource(const MemoryPressureSource&) = delete;
  MemoryPressureSource& operator=(const MemoryPressureSource&) = delete;

  MemoryPressure current() const { return level_.value(); }

  Subscription onChange(std::function<void(MemoryPressure)> observer) const {
    return level_.subscribe(std::move(observer));
  }

 protected:
  Published<MemoryPressure> level_{MemoryPressure::normal};
};

}  // namespace vale
