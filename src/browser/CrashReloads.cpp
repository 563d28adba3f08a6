#include "browser/CrashReloads.h"

namespace vale {

bool CrashReloads::allow(Date now) {
  // A clock that was set back makes old ones look new; it must not make them count forever.
  std::erase_if(reloads_, [&](Date at) { return at > now || now - at >= span; });
  if (reloads_.size() >= most) return false;
  reloads_.push_back(now);
  return true;
}

}  // namespace vale
