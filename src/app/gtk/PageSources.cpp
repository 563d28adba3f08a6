#include "app/gtk/PageSources.h"

#include "app/gtk/GObjectPointer.h"
#include "app/gtk/Signal.h"
#include "common/Text.h"

#include <algorithm>
#include <cstddef>
#include <deque>
#include <libsoup/soup.h>
#include <utility>

namespace vale::gtk {

namespace {

constexpr const char* scheme = "view-source";
constexpr std::size_t mostKept = 10;
constexpr const char* gone =
    "The source of this page is no longer kept. Open the page and choose “Page Source” again.\n";

}  // namespace

/// Held by the engine, too.
struct PageSources::Kept {
  struct Source {
    std::string address;
    std::string bytes;
    bool isPrivate = false;
  };
  std::deque<Source> sources;

  void answer(WebKitURISchemeRequest* request);
};

PageSources::PageSources(WebKitWebContext* context) : kept_(std::make_shared<Kept>()) {
  using Held = std::shared_ptr<Kept>;
  webkit_security_manager_register_uri_scheme_as_display_isolated(
      webkit_web_context_get_security_manager(context), scheme);
  webkit_web_context_register_uri_scheme(
      context, scheme,
      [](WebKitURISchemeRequest* request, gpointer kept) {
        guardedCall("page source", [&] { (*static_cast<Held*>(kept))->answer(request); });
      },
      new Held(kept_), [](gpointer kept) { delete static_cast<Held*>(kept); });
}

PageSources::~PageSources() = default;

void PageSources::show(BrowserModel& model, const std::string& address, std::string bytes) {
  const auto name = std::string(scheme) + ":" + address;
  std::erase_if(kept_->sources, [&](const auto& one) { return one.address == name; });
  kept_->sources.push_back({name, std::move(bytes), model.isPrivate()});
  if (kept_->sources.size() > mostKept) kept_->sources.pop_front();
  model.open(name, {.opener = model.selected()});
}

void PageSources::Kept::answer(WebKitURISchemeRequest* request) {
  const std::string_view address = webkit_uri_scheme_request_get_uri(request);
  auto* view = webkit_uri_scheme_request_get_web_view(request);
  const bool forgets = view && webkit_network_session_is_ephemeral(webkit_web_view_get_network_session(view));
  const auto found = std::ranges::find_if(
      sources, [&](const auto& one) { return one.address == address && (!one.isPrivate || forgets); });
  std::string text = gone;
  if (found != sources.end()) {
    text = found->bytes;
    if (found->isPrivate) sources.erase(found);
  }
  // Another encoding than UTF-8 is left to the engine, as it is for the page itself.
  const char* type = isValidUtf8(text) ? "text/plain; charset=utf-8" : "text/plain";
  const auto bytes = g_bytes_new(text.data(), text.size());
  const auto stream = GObjectPointer<GInputStream>::adopt(g_memory_input_stream_new_from_bytes(bytes));
  g_bytes_unref(bytes);
  const auto response = GObjectPointer<WebKitURISchemeResponse>::adopt(
      webkit_uri_scheme_response_new(stream.get(), static_cast<gint64>(text.size())));
  webkit_uri_scheme_response_set_content_type(response.get(), type);
  auto* headers = soup_message_headers_new(SOUP_MESSAGE_HEADERS_RESPONSE);
  soup_message_headers_append(headers, "Content-Security-Policy",
                              "default-src 'none'; frame-ancestors 'none'");
  soup_message_headers_append(headers, "X-Content-Type-Options", "nosniff");
  soup_message_headers_append(headers, "Cache-Control", "no-store");
  webkit_uri_scheme_response_set_http_headers(response.get(), headers);
  webkit_uri_scheme_request_finish_with_response(request, response.get());
}

}  // namespace vale::gtk
