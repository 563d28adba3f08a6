#pragma once

#include <string>
#include <string_view>

namespace vale {

/// Why a page could not be shown.
enum class PageFailureReason {
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

/// A page that could not be shown, ready to be told to the user. All three are plain text.
struct PageFailure {
  std::string address;  ///< what should have been opened
  std::string title;    ///< a few words
  std::string message;  ///< one or two complete sentences, with what to do next

  bool operator==(const PageFailure&) const = default;
};

/// Puts a failure into words. `detail` is the engine's own text for `other` and the content type for
/// `unsupportedContent`; it is not needed elsewhere.
PageFailure describePageFailure(PageFailureReason reason, std::string_view address,
                                std::string_view detail = {});

}  // namespace vale
