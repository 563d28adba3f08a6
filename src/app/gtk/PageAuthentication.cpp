#include "app/gtk/PageAuthentication.h"

#include "app/gtk/BrowserServices.h"
#include "app/gtk/SiteName.h"
#include "browser/AddressDisplay.h"
#include "common/Text.h"

#include <fmt/format.h>

#include <utility>

namespace vale::gtk {

namespace {

constexpr std::size_t longestRealm = 120;
constexpr std::size_t mostQuestions = 8;
constexpr std::size_t userField = 0;
constexpr std::size_t passwordField = 1;

std::string text(const char* value) { return value ? value : ""; }

/// The address of the server itself: who asks, whatever the page shows.
std::string serverAddress(WebKitAuthenticationRequest* request) {
  auto* origin = webkit_authentication_request_get_security_origin(request);
  const std::unique_ptr<char, decltype(&g_free)> address(webkit_security_origin_to_string(origin), g_free);
  webkit_security_origin_unref(origin);
  return text(address.get());
}

std::string sentenceOf(const AuthenticationPlace& place, const std::string& address, bool again) {
  std::string result;
  if (again) result = "The name or the password was not right. Try again.\n\n";
  result += place.isProxy
                ? fmt::format("The proxy {} wants a name and a password before it lets you into the network.",
                              place.host)
                : fmt::format("The server {} wants a name and a password.", place.host);
  if (!place.realm.empty()) result += fmt::format(" It calls this “{}”.", place.realm);
  if (!address.starts_with("https:") && !isLoopback(address)) {
    result += "\n\nThe connection is not encrypted: others on the way can read the password.";
  }
  return result;
}

bool isAboutPassword(WebKitAuthenticationScheme scheme) {
  switch (scheme) {
  case WEBKIT_AUTHENTICATION_SCHEME_CLIENT_CERTIFICATE_REQUESTED:
  case WEBKIT_AUTHENTICATION_SCHEME_CLIENT_CERTIFICATE_PIN_REQUESTED:
  case WEBKIT_AUTHENTICATION_SCHEME_SERVER_TRUST_EVALUATION_REQUESTED:
    return false;
  default:
    return true;
  }
}

}  // namespace

PageAuthentication::PageAuthentication(WebKitPage& page, BrowserServices& services)
    : page_(page), services_(services) {
  connections_.push_back(
      connect(page_.view(), "authenticate",
              [this](WebKitAuthenticationRequest* request) -> gboolean { return requested(request); }));
  connections_.push_back(connect(page_.view(), "web-process-terminated",
                                 [this](WebKitWebProcessTerminationReason) { withdraw(); }));
  subscriptions_.push_back(page_.document().subscribe([this](auto) { withdraw(); }));
  subscriptions_.push_back(page_.isLoading().subscribe([this](bool loading) {
    if (!loading) withdraw();
  }));
}

PageAuthentication::~PageAuthentication() {
  connections_.clear();
  subscriptions_.clear();
  withdraw();
}

bool PageAuthentication::requested(WebKitAuthenticationRequest* request) {
  const auto question = std::make_shared<Question>();
  question->request = GObjectPointer<WebKitAuthenticationRequest>::share(request);
  question->place = {
      .host = fmt::format("{}:{}", text(webkit_authentication_request_get_host(request)),
                          webkit_authentication_request_get_port(request)),
      .realm = clampedText(singleLine(validUtf8(text(webkit_authentication_request_get_realm(request)))),
                           longestRealm),
      .isProxy = webkit_authentication_request_is_for_proxy(request) != FALSE,
      .isPrivate =
          webkit_network_session_is_ephemeral(webkit_web_view_get_network_session(page_.view())) != FALSE};
  if (questions_.size() >= mostQuestions) {
    webkit_authentication_request_cancel(request);
    return true;
  }
  question->connections.push_back(connect(request, "cancelled", [this, raw = question.get()] {
    std::erase_if(questions_, [raw](const auto& one) { return one.get() == raw; });
  }));
  questions_.push_back(question);
  ask(question);
  return true;
}

void PageAuthentication::ask(const std::shared_ptr<Question>& question) {
  auto* request = question->request.get();
  const std::weak_ptr<Question> weak = question;
  const auto then = [this, weak](void (PageAuthentication::*work)(const std::shared_ptr<Question>&)) {
    return [this, weak, work] {
      if (const auto held = weak.lock()) (this->*work)(held);
    };
  };
  const auto& place = question->place;
  if (!isAboutPassword(webkit_authentication_request_get_scheme(request))) {
    question->dialog = std::make_unique<PageDialog>(
        page_,
        PageDialog::Content{
            .title = "A certificate of yours is wanted",
            .text = fmt::format("The server {} wants you to prove who you are with a certificate. Vale "
                                "cannot show it one; without it the server may refuse the page.",
                                place.host),
            .fields = {},
            .check = {},
            .answers = {{.label = "_OK", .chosen = then(&PageAuthentication::cancel)}}});
    return;
  }
  question->dialog = std::make_unique<PageDialog>(
      page_,
      PageDialog::Content{
          .title = place.isProxy ? "The proxy wants a password" : "This page wants a password",
          .text = sentenceOf(place, serverAddress(request),
                             webkit_authentication_request_is_retry(request) != FALSE),
          .fields = {{.label = "User name", .text = ""}, {.label = "Password", .text = "", .hidden = true}},
          .check = {},
          .answers = {{.label = "_Cancel", .chosen = then(&PageAuthentication::cancel)},
                      {.label = "_Sign In",
                       .chosen = then(&PageAuthentication::answer),
                       .look = "suggested-action"}}});
  services_.credentials.find(place, [weak](const StoredCredential& stored) {
    const auto held = weak.lock();
    if (!held || !held->dialog || !held->dialog->text(userField).empty()) return;
    held->dialog->setText(userField, stored.user);
    held->dialog->setText(passwordField, stored.password);
  });
}

void PageAuthentication::answer(const std::shared_ptr<Question>& question) {
  const StoredCredential entered{question->dialog->text(userField), question->dialog->text(passwordField)};
  auto* credential = webkit_credential_new(entered.user.c_str(), entered.password.c_str(),
                                           WEBKIT_CREDENTIAL_PERSISTENCE_FOR_SESSION);
  std::erase(questions_, question);
  question->connections.clear();
  question->dialog.reset();
  webkit_authentication_request_authenticate(question->request.get(), credential);
  webkit_credential_free(credential);
  services_.credentials.entered(question->place, entered);
}

void PageAuthentication::cancel(const std::shared_ptr<Question>& question) {
  std::erase(questions_, question);
  question->connections.clear();
  question->dialog.reset();
  webkit_authentication_request_cancel(question->request.get());
}

void PageAuthentication::withdraw() {
  while (!questions_.empty()) cancel(std::shared_ptr<Question>(questions_.front()));
}

}  // namespace vale::gtk
