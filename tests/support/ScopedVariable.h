#pragma once

#include <cstdlib>
#include <optional>
#include <string>

namespace vale::test {

/// Sets an environment variable for as long as it lives.
class ScopedVariable {
 public:
  ScopedVariable(std::string name, const std::string& value) : name_(std::move(name)) {
    if (const char* before = std::getenv(name_.c_str())) before_ = before;
    setenv(name_.c_str(), value.c_str(), 1);
  }
  ~ScopedVariable() {
    if (before_) setenv(name_.c_str(), before_->c_str(), 1);
    if (!before_) unsetenv(name_.c_str());
  }
  ScopedVariable(const ScopedVariable&) = delete;
  ScopedVariable& operator=(const ScopedVariable&) = delete;

 private:
  std::string name_;
  std::optional<std::string> before_;
};

}  // namespace vale::test
