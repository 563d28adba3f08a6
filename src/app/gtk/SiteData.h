#pragma once

#include <webkit/webkit.h>

#include <functional>
#include <string>
#include <string_view>

namespace vale::gtk {

/// Answers, later, in a sentence what the site of an address keeps in this session.
void describeSiteData(WebKitNetworkSession* session, std::string_view address,
                      std::function<void(std::string sentence, bool any)> answer);

/// Removes cookies, storage, databases and cached copies of the site of an address, with those of its other
/// hosts; answers once it is done. That a site wants secure connections only is not forgotten.
void clearSiteData(WebKitNetworkSession* session, std::string_view address, std::function<void()> answer);

}  // namespace vale::gtk
