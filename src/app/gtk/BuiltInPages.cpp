#include "app/gtk/BuiltInPages.h"

#include "app/gtk/IsolatedWorld.h"
#include "app/gtk/Signal.h"
#include "app/gtk/WebKitPage.h"

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <fmt/format.h>

#include <algorithm>
#include <libsoup/soup.h>
#include <utility>

namespace vale::gtk {

namespace {

constexpr const char* scheme = "vale";

std::string filled(std::string text, std::string_view place, std::string_view content) {
  if (const auto at = text.find(place); at != std::string::npos) text.replace(at, place.size(), content);
  return text;
}

struct Reply {
  explicit Reply(WebKitScriptMessageReply* reply, JSCContext* values)
      : reply(webkit_script_message_reply_ref(reply), webkit_script_message_reply_unref),
        values(GObjectPointer<JSCContext>::share(values)) {}

  std::shared_ptr<WebKitScriptMessageReply> reply;
  GObjectPointer<JSCContext> values;
};

Task<> respond(std::function<Task<std::string>(std::string)> answers, std::string question, Reply reply) {
  const auto answer = co_await answers(std::move(question));
  const auto value =
      GObjectPointer<JSCValue>::adopt(jsc_value_new_string(reply.values.get(), answer.c_str()));
  webkit_script_message_reply_return_value(reply.reply.get(), value.get());
}

}  // namespace

/// Held by the engine, too, which may ask after this program's part has ended.
struct BuiltInPages::Served {
  std::vector<std::unique_ptr<BuiltInPage>> pages;

  /// Null when there is none.
  const BuiltInPage* find(std::string_view address) const {
    const auto found = std::ranges::find(pages, address, [](const auto& page) { return page->address; });
    return found == pages.end() ? nullptr : found->get();
  }
  void answer(WebKitURISchemeRequest* request) const;
};

/// A page that may come to show a built-in one.
struct BuiltInPages::Guest {
  WebKitPage& page;
  GObjectPointer<WebKitWebView> view = GObjectPointer<WebKitWebView>::share(page.view());
  GObjectPointer<GCancellable> gone = GObjectPointer<GCancellable>::adopt(g_cancellable_new());
  const BuiltInPage* shows = nullptr;  ///< its document is this one
  bool running = false;                ///< with our script in it
  Connections ears = {};
  std::vector<Subscription> subscriptions = {};

