#pragma once

#include "app/gtk/GObjectPointer.h"
#include "browser/CertificateFacts.h"

#include <webkit/webkit.h>

#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace vale::gtk {

/// A certificate that was not taken for an address.
struct RefusedCertificate {
  std::string address;
  GObjectPointer<GTlsCertificate> certificate;
  GTlsCertificateFlags problems{};
};

/// What a certificate says of itself, and what is wrong with it.
CertificateFacts factsOf(GTlsCertificate* certificate, GTlsCertificateFlags problems,
                         std::string_view address);

/// The servers of one network session that the user goes to in spite of their certificates, until the session
/// ends. The engine itself never forgets such a server before that; one that the user has taken back is
/// refused here, where a page or a frame would go to it. Main thread only.
class CertificateExceptions {
 public:
  /// The session's own, for its life.
  static CertificateExceptions& of(WebKitNetworkSession* session);

  /// Lets this session go to the server of this address with this very certificate.
  void allow(const RefusedCertificate& refused);

  void forget(std::string_view address);

  bool holdsFor(std::string_view address) const;

  /// What was refused once more, for a server whose exception was taken back; null for any other.
  const RefusedCertificate* takenBack(std::string_view address) const;

  /// Answers, later, with the sites that have asked this session for secure connections only.
  void strictHosts(std::function<void(std::vector<std::string>)> answer) const;

 private:
  explicit CertificateExceptions(WebKitNetworkSession* session) : session_(session) {}

  struct Exception {
    RefusedCertificate refused;
    bool holds = true;
  };
  WebKitNetworkSession* session_;  ///< owns this
  std::map<std::string, Exception, std::less<>> byHost_;
};

}  // namespace vale::gtk
