#pragma once

#include <string>
#include <string_view>

namespace vale {

/// Why a page could not be shown.
enum class PageFailureReason {
  offline,  ///< the connection failed, and the computer has no network
  serverNotFound,
  connectionRefused,
  timedOut,
  networkUnreachable,
  connectionLost,
  fileMissing,
  fileUnreadable,
  certificateUntrusted,
  certificateExpired,
  certificateOfOtherServer,
  unsupportedScheme,
  unsupportedContent,
  invalidAddress,
  blockedPort,
  crashed,
  outOfMemory,
  other,
};

/// A page that could not be shown, ready to be told to the user. The texts are plain.
struct PageFailure {
  std::string address;  ///< what should have been opened
  std::string title;    ///< a few words
  std::string message;  ///< one or two complete sentences, with what to do next
  PageFailureReason reason = PageFailureReason::other;

  bool operator==(const PageFailure&) const = default;
};

/// True when what failed is the way to the server, which another network, or the same one later, may have.
bool isOfConnection(PageFailureReason reason);

/// Puts a failure into words. `detail` is the engine's own text for `other` and the content type for
/// `unsupportedContent`; it is not needed elsewhere.
PageFailure describePageFailure(PageFailureReason reason, std::string_view address,
                                std::string_view detail = {});

}  // namespace vale
