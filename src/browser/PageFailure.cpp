#include "browser/PageFailure.h"

#include "browser/AddressDisplay.h"

#include <fmt/format.h>

namespace vale {

namespace {

/// Addresses can be megabytes long; in a sentence their beginning is enough.
std::string shortened(std::string_view text) { return clampedText(text, 200); }

/// The host, with its port where one is given.
std::string serverOf(std::string_view address) {
  const auto host = hostRange(address);
  if (host.empty()) return shortened(address);
  return shortened(address.substr(host.begin, address.find_first_of("/?#\\", host.end) - host.begin));
}

std::string messageOf(PageFailureReason reason, std::string_view address, std::string_view detail) {
  const std::string server = serverOf(address);
  switch (reason) {
  case PageFailureReason::offline:
    return fmt::format(
        "This computer is not connected to a network, so “{}” cannot be reached. The page opens by itself "
        "once the connection is back.",
        server);
  case PageFailureReason::serverNotFound:
    return fmt::format(
        "There is no server called “{}”. Check the address for a typing mistake, and your network "
        "connection.",
        server);
  case PageFailureReason::connectionRefused:
    return fmt::format(
        "“{}” refused the connection. Its web server may not be running, or may use another port.", server);
  case PageFailureReason::timedOut:
    return fmt::format("“{}” did not answer in time. It may be busy; try again in a moment.", server);
  case PageFailureReason::networkUnreachable:
    return fmt::format("“{}” cannot be reached from here. Check your network connection.", server);
  case PageFailureReason::connectionLost:
    return fmt::format("“{}” ended the connection before the page was complete. Try again.", server);
  case PageFailureReason::fileMissing:
    return fmt::format("There is nothing at {}. It may have been moved or deleted.", shortened(address));
  case PageFailureReason::fileUnreadable:
    return fmt::format("You are not allowed to read {}. Ask its owner, or change its permissions.",
                       shortened(address));
  case PageFailureReason::certificateUntrusted:
    return fmt::format(
        "“{}” could not prove that it is what it claims to be: its certificate comes from nobody that "
        "this computer trusts. What you send could be read by others, so the page was not opened.",
        server);
  case PageFailureReason::certificateExpired:
    return fmt::format(
        "The certificate of “{}” is not valid today. If this computer's clock is right, its owner has "
        "to renew it; until then the page is not opened.",
        server);
  case PageFailureReason::certificateOfOtherServer:
    return fmt::format(
        "What answered at “{}” showed the certificate of another server. What you send could be read "
        "by others, so the page was not opened.",
        server);
  case PageFailureReason::unsupportedScheme:
    return fmt::format("Vale has no page at {} and knows no way to open such an address.",
                       shortened(address));
  case PageFailureReason::unsupportedContent:
    return fmt::format("What is at this address is of the type “{}”, which Vale cannot show.",
                       shortened(detail));
  case PageFailureReason::invalidAddress:
    return fmt::format("“{}” is not a complete address. Check it for a typing mistake.", shortened(address));
  case PageFailureReason::blockedPort:
    return fmt::format("The web engine opens no pages at “{}”: the port belongs to another kind of service.",
                       server);
  case PageFailureReason::crashed:
    return "The process that showed this page ended unexpectedly. Your other pages are not affected; reload "
           "to try "
           "again.";
  case PageFailureReason::outOfMemory:
    return "This page used more memory than it may and was ended. Reload to try again.";
  case PageFailureReason::other:
    break;
  }
  return fmt::format("{} could not be opened: {}.", shortened(address),
                     detail.empty() ? "the web engine gave no reason" : shortened(detail));
}

std::string titleOf(PageFailureReason reason) {
  switch (reason) {
  case PageFailureReason::offline:
    return "No network connection";
  case PageFailureReason::fileMissing:
    return "File not found";
  case PageFailureReason::serverNotFound:
    return "Server not found";
  case PageFailureReason::certificateUntrusted:
  case PageFailureReason::certificateExpired:
  case PageFailureReason::certificateOfOtherServer:
    return "This connection is not secure";
  case PageFailureReason::unsupportedContent:
    return "This file cannot be shown";
  case PageFailureReason::crashed:
  case PageFailureReason::outOfMemory:
    return "This page stopped working";
  default:
    return "This page could not be opened";
  }
}

}  // namespace

bool isOfConnection(PageFailureReason reason) {
  switch (reason) {
  case PageFailureReason::offline:
  case PageFailureReason::serverNotFound:
  case PageFailureReason::timedOut:
  case PageFailureReason::networkUnreachable:
  case PageFailureReason::connectionLost:
    return true;
  default:
    // Whoever refuses a connection has been reached.
    return false;
  }
}

PageFailure describePageFailure(PageFailureReason reason, std::string_view address, std::string_view detail) {
  return {std::string(address), titleOf(reason), messageOf(reason, address, detail), reason};
}

}  // namespace vale