  explicit Guest(WebKitPage& page) : page(page) {}
  ~Guest() { g_cancellable_cancel(gone.get()); }
};

BuiltInPages::BuiltInPages(WebKitWebContext* context, MainQueue main)
    : main_(std::move(main)), served_(std::make_shared<Served>()) {
  using Held = std::shared_ptr<Served>;
  auto* security = webkit_web_context_get_security_manager(context);
  webkit_security_manager_register_uri_scheme_as_secure(security, scheme);
  webkit_security_manager_register_uri_scheme_as_display_isolated(security, scheme);
  webkit_web_context_register_uri_scheme(
      context, scheme,
      [](WebKitURISchemeRequest* request, gpointer served) {
        guardedCall("built-in page", [&] { (*static_cast<Held*>(served))->answer(request); });
      },
      new Held(served_), [](gpointer served) { delete static_cast<Held*>(served); });
}

BuiltInPages::~BuiltInPages() = default;

void BuiltInPages::add(BuiltInPage page) {
  served_->pages.push_back(std::make_unique<BuiltInPage>(std::move(page)));
}

void BuiltInPages::Served::answer(WebKitURISchemeRequest* request) const {
  const auto* page = find(webkit_uri_scheme_request_get_uri(request));
  if (!page) {
    GError* error =
        g_error_new_literal(WEBKIT_POLICY_ERROR, WEBKIT_POLICY_ERROR_CANNOT_SHOW_URI, "no such page");
    webkit_uri_scheme_request_finish_error(request, error);
    g_error_free(error);
    return;
  }
  const auto nonce = Uuid::random().text();
  auto html = filled(std::string(page->html), "{nonce}", nonce);
  html = filled(std::move(html), "{style}", page->style);
  const auto bytes = g_bytes_new(html.data(), html.size());
  const auto stream = GObjectPointer<GInputStream>::adopt(g_memory_input_stream_new_from_bytes(bytes));
  g_bytes_unref(bytes);
  const auto response = GObjectPointer<WebKitURISchemeResponse>::adopt(
      webkit_uri_scheme_response_new(stream.get(), static_cast<gint64>(html.size())));
  webkit_uri_scheme_response_set_content_type(response.get(), "text/html; charset=utf-8");
  auto* headers = soup_message_headers_new(SOUP_MESSAGE_HEADERS_RESPONSE);
  // Sites' icons come as data, with the answers.
  const auto policy = fmt::format("default-src 'none'; style-src 'nonce-{}'; img-src data:; base-uri 'none'; "
                                  "form-action 'none'; frame-ancestors 'none'",
                                  nonce);
  soup_message_headers_append(headers, "Content-Security-Policy", policy.c_str());
  soup_message_headers_append(headers, "Cache-Control", "no-store");
  webkit_uri_scheme_response_set_http_headers(response.get(), headers);
  webkit_uri_scheme_request_finish_with_response(request, response.get());
}

void BuiltInPages::attach(BrowserModel& model) {
  subscriptions_.push_back(model.onPageMade([this](BrowserTab& tab) { follow(tab); }));
  subscriptions_.push_back(model.onPageLeaving(
      [this](BrowserTab&, const std::shared_ptr<Page>& page) { guests_.erase(page.get()); }));
  for (const auto& tab : model.tabs()) {
    if (tab->page()) follow(*tab);
  }
}

void BuiltInPages::refresh(std::string_view address) {
  for (const auto& [page, guest] : guests_) {
    if (!guest->running || !guest->shows || guest->shows->address != address) continue;
    runInPage(guest->view.get(), "globalThis.refresh?.()", guest->gone.get(), [](JSCValue*) {});
  }
}

void BuiltInPages::follow(BrowserTab& tab) {
  // Every engine of this program makes these.
  auto& page = static_cast<WebKitPage&>(*tab.page());
  auto& guest = guests_[&page];
  if (guest) return;
  guest = std::make_unique<Guest>(page);
  auto* one = guest.get();
  one->subscriptions.push_back(page.address().observe([this, one](const std::string& address) {
    if (const auto* builtIn = served_->find(address)) welcome(*one, *builtIn);
  }));
  one->subscriptions.push_back(page.document().subscribe([this, one](auto) {
    one->shows = served_->find(one->page.address().value());
    one->running = false;
  }));
  one->subscriptions.push_back(page.onLoadEnded([one] {
    if (!one->shows || one->page.failure().value() || std::exchange(one->running, true)) return;
    runInPage(one->view.get(), std::string(one->shows->script), one->gone.get(), [](JSCValue*) {});
  }));
}

/// Only pages that go there get an ear for it.
void BuiltInPages::welcome(Guest& guest, const BuiltInPage& page) {
  auto* content = webkit_web_view_get_user_content_manager(guest.view.get());
  if (!webkit_user_content_manager_register_script_message_handler_with_reply(content, page.name.c_str(),
                                                                              isolatedWorld)) {
    return;
  }
  const auto signal = "script-message-with-reply-received::" + page.name;
  guest.ears.push_back(connect(
      content, signal.c_str(),
      [this, one = &guest, page = &page](JSCValue* message, WebKitScriptMessageReply* reply) -> gboolean {
        return receive(*one, *page, message, reply);
      }));
}

bool BuiltInPages::receive(const Guest& guest, const BuiltInPage& page, JSCValue* message,
                           WebKitScriptMessageReply* reply) {
  const char* address = webkit_web_view_get_uri(guest.view.get());
  if (guest.shows != &page || !address || address != page.address || !jsc_value_is_string(message)) {
    webkit_script_message_reply_return_error_message(reply, "Only the page itself is answered.");
    return true;
  }
  const std::unique_ptr<char, decltype(&g_free)> question(jsc_value_to_string(message), g_free);
  asio::co_spawn(main_.executor(),
                 respond(page.answer, question.get(), Reply(reply, jsc_value_get_context(message))),
                 asio::detached);
  return true;
}

}  // namespace vale::gtk
