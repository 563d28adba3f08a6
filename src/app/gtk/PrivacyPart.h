#pragma once

#include "app/gtk/WindowPart.h"

namespace vale::gtk {

/// The windows about what Vale keeps of the user's: the actions that open them.
class PrivacyPart : public WindowPart {
 public:
  explicit PrivacyPart(const WindowPlace& place);
};

}  // namespace vale::gtk
