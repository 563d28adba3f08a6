#include "app/NewTabPage.h"

#include "browser/BuiltInAddresses.h"
#include "common/WebAddress.h"

namespace vale {

std::string newTabAddress(const Preferences& preferences) {
  const auto address = preferences.string(newTabKey);
  if (!address) return std::string(startAddress);
  const bool opens = address->empty() || isWebAddress(*address);
  return opens ? *address : std::string(startAddress);
}

}  // namespace vale
