#include "browser/LoginWatch.h"

#include <utility>

namespace vale {

void LoginWatch::submitted(Login login) {
  if (login.password.empty()) {
    named_ = std::move(login);
    return;
  }
  forget();
  if (login.user.empty() && named_ && named_->origin == login.origin) login.user = named_->user;
  login_ = std::move(login);
  phase_ = Phase::submitted;
}

void LoginWatch::formGone() {
  if (login_ && phase_ != Phase::moving) settle();
}

void LoginWatch::documentChanged(PageTransition transition) {
  if (!login_) return;
  switch (transition) {
  case PageTransition::opened:
  case PageTransition::backForward:
  case PageTransition::restored:
    // The user has gone elsewhere.
    forget();
    named_.reset();
    break;
  case PageTransition::link:
  case PageTransition::form:
  case PageTransition::reload:
    timer_.cancel();
    ++*round_;
    phase_ = Phase::moving;
    break;
  }
}

void LoginWatch::loadEnded(bool well) {
  if (!login_ || phase_ != Phase::moving) return;
  if (well) {
    settle();
  } else {
    forget();
  }
}

void LoginWatch::settle() {
  phase_ = Phase::settling;
  ++*round_;
  timer_ = clock_.schedule(settling, [this] { conclude(); });
}

void LoginWatch::conclude() {
  const auto round = round_;
  host_.isAsking([this, weak = std::weak_ptr(round_), asked = *round_](bool asking) {
    const auto held = weak.lock();
    if (!held || *held != asked || !login_) return;
    auto login = std::move(*login_);
    forget();
    // After a new password many sites ask for it at once, and so does a form that was sent from elsewhere.
    if (asking && !login.isNew) return;
    named_.reset();
    host_.succeeded(std::move(login));
  });
}

void LoginWatch::forget() {
  timer_.cancel();
  ++*round_;
  login_.reset();
}

}  // namespace vale
