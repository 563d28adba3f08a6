#include "app/gtk/CertificateExceptions.h"

#include "app/gtk/Signal.h"
#include "common/WebAddress.h"

#include <memory>
#include <utility>

namespace vale::gtk {

namespace {

std::string written(GDateTime* moment) {
  if (!moment) return {};
  const std::unique_ptr<GDateTime, decltype(&g_date_time_unref)> held(moment, g_date_time_unref);
  const std::unique_ptr<char, decltype(&g_free)> text(g_date_time_format(moment, "%-d %B %Y, %H:%M UTC"),
                                                      g_free);
  return text ? text.get() : "";
}

std::string taken(char* text) {
  const std::unique_ptr<char, decltype(&g_free)> held(text, g_free);
  return text ? text : "";
}

bool isSecureAddress(std::string_view address) {
  return address.starts_with("https:") || address.starts_with("wss:");
}

}  // namespace

CertificateFacts factsOf(GTlsCertificate* certificate, GTlsCertificateFlags problems,
                         std::string_view address) {
  using enum CertificateFault;
  CertificateFacts facts;
  facts.server = host(address);
  facts.subject = taken(g_tls_certificate_get_subject_name(certificate));
  facts.issuer = taken(g_tls_certificate_get_issuer_name(certificate));
  facts.validFrom = written(g_tls_certificate_get_not_valid_before(certificate));
  facts.validUntil = written(g_tls_certificate_get_not_valid_after(certificate));
  for (const auto& [flag, fault] :
       {std::pair{G_TLS_CERTIFICATE_REVOKED, revoked}, std::pair{G_TLS_CERTIFICATE_BAD_IDENTITY, otherServer},
        std::pair{G_TLS_CERTIFICATE_UNKNOWN_CA, unknownIssuer},
        std::pair{G_TLS_CERTIFICATE_NOT_ACTIVATED, notYetValid},
        std::pair{G_TLS_CERTIFICATE_EXPIRED, expired}, std::pair{G_TLS_CERTIFICATE_INSECURE, weak},
        std::pair{G_TLS_CERTIFICATE_GENERIC_ERROR, unreadable}}) {
    if (problems & flag) facts.faults.push_back(fault);
  }
  return facts;
}

CertificateExceptions& CertificateExceptions::of(WebKitNetworkSession* session) {
  constexpr const char* key = "vale-certificate-exceptions";
  auto* found = static_cast<CertificateExceptions*>(g_object_get_data(G_OBJECT(session), key));
  if (!found) {
    found = new CertificateExceptions(session);
    g_object_set_data_full(G_OBJECT(session), key, found,
                           [](gpointer held) { delete static_cast<CertificateExceptions*>(held); });
  }
  return *found;
}

void CertificateExceptions::allow(const RefusedCertificate& refused) {
  const auto server = host(refused.address);
  if (server.empty() || !refused.certificate) return;
  webkit_network_session_allow_tls_certificate_for_host(session_, refused.certificate.get(), server.c_str());
  byHost_.insert_or_assign(server, Exception{refused, true});
}

void CertificateExceptions::forget(std::string_view address) {
  if (const auto at = byHost_.find(host(address)); at != byHost_.end()) at->second.holds = false;
}

bool CertificateExceptions::holdsFor(std::string_view address) const {
  const auto at = byHost_.find(host(address));
  return isSecureAddress(address) && at != byHost_.end() && at->second.holds;
}

const RefusedCertificate* CertificateExceptions::takenBack(std::string_view address) const {
  if (byHost_.empty() || !isSecureAddress(address)) return nullptr;
  const auto at = byHost_.find(host(address));
  return at != byHost_.end() && !at->second.holds ? &at->second.refused : nullptr;
}

void CertificateExceptions::strictHosts(std::function<void(std::vector<std::string>)> answer) const {
  using Answer = std::function<void(std::vector<std::string>)>;
  webkit_website_data_manager_fetch(
      webkit_network_session_get_website_data_manager(session_), WEBKIT_WEBSITE_DATA_HSTS_CACHE, nullptr,
      [](GObject* source, GAsyncResult* result, gpointer data) {
        const std::unique_ptr<Answer> answer(static_cast<Answer*>(data));
        GList* list =
            webkit_website_data_manager_fetch_finish(WEBKIT_WEBSITE_DATA_MANAGER(source), result, nullptr);
        std::vector<std::string> hosts;
        for (GList* one = list; one; one = one->next) {
          auto* entry = static_cast<WebKitWebsiteData*>(one->data);
          hosts.emplace_back(webkit_website_data_get_name(entry));
          webkit_website_data_unref(entry);
        }
        g_list_free(list);
        guardedCall("strict hosts", [&] { (*answer)(std::move(hosts)); });
      },
      new Answer(std::move(answer)));
}

}  // namespace vale::gtk
