#pragma once

#include <exception>
#include <string>
#include <utility>

namespace vale {

/// The root of everything that Vale throws: one `message`, a complete sentence that may be shown to the user.
/// Expected outcomes (a missing file, a malformed line, a cancelled call) are values, not errors.
struct Error : std::exception {
  explicit Error(std::string message) : message(std::move(message)) {}
  const char* what() const noexcept override { return message.c_str(); }

  std::string message;
};

/// The system's own text for an errno value ("No such file or directory"). Safe on every thread.
std::string systemErrorText(int code);

}  // namespace vale
