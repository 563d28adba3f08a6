#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace vale {

/// What is wrong with a server's certificate.
enum class CertificateFault { revoked, otherServer, unknownIssuer, notYetValid, expired, weak, unreadable };

/// What a person wants to know of a certificate. Names are the certificate's own words, as in RFC 4514
/// ("CN=example.org,O=Example"); dates are written out.
struct CertificateFacts {
  std::string server;  ///< the host that showed it
  std::string subject;
  std::string issuer;
  std::string validFrom;
  std::string validUntil;
  std::vector<CertificateFault> faults;
};

/// The common name in a distinguished name, else its organisation, else the whole; one line, cut.
std::string readableName(std::string_view distinguishedName);

/// Labels with their texts, for the user; one for each fault first.
std::vector<std::pair<std::string, std::string>> describeCertificate(const CertificateFacts& facts);

/// Whether the user may go to the server in spite of its certificate: not when it was taken back, nor when
/// the server, or one above it, has asked browsers for secure connections only (`strictHosts`).
bool mayContinueTo(const CertificateFacts& facts, const std::vector<std::string>& strictHosts);

}  // namespace vale
