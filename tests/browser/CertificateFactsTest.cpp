#include "browser/CertificateFacts.h"

#include <gtest/gtest.h>

namespace vale::test {
namespace {

TEST(CertificateFacts, namesAreReadFromWhatAServerWrote) {
  const std::pair<std::string, std::string> names[] = {
      {"O=Example,CN=example.org", "example.org"},
      {"C=DE, O=Example\\, Inc.", "Example, Inc."},
      {"OU=Tests", "OU=Tests"},
      {"cn=a=b\\\\c", "a=b\\c"},
      {"CN=", "CN="},
      {"", ""},
      {"CN=x\\", "x\\"},
      {"CN=<b>two\nlines</b>\xFF", "<b>two lines</b>\uFFFD"}};
  for (const auto& [name, expected] : names) EXPECT_EQ(readableName(name), expected);
  EXPECT_LE(readableName("CN=" + std::string(100'000, 'x')).size(), 210u);
}

TEST(CertificateFacts, aCertificateOfItsOwnMakingSaysSo) {
  const auto rows =
      describeCertificate({.server = "a.org",
                           .subject = "CN=a",
                           .issuer = "CN=a",
                           .validFrom = "",
                           .validUntil = "1 May",
                           .faults = {CertificateFault::expired, CertificateFault::otherServer}});
  const std::vector<std::pair<std::string, std::string>> expected = {
      {"Problem", "It has expired."},
      {"Problem", "It belongs to another server."},
      {"Server", "a.org"},
      {"Issued to", "a"},
      {"Issued by", "Itself"},
      {"Valid until", "1 May"}};
  EXPECT_EQ(rows, expected);
}

TEST(CertificateFacts, thereIsNoWayOnWhereTheSiteOrItsIssuerForbadeIt) {
  const auto may = [](const std::string& server, const std::vector<std::string>& strict,
                      CertificateFault fault = CertificateFault::unknownIssuer) {
    return mayContinueTo({.server = server, .faults = {CertificateFault::expired, fault}}, strict);
  };
  EXPECT_TRUE(may("a.org", {}));
  EXPECT_TRUE(may("nota.org", {"a.org", "", "b.nota.org"}));
  EXPECT_FALSE(may("a.org", {"x.org", "A.org"}));
  EXPECT_FALSE(may("www.A.org", {"a.org"}));
  EXPECT_FALSE(may("a.org", {}, CertificateFault::revoked));
}

}  // namespace
}  // namespace vale::test
