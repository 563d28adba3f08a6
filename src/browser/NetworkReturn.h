#pragma once

#include "browser/Page.h"

#include <optional>

namespace vale {

/// Whether a page that could not be reached is opened again by itself: once each time that the network comes
/// back, as soon as somebody looks at it. One for each page.
class NetworkReturn {
 public:
  explicit NetworkReturn(bool available) : available_(available) {}

  /// The network as the system sees it, told as often as it likes.
  void setAvailable(bool available);

  /// How the last load ended, and how it had begun: what was sent with a form is not sent again unasked.
  void setFailure(const std::optional<PageFailure>& failure, PageTransition how);

  /// True when the page is to be loaded now; the next time only after another return.
  bool take(bool shown);

 private:
  bool available_;
  bool waits_ = false;
  bool back_ = false;
};

}  // namespace vale
