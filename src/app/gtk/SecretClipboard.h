#pragma once

#include "app/gtk/GObjectPointer.h"
#include "browser/Secret.h"
#include "common/Clock.h"

#include <gdk/gdk.h>

namespace vale::gtk {

/// Puts passwords on the clipboard for a short time: what is still there after `stay`, or when this goes, is
/// taken off again. Lists of former clipboards are told to leave it out. Main thread only.
class SecretClipboard {
 public:
  static constexpr Seconds stay{45};

  /// `clock` must outlive the object.
  explicit SecretClipboard(Clock& clock) : clock_(clock) {}
  ~SecretClipboard() { clear(); }
  SecretClipboard(const SecretClipboard&) = delete;
  SecretClipboard& operator=(const SecretClipboard&) = delete;

  void copy(GdkClipboard* clipboard, const Secret& password);

  /// What has been put there since by anybody stays.
  void clear();

 private:
  Clock& clock_;
  GObjectPointer<GdkClipboard> clipboard_;
  GObjectPointer<GdkContentProvider> content_;
  Timer timer_;
};

}  // namespace vale::gtk
