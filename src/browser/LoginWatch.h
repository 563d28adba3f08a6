#pragma once

#include "browser/LoginForm.h"
#include "browser/Page.h"
#include "common/Clock.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace vale {

/// Tells when a login that was submitted on a page has probably been right: the page has moved on, without an
/// error, and asks for no password any more. Keeps what was submitted in memory until then, and forgets it
/// otherwise. Main thread only.
class LoginWatch {
 public:
  /// How long a page may take to show its form again, after it has loaded or changed.
  static constexpr Seconds settling{1};

  struct Host {
    /// Whether the page shows a login form now; may answer at any later time, or never.
    std::function<void(std::function<void(bool)>)> isAsking;
    std::function<void(Login)> succeeded;
  };

  /// `clock` must outlive the object.
  LoginWatch(Clock& clock, Host host) : clock_(clock), host_(std::move(host)) {}

  /// A submission replaces an earlier one; one without a password gives the name for the next.
  void submitted(Login login);

  /// The form is no longer on the page, in the same document or in a frame.
  void formGone();

  void documentChanged(PageTransition transition);
  /// `well` is false for a page that could not be loaded, or that the server calls an error.
  void loadEnded(bool well);

 private:
  enum class Phase { submitted, moving, settling };

  void settle();
  void conclude();
  void forget();

  Clock& clock_;
  Host host_;
  std::optional<Login> login_;
  std::optional<Login> named_;
  Phase phase_ = Phase::submitted;
  Timer timer_;
  std::shared_ptr<int> round_ = std::make_shared<int>(0);
};

}  // namespace vale
