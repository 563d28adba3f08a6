#include "app/gtk/LoginPart.h"

#include "app/gtk/BrowserServices.h"
#include "app/gtk/IsolatedWorld.h"
#include "app/gtk/LoginScript.h"
#include "app/gtk/WebKitPage.h"
#include "app/gtk/WhenDone.h"
#include "browser/AddressDisplay.h"
#include "common/Error.h"
#include "common/Text.h"
#include "common/WebAddress.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

namespace vale::gtk {

namespace {

constexpr std::size_t longestName = 80;  // bytes
constexpr guint firstError = 400;

std::string shownName(const std::string& user) {
  return clampedText(singleLine(validUtf8(user)), longestName);
}

std::string shownSite(const std::string& origin) {
  return clampedText(displayedAddress(origin).text, longestName);
}

/// A button like any other of the page: where it is in the view.
GdkRectangle placeIn(WebKitWebView* view, const LoginFieldPlace& place) {
  const double zoom = webkit_web_view_get_zoom_level(view);
  const auto within = [&](double at, int length) {
    return static_cast<int>(std::clamp(at * zoom, 0.0, std::max(0.0, length - 1.0)));
  };
  auto* widget = GTK_WIDGET(view);
  const int width = gtk_widget_get_width(widget), height = gtk_widget_get_height(widget);
  GdkRectangle shown{within(place.x, width), within(place.y, height), 1, 1};
  shown.width = std::max(1, within(place.x + place.width, width) - shown.x);
  shown.height = std::max(1, within(place.y + place.height, height) - shown.y);
  return shown;
}

}  // namespace

LoginPart::LoginPart(WebKitPage& page, BrowsingMode mode, BrowserServices& services)
    : page_(page), mode_(mode), services_(services),
      gone_(GObjectPointer<GCancellable>::adopt(g_cancellable_new())),
      watch_(services.base.surroundings.clock,
             {.isAsking =
                  [this](std::function<void(bool)> answer) {
                    runInPage(page_.view(), isAskingBody(), gone_.get(),
                              [answer = std::move(answer)](JSCValue* result) {
                                answer(result && jsc_value_is_boolean(result) &&
                                       jsc_value_to_boolean(result));
                              });
                  },
              .succeeded = [this](Login login) { decide(std::move(login)); }}),
      self_(std::make_shared<LoginPart*>(this)) {
  auto* content = webkit_web_view_get_user_content_manager(page_.view());
  const auto signal = fmt::format("script-message-with-reply-received::{}", loginMessages);
  connections_.push_back(connect(content, signal.c_str(),
                                 [this](JSCValue* message, WebKitScriptMessageReply* reply) -> gboolean {
                                   receive(message, reply);
                                   return TRUE;
                                 }));
  webkit_user_content_manager_register_script_message_handler_with_reply(content, loginMessages,
                                                                         isolatedWorld);
  auto* script = webkit_user_script_new_for_world(
      loginScript().c_str(), WEBKIT_USER_CONTENT_INJECT_ALL_FRAMES,
      WEBKIT_USER_SCRIPT_INJECT_AT_DOCUMENT_START, isolatedWorld, nullptr, nullptr);
  webkit_user_content_manager_add_script(content, script);
  webkit_user_script_unref(script);

  connections_.push_back(connect(page_.view(), "unmap", [this] { answer(nullptr); }));
  subscriptions_.push_back(page_.document().subscribe([this](std::uint64_t) { documentChanged(); }));
  subscriptions_.push_back(page_.failure().subscribe([this](const auto&) { answer(nullptr); }));
  subscriptions_.push_back(page_.onLoadEnded([this] { loadEnded(); }));
  std::erase_if(services_.loginParts, [](const auto& entry) { return entry.second.expired(); });
  services_.loginParts[&page_] = self_;
}

LoginPart::~LoginPart() {
  g_cancellable_cancel(gone_.get());
  connections_.clear();
  answer(nullptr);
}

void LoginPart::receive(JSCValue* message, WebKitScriptMessageReply* reply) {
  auto* values = jsc_value_get_context(message);
  const std::unique_ptr<char, decltype(&g_free)> text(jsc_value_to_string(message), g_free);
  auto report = readLoginReport(text ? text.get() : "", origin_);
  if (report && report->kind == LoginReportKind::ask) return ask(std::move(*report), reply, values);
  const auto nothing = GObjectPointer<JSCValue>::adopt(jsc_value_new_null(values));
  webkit_script_message_reply_return_value(reply, nothing.get());
  if (!report) return;
  switch (report->kind) {
  case LoginReportKind::ask:
    break;
  case LoginReportKind::enter:
    if (chooser_) chooser_->focus();
    break;
  case LoginReportKind::leave:
    answer(nullptr);
    break;
  case LoginReportKind::submitted:
    answer(nullptr);
    if (mode_ == BrowsingMode::isPrivate) break;
    if (auto login = submittedLogin(*report)) watch_.submitted(std::move(*login));
    break;
  case LoginReportKind::gone:
    watch_.formGone();
    break;
  }
}

// ---------------------------------------------------------------------------------------------------------
// Filling

void LoginPart::ask(LoginReport report, WebKitScriptMessageReply* reply, JSCContext* values) {
  answer(nullptr);
  values_ = GObjectPointer<JSCContext>::share(values);
  const auto fill = fillableFields(report);
  question_.emplace(
      Question{.number = ++asked_, .report = std::move(report), .fill = fill.value_or(LoginFill())});
  question_->reply.reset(webkit_script_message_reply_ref(reply));
  if (!fill || !question_->report.place) return answer(nullptr);
  look(Unlocking::no);
}

/// Ends the question, with nothing to fill in or with the texts for the fields.
void LoginPart::answer(const Secret* text) {
  chooser_.reset();
  if (!question_) return;
  const auto question = std::move(*question_);
  question_.reset();
  const auto value = GObjectPointer<JSCValue>::adopt(
      text ? jsc_value_new_string(values_.get(), text->text().c_str()) : jsc_value_new_null(values_.get()));
  webkit_script_message_reply_return_value(question.reply.get(), value.get());
}

template <typename T, typename Done> void LoginPart::run(Task<T> task, Done done) {
  whenDone<T>(services_.base.surroundings.main, std::move(task),
              [self = std::weak_ptr(self_), done = std::move(done)](std::expected<T, Error> outcome) {
                if (self.lock()) done(std::move(outcome));
              });
}

void LoginPart::look(Unlocking unlocking) {
  run(services_.passwords->accounts(origin_, unlocking),
      [this, number = question_->number](std::expected<FoundLogins, Error> found) {
        if (!question_ || question_->number != number) return;
        // Without a store there is nothing to fill in; why, is told where passwords are saved and listed.
        show(found ? std::move(*found) : FoundLogins());
      });
}

void LoginPart::show(FoundLogins found) {
  if (found.logins.empty() && !found.locked) return answer(nullptr);
  std::vector<AccountChooser::Row> rows;
  for (const auto& login : found.logins) {
    rows.push_back({login.user.empty() ? "Password without a user name" : shownName(login.user),
                    "avatar-default-symbolic"});
  }
  if (rows.empty()) rows.push_back({"Unlock the saved passwords…", "channel-secure-symbolic"});
  question_->accounts = std::move(found.logins);
  auto* view = page_.view();
  if (!gtk_widget_get_mapped(GTK_WIDGET(view))) return answer(nullptr);
  chooser_ = std::make_unique<AccountChooser>(GTK_WIDGET(view), placeIn(view, *question_->report.place), rows,
                                              warning(), services_.base.surroundings.clock);
  chooser_->onChosen = [this](std::size_t row) { choose(row); };
  chooser_->onDismissed = [this] {
    answer(nullptr);
    gtk_widget_grab_focus(GTK_WIDGET(page_.view()));
  };
}

std::string LoginPart::warning() const {
  const auto& action = question_->report.action;
  if (!action.empty() && action != origin_) {
    return fmt::format("This form sends what is entered to {}.", shownSite(action));
  }
  if (page_.security().value() == PageSecurity::insecure) {
    return "This page is not encrypted: others on the network can read what you send.";
  }
  return {};
}

void LoginPart::choose(std::size_t row) {
  gtk_widget_grab_focus(GTK_WIDGET(page_.view()));
  if (!question_) return;
  chooser_.reset();
  if (row >= question_->accounts.size()) return look(Unlocking::ask);
  const auto account = question_->accounts[row];
  run(services_.passwords->store().password(account),
      [this, number = question_->number,
       user = account.user](std::expected<std::optional<Secret>, Error> password) {
        if (!password) tell(password.error().message, nullptr);
        if (!question_ || question_->number != number) return;
        if (!password || !*password) return answer(nullptr);
        const auto text = fillAnswer(question_->fill, user, **password);
        answer(&text);
      });
}

// ---------------------------------------------------------------------------------------------------------
// Saving

void LoginPart::documentChanged() {
  answer(nullptr);
  origin_ = webOrigin(page_.address().value());
  watch_.documentChanged(page_.transition());
}

void LoginPart::loadEnded() {
  auto* resource = webkit_web_view_get_main_resource(page_.view());
  auto* response = resource ? webkit_web_resource_get_response(resource) : nullptr;
  const bool refused = response && webkit_uri_response_get_status_code(response) >= firstError;
  const bool well = !refused && !page_.failure().value();
  watch_.loadEnded(well);
  auto entered = std::exchange(serverLogin_, std::nullopt);
  if (well && entered) decide(std::move(*entered));
}

void LoginPart::decide(Login login) {
  run(services_.passwords->offerFor(std::move(login)), [this](std::expected<LoginOffer, Error> made) {
    if (made) return offer(std::move(*made));
    // Once a run: who has no such service logs in all the same.
    if (!std::exchange(services_.passwordProblemTold, true)) tell(made.error().message, nullptr);
  });
}

void LoginPart::offer(LoginOffer made) {
  if (made.kind == LoginOffer::Kind::nothing) return;
  const auto offer = std::make_shared<LoginOffer>(std::move(made));
  const auto& login = offer->login;
  const bool change = offer->kind == LoginOffer::Kind::change;
  const auto whose = login.user.empty() ? "" : fmt::format(" of {}", shownName(login.user));
  const auto sentence = fmt::format("{} password{} for {}?", change ? "Change the saved" : "Save the", whose,
                                    shownSite(login.origin));
  std::vector<QuestionBar::Answer> answers{
      {.label = change ? "_Change" : "_Save", .chosen = [this, offer] { save(offer); }, .suggested = true}};
  if (!change) {
    answers.push_back({.label = "_Never for This Site", .chosen = [this, offer] {
                         services_.passwords->setNeverSaved(offer->login.origin, true);
                         bar_.reset();
                       }});
  }
  bar_.reset();
  bar_ = std::make_unique<QuestionBar>(page_.bars(), sentence, std::move(answers), [this] { bar_.reset(); });
}

void LoginPart::save(std::shared_ptr<LoginOffer> offer) {
  bar_.reset();
  run(services_.passwords->save(offer->login), [this, offer](const std::expected<bool, Error>& saved) {
    if (!saved) tell("The password was not saved. " + saved.error().message, offer);
  });
}

void LoginPart::tell(const std::string& problem, std::shared_ptr<LoginOffer> again) {
  std::vector<QuestionBar::Answer> answers;
  if (again) answers.push_back({.label = "_Try Again", .chosen = [this, again] { save(again); }});
  bar_.reset();
  bar_ = std::make_unique<QuestionBar>(page_.bars(), problem, std::move(answers), [this] { bar_.reset(); });
}

}  // namespace vale::gtk
