#include "browser/NetworkReturn.h"

#include <utility>

namespace vale {

void NetworkReturn::setAvailable(bool available) {
  const bool before = std::exchange(available_, available);
  if (before != available) back_ = available && waits_;
}

void NetworkReturn::setFailure(const std::optional<PageFailure>& failure, PageTransition how) {
  waits_ = failure && isOfConnection(failure->reason) && how != PageTransition::form;
  back_ = false;
}

bool NetworkReturn::take(bool shown) { return shown && std::exchange(back_, false); }

}  // namespace vale
