#include "browser/CertificateFacts.h"

#include "browser/AddressDisplay.h"
#include "common/Text.h"

#include <algorithm>
#include <map>

namespace vale {

namespace {

constexpr std::size_t longestName = 200;

/// The attributes of a distinguished name, the first of each kind.
std::map<std::string, std::string> attributes(std::string_view name) {
  std::map<std::string, std::string> found;
  std::string key, value;
  bool inValue = false;
  const auto finish = [&] {
    if (inValue) found.emplace(foldedCase(trimmed(key)), trimmed(value));
    key.clear();
    value.clear();
    inValue = false;
  };
  for (std::size_t i = 0; i < name.size(); ++i) {
    const char c = name[i];
    auto& part = inValue ? value : key;
    if (c == '\\' && i + 1 < name.size()) {
      part += name[++i];
    } else if (c == ',' || c == '+') {
      finish();
    } else if (c == '=' && !inValue) {
      inValue = true;
    } else {
      part += c;
    }
  }
  finish();
  return found;
}

std::string sentence(CertificateFault fault) {
  switch (fault) {
  case CertificateFault::revoked:
    return "It was taken back by its issuer.";
  case CertificateFault::otherServer:
    return "It belongs to another server.";
  case CertificateFault::unknownIssuer:
    return "It comes from nobody that this computer trusts.";
  case CertificateFault::notYetValid:
    return "It is not valid yet.";
  case CertificateFault::expired:
    return "It has expired.";
  case CertificateFault::weak:
    return "It uses a method that no longer protects.";
  case CertificateFault::unreadable:
    break;
  }
  return "It cannot be checked.";
}

}  // namespace

std::string readableName(std::string_view distinguishedName) {
  const auto found = attributes(distinguishedName);
  std::string name(distinguishedName);
  for (const char* key : {"cn", "o"}) {
    if (const auto at = found.find(key); at != found.end() && !at->second.empty()) {
      name = at->second;
      break;
    }
  }
  return clampedText(trimmed(singleLine(validUtf8(name))), longestName);
}

std::vector<std::pair<std::string, std::string>> describeCertificate(const CertificateFacts& facts) {
  std::vector<std::pair<std::string, std::string>> rows;
  for (const auto fault : facts.faults) rows.emplace_back("Problem", sentence(fault));
  rows.emplace_back("Server", clampedText(facts.server, longestName));
  const auto add = [&](const char* label, std::string text) {
    if (!text.empty()) rows.emplace_back(label, std::move(text));
  };
  add("Issued to", readableName(facts.subject));
  const bool bySelf = !facts.issuer.empty() && facts.issuer == facts.subject;
  add("Issued by", bySelf ? "Itself" : readableName(facts.issuer));
  add("Valid from", facts.validFrom);
  add("Valid until", facts.validUntil);
  return rows;
}

bool mayContinueTo(const CertificateFacts& facts, const std::vector<std::string>& strictHosts) {
  if (std::ranges::find(facts.faults, CertificateFault::revoked) != facts.faults.end()) return false;
  const auto server = foldedCase(facts.server);
  return std::ranges::none_of(strictHosts, [&](const std::string& host) {
    const auto strict = foldedCase(host);
    return !strict.empty() && (server == strict || server.ends_with("." + strict));
  });
}

}  // namespace vale
