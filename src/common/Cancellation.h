#pragma once

#include "common/Published.h"

#include <functional>
#include <memory>

namespace vale {

/// Asks work under way to end early. Copies ask the same work. Main thread only.
class Cancellation {
 public:
  /// The first call counts.
  void cancel() const { cancelled_->set(true); }
  bool isCancelled() const { return cancelled_->value(); }

  /// Calls `observer` once when the work is to end; never when it was cancelled before.
  Subscription onCancel(std::function<void()> observer) const {
    return cancelled_->subscribe([observer = std::move(observer)](bool) { observer(); });
  }

 private:
  std::shared_ptr<Published<bool>> cancelled_ = std::make_shared<Published<bool>>(false);
};

}  // namespace vale
