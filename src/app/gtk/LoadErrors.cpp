#include "app/gtk/LoadErrors.h"

#include "browser/AddressDisplay.h"

#include <webkit/webkit.h>

namespace vale::gtk {

namespace {

std::optional<PageFailureReason> reasonOf(const GError& error, std::string_view address) {
  using enum PageFailureReason;
  const auto is = [&](GQuark domain, int code) { return g_error_matches(&error, domain, code); };
  if (is(WEBKIT_NETWORK_ERROR, WEBKIT_NETWORK_ERROR_CANCELLED) || is(G_IO_ERROR, G_IO_ERROR_CANCELLED) ||
      is(WEBKIT_POLICY_ERROR, WEBKIT_POLICY_ERROR_FRAME_LOAD_INTERRUPTED_BY_POLICY_CHANGE)) {
    return std::nullopt;
  }
  if (error.domain == G_RESOLVER_ERROR) return serverNotFound;
  if (is(G_IO_ERROR, G_IO_ERROR_CONNECTION_REFUSED)) return connectionRefused;
  if (is(G_IO_ERROR, G_IO_ERROR_TIMED_OUT)) return timedOut;
  if (is(G_IO_ERROR, G_IO_ERROR_NETWORK_UNREACHABLE) || is(G_IO_ERROR, G_IO_ERROR_HOST_UNREACHABLE)) {
    return networkUnreachable;
  }
  if (is(G_IO_ERROR, G_IO_ERROR_CONNECTION_CLOSED) || is(G_IO_ERROR, G_IO_ERROR_PARTIAL_INPUT))
    return connectionLost;
  if (is(G_IO_ERROR, G_IO_ERROR_NOT_FOUND) ||
      is(WEBKIT_NETWORK_ERROR, WEBKIT_NETWORK_ERROR_FILE_DOES_NOT_EXIST)) {
    return fileMissing;
  }
  if (is(G_IO_ERROR, G_IO_ERROR_PERMISSION_DENIED)) return fileUnreadable;
  if (is(WEBKIT_NETWORK_ERROR, WEBKIT_NETWORK_ERROR_UNKNOWN_PROTOCOL) ||
      is(WEBKIT_POLICY_ERROR, WEBKIT_POLICY_ERROR_CANNOT_SHOW_URI)) {
    // The schemes that the engine does know come here with addresses that it cannot read.
    const bool known =
        address.starts_with("http:") || address.starts_with("https:") || address.starts_with("file:");
    return known ? invalidAddress : unsupportedScheme;
  }
  if (is(WEBKIT_POLICY_ERROR, WEBKIT_POLICY_ERROR_CANNOT_SHOW_MIME_TYPE)) return unsupportedContent;
  return other;
}

}  // namespace

std::optional<PageFailureReason> failureReason(const GError& error, std::string_view address) {
  const auto reason = reasonOf(error, address);
  const bool offline = reason && isOfConnection(*reason) && !isLoopback(address) &&
                       !g_network_monitor_get_network_available(g_network_monitor_get_default());
  return offline ? PageFailureReason::offline : reason;
}

PageFailureReason failureReason(GTlsCertificateFlags problems) {
  if (problems & G_TLS_CERTIFICATE_BAD_IDENTITY) return PageFailureReason::certificateOfOtherServer;
  if (problems & ~(G_TLS_CERTIFICATE_EXPIRED | G_TLS_CERTIFICATE_NOT_ACTIVATED)) {
    return PageFailureReason::certificateUntrusted;
  }
  return PageFailureReason::certificateExpired;
}

}  // namespace vale::gtk
