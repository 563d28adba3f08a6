#include "app/gtk/Signal.h"

#include "common/Log.h"

#include <fmt/format.h>

#include <stdexcept>

namespace vale::gtk {

void reportCallbackError(const char* where, std::exception_ptr error) {
  try {
    std::rethrow_exception(std::move(error));
  } catch (const std::exception& exception) {
    log::error("An error reached a {}: {}", where, exception.what());
  } catch (...) {
    log::error("An error of an unknown type reached a {}.", where);
  }
}

Connection::Connection(GClosure* closure) : closure_(g_closure_ref(closure)) {}

void Connection::disconnect() {
  if (GClosure* closure = std::exchange(closure_, nullptr)) {
    // An invalid closure leaves its signal by itself; this also holds when the object has gone already.
    g_closure_invalidate(closure);
    g_closure_unref(closure);
  }
}

namespace detail {

GClosure* connectClosure(gpointer object, const char* signal, std::size_t argumentCount, GCallback callback,
                         gpointer data, GClosureNotify destroy) {
  GClosure* closure = g_cclosure_new(callback, data, destroy);
  guint id = 0;
  GQuark detailQuark = 0;
  GSignalQuery query{};
  if (g_signal_parse_name(signal, G_OBJECT_TYPE(object), &id, &detailQuark, TRUE)) g_signal_query(id, &query);
  if (query.signal_id == 0 || query.n_params != argumentCount) {
    g_closure_sink(closure);
    throw std::logic_error(fmt::format("{} has no signal “{}” with {} arguments", G_OBJECT_TYPE_NAME(object),
                                       signal, argumentCount));
  }
  g_signal_connect_closure_by_id(object, id, detailQuark, closure, FALSE);
  return closure;
}

}  // namespace detail

}  // namespace vale::gtk
