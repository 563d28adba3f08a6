#pragma once

#include "app/gtk/PageDialog.h"
#include "app/gtk/PageEquipment.h"
#include "app/gtk/WebKitPage.h"

#include <functional>
#include <list>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace vale::gtk {

struct BrowserServices;

/// A server, or a proxy before it, that wants a name and a password.
struct AuthenticationPlace {
  std::string host;   ///< with its port
  std::string realm;  ///< the server's own word for what is behind it
  bool isProxy = false;
  bool isPrivate = false;
};

struct StoredCredential {
  std::string user;
  std::string password;
};

/// Who keeps names and passwords for servers. What is left out does nothing.
struct CredentialStore {
  /// Answers on the main thread, at most once; the dialog is there in the meantime.
  std::function<void(const AuthenticationPlace&, std::function<void(StoredCredential)>)> find =
      [](const auto&, const auto&) {};
  /// A name and a password that the user entered and that the server may have taken.
  std::function<void(const AuthenticationPlace&, const StoredCredential&)> entered = [](const auto&,
                                                                                        const auto&) {};
};

/// Asks the user for the name and the password that a server wants (RFC 7617, RFC 7616), over the page. What
/// was asked is withdrawn when the page goes elsewhere. Main thread only.
class PageAuthentication : public PagePart {
 public:
  PageAuthentication(WebKitPage& page, BrowserServices& services);
  ~PageAuthentication() override;

 private:
  struct Question {
    GObjectPointer<WebKitAuthenticationRequest> request;
    AuthenticationPlace place;
    std::unique_ptr<PageDialog> dialog;
    Connections connections;
  };

  bool requested(WebKitAuthenticationRequest* request);
  void ask(const std::shared_ptr<Question>& question);
  void answer(const std::shared_ptr<Question>& question);
  void cancel(const std::shared_ptr<Question>& question);
  void withdraw();

  WebKitPage& page_;
  BrowserServices& services_;
  std::list<std::shared_ptr<Question>> questions_;
  Connections connections_;
  std::vector<Subscription> subscriptions_;
};

}  // namespace vale::gtk
