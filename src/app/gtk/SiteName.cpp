#include "app/gtk/SiteName.h"

#include "browser/AddressDisplay.h"
#include "common/Text.h"
#include "common/WebAddress.h"

#include <webkit/webkit.h>

#include <memory>

namespace vale::gtk {

namespace {

constexpr std::size_t longestSite = 120;

}  // namespace

std::string siteName(std::string_view address) {
  const auto origin = webOrigin(address);
  if (origin.empty()) return address.starts_with("file:") ? "This file" : "This page";
  const std::unique_ptr<char, decltype(&g_free)> shown(webkit_uri_for_display(origin.c_str()), g_free);
  std::string name = shown ? shown.get() : origin;
  name.erase(0, name.find("://") + 3);
  while (name.ends_with('/')) name.pop_back();
  if (name.size() <= longestSite) return name;
  // The end of a host says whose it is.
  return "…" + validUtf8(name.substr(name.size() - longestSite));
}

}  // namespace vale::gtk
