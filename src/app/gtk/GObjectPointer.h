#pragma once

#include <glib-object.h>
#include <utility>

namespace vale::gtk {

/// Owns one reference to a GObject (or none).
template <typename T> class GObjectPointer {
 public:
  GObjectPointer() = default;
  ~GObjectPointer() { reset(); }
  GObjectPointer(GObjectPointer&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
  GObjectPointer(const GObjectPointer& other) : object_(other.object_) {
    if (object_) g_object_ref(object_);
  }
  GObjectPointer& operator=(GObjectPointer other) noexcept {
    std::swap(object_, other.object_);
    return *this;
  }

  /// Takes over a reference that the caller owns ("transfer full").
  static GObjectPointer adopt(T* object) { return GObjectPointer(object); }

  /// Adds a reference to an object that somebody else owns ("transfer none"), or takes over a floating one.
  static GObjectPointer share(T* object) {
    return GObjectPointer(object ? static_cast<T*>(g_object_ref_sink(object)) : nullptr);
  }

  T* get() const { return object_; }
  explicit operator bool() const { return object_ != nullptr; }

  void reset() {
    if (T* object = std::exchange(object_, nullptr)) g_object_unref(object);
  }

 private:
  explicit GObjectPointer(T* object) : object_(object) {}

  T* object_ = nullptr;
};

}  // namespace vale::gtk
