#include "app/gtk/IsolatedWorld.h"

#include "app/gtk/GObjectPointer.h"
#include "app/gtk/Signal.h"

#include <memory>
#include <utility>

namespace vale::gtk {

void runInPage(WebKitWebView* view, const std::string& body, GCancellable* gone,
               std::function<void(JSCValue*)> done) {
  using Done = std::function<void(JSCValue*)>;
  webkit_web_view_call_async_javascript_function(
      view, body.data(), static_cast<gssize>(body.size()), nullptr, isolatedWorld, nullptr, gone,
      [](GObject* view, GAsyncResult* result, gpointer data) {
        const std::unique_ptr<Done> done(static_cast<Done*>(data));
        GError* error = nullptr;
        const auto value = GObjectPointer<JSCValue>::adopt(
            webkit_web_view_call_async_javascript_function_finish(WEBKIT_WEB_VIEW(view), result, &error));
        const bool dropped = g_error_matches(error, G_IO_ERROR, G_IO_ERROR_CANCELLED);
        g_clear_error(&error);
        if (!dropped) guardedCall("answer of a page", [&] { (*done)(value.get()); });
      },
      new Done(std::move(done)));
}

}  // namespace vale::gtk
