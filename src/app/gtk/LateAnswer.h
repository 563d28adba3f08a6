#pragma once

#include "app/gtk/Signal.h"

#include <functional>
#include <gio/gio.h>
#include <memory>
#include <utility>

namespace vale::gtk {

/// The end of an asynchronous call of the toolkit's, for an owner that may be gone by then: `then` runs only
/// while the owner lives. Main thread only.
class LateAnswer {
 public:
  using Then = std::function<void(GObject* object, GAsyncResult* result)>;

  /// What an owner holds: everything that it waits for is dropped when this goes.
  using Owner = std::shared_ptr<const bool>;

  LateAnswer(const Owner& owner, Then then) : owner_(owner), then_(std::move(then)) {}

  /// For the last argument of the call, with `call` for its callback.
  void* data() && { return new LateAnswer(std::move(*this)); }

  static void call(GObject* object, GAsyncResult* result, gpointer data) {
    const std::unique_ptr<LateAnswer> answer(static_cast<LateAnswer*>(data));
    if (answer->owner_.expired()) return;
    guardedCall("answer of the toolkit", [&] { answer->then_(object, result); });
  }

 private:
  std::weak_ptr<const bool> owner_;
  Then then_;
};

}  // namespace vale::gtk
