#pragma once

#include <cstddef>
#include <exception>
#include <functional>
#include <glib-object.h>
#include <type_traits>
#include <utility>
#include <vector>

namespace vale::gtk {

/// Writes an error that reached a C frame to the log: it must not unwind through C code.
void reportCallbackError(const char* where, std::exception_ptr error);

/// Runs `work`; an exception is reported and the result is the type's zero.
template <typename Work> auto guardedCall(const char* where, Work&& work) noexcept -> decltype(work()) {
  try {
    return work();
  } catch (...) {
    reportCallbackError(where, std::current_exception());
  }
  if constexpr (!std::is_void_v<decltype(work())>) return {};
}

/// A signal handler that is connected for as long as this lives, or until its object goes, whichever is
/// first.
class [[nodiscard]] Connection {
 public:
  Connection() = default;
  explicit Connection(GClosure* closure);
  ~Connection() { disconnect(); }
  Connection(Connection&& other) noexcept : closure_(std::exchange(other.closure_, nullptr)) {}
  Connection& operator=(Connection&& other) noexcept {
    std::swap(closure_, other.closure_);
    return *this;
  }

  void disconnect();

 private:
  GClosure* closure_ = nullptr;
};

using Connections = std::vector<Connection>;

namespace detail {

template <typename Handler> struct SignalHandler;
template <typename Class, typename Result, typename... Arguments>
struct SignalHandler<Result (Class::*)(Arguments...) const> {
  static constexpr std::size_t argumentCount = sizeof...(Arguments);

  template <typename Lambda> static Result call(gpointer, Arguments... arguments, gpointer lambda) noexcept {
    return guardedCall("signal handler",
                       [&]() -> Result { return (*static_cast<Lambda*>(lambda))(arguments...); });
  }
};

GClosure* connectClosure(gpointer object, const char* signal, std::size_t argumentCount, GCallback callback,
                         gpointer data, GClosureNotify destroy);

}  // namespace detail

/// Connects a lambda that takes the signal's own C arguments: not the object, which it can capture. Their
/// number is checked (a wrong one throws std::logic_error); their types are the caller's to get right.
template <typename Lambda> Connection connect(gpointer object, const char* signal, Lambda lambda) {
  using Handler = detail::SignalHandler<decltype(&Lambda::operator())>;
  auto* data = new Lambda(std::move(lambda));
  return Connection(detail::connectClosure(
      object, signal, Handler::argumentCount, reinterpret_cast<GCallback>(&Handler::template call<Lambda>),
      data, [](gpointer held, GClosure*) { delete static_cast<Lambda*>(held); }));
}

}  // namespace vale::gtk
