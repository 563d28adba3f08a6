#pragma once

#include "app/gtk/AccountChooser.h"
#include "app/gtk/GObjectPointer.h"
#include "app/gtk/PageEquipment.h"
#include "app/gtk/QuestionBar.h"
#include "app/gtk/Signal.h"
#include "browser/LoginForm.h"
#include "browser/LoginWatch.h"
#include "browser/SavedPasswords.h"

#include <webkit/webkit.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace vale::gtk {

struct BrowserServices;

/// The logins of one page. A form is filled only by the user's act: a click or a key in one of its fields
/// brings up the accounts of the page's origin, and choosing one fills the form. Nothing is filled on loading
/// a page, because a script that got into it could then carry off what nobody asked for. Frames of other
/// origins are never filled, nor heard. After a login the page's bar asks whether to keep it, except in
/// private windows. Passwords are in memory only between a choice and its answer. Main thread only.
class LoginPart : public PagePart {
 public:
  LoginPart(WebKitPage& page, BrowsingMode mode, BrowserServices& services);
  ~LoginPart() override;

  /// What a server's own question was answered with: offered to be saved once a load has ended well.
  void noteServerLogin(Login login) { serverLogin_ = std::move(login); }

 private:
  struct Unref {
    void operator()(WebKitScriptMessageReply* reply) const { webkit_script_message_reply_unref(reply); }
  };

  /// What the user has turned to a field for.
  struct Question {
    std::uint64_t number;
    LoginReport report;
    LoginFill fill;
    std::unique_ptr<WebKitScriptMessageReply, Unref> reply;
    std::vector<SavedLogin> accounts;
  };

  void receive(JSCValue* message, WebKitScriptMessageReply* reply);
  /// Runs a task of the passwords; `done` is dropped when this has gone meanwhile.
  template <typename T, typename Done> void run(Task<T> task, Done done);
  void ask(LoginReport report, WebKitScriptMessageReply* reply, JSCContext* values);
  void answer(const Secret* text);
  void look(Unlocking unlocking);
  void show(FoundLogins found);
  void choose(std::size_t row);
  std::string warning() const;

  void documentChanged();
  void loadEnded();
  void decide(Login login);
  void offer(LoginOffer offer);
  void save(std::shared_ptr<LoginOffer> offer);
  void tell(const std::string& problem, std::shared_ptr<LoginOffer> again);

  WebKitPage& page_;
  BrowsingMode mode_;
  BrowserServices& services_;
  GObjectPointer<GCancellable> gone_;
  GObjectPointer<JSCContext> values_;
  std::string origin_;  ///< of the document in the main frame; empty for none of the web
  std::uint64_t asked_ = 0;
  std::optional<Question> question_;
  std::unique_ptr<AccountChooser> chooser_;
  std::unique_ptr<QuestionBar> bar_;
  LoginWatch watch_;
  std::optional<Login> serverLogin_;
  std::vector<Subscription> subscriptions_;
  Connections connections_;
  std::shared_ptr<LoginPart*> self_;
};

}  // namespace vale::gtk
