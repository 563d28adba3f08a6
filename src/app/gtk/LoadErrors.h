#pragma once

#include "browser/PageFailure.h"

#include <gio/gio.h>
#include <optional>
#include <string_view>

namespace vale::gtk {

/// What an engine's error in loading an address means to the user; none for loads that were merely stopped or
/// handed on.
std::optional<PageFailureReason> failureReason(const GError& error, std::string_view address);

/// The same for a refused certificate; the worst of its problems counts.
PageFailureReason failureReason(GTlsCertificateFlags problems);

}  // namespace vale::gtk
