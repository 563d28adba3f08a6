#pragma once

#include <sigc++/sigc++.h>

#include <functional>
#include <utility>

namespace vale {

/// Keeps a callback connected for as long as it lives. Harmless when the source of the signal goes first.
class [[nodiscard]] Subscription {
 public:
  Subscription() = default;
  explicit Subscription(sigc::connection connection) : connection_(std::move(connection)) {}
  ~Subscription() { connection_.disconnect(); }
  Subscription(Subscription&& other) noexcept : connection_(std::exchange(other.connection_, {})) {}
  Subscription& operator=(Subscription&& other) noexcept {
    std::swap(connection_, other.connection_);
    return *this;
  }

 private:
  sigc::connection connection_;
};

/// A value that tells its observers when it changes, and only then. One thread only.
template <typename T> class Published {
 public:
  Published() = default;
  explicit Published(T value) : value_(std::move(value)) {}

  const T& value() const { return value_; }

  void set(T value) {
    if (value == value_) return;
    value_ = std::move(value);
    changed_.emit(value_);
  }

  Subscription subscribe(std::function<void(const T&)> observer) const {
    return Subscription(changed_.connect(std::move(observer)));
  }

  /// Calls `observer` with the present value at once, then on every change.
  Subscription observe(std::function<void(const T&)> observer) const {
    observer(value_);
    return subscribe(std::move(observer));
  }

 private:
  T value_{};
  mutable sigc::signal<void(const T&)> changed_;
};

}  // namespace vale
