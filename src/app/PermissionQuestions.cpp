#include "app/PermissionQuestions.h"

#include "common/WebAddress.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

namespace vale {

namespace {

/// A whole address stands for itself where it has no origin: what a file is told holds for that file only.
std::string subjectOf(const PermissionWish& wish) {
  auto origin = webOrigin(wish.address);
  return (origin.empty() ? wish.address : origin) + "\n" + wish.third;
}

std::string_view wishOf(PermissionKind kind) {
  switch (kind) {
  case PermissionKind::camera:
    return "use your camera";
  case PermissionKind::microphone:
    return "use your microphone";
  case PermissionKind::display:
    return "see your screen";
  case PermissionKind::location:
    return "know where you are";
  case PermissionKind::notifications:
    return "show notifications";
  case PermissionKind::clipboard:
    return "read what you copied";
  case PermissionKind::popups:
    return "open pop-up windows";
  case PermissionKind::pointerLock:
    return "hide and hold your pointer";
  case PermissionKind::deviceList:
    return "know which cameras and microphones you have";
  case PermissionKind::protectedMedia:
    return "play protected media";
  case PermissionKind::storageAccess:
    break;
  }
  return "keep cookies of its own here";
}

}  // namespace

std::string questionOf(const PermissionWish& wish, std::string_view site) {
  if (wish.kinds.size() == 1 && wish.kinds[0] == PermissionKind::storageAccess && !wish.third.empty()) {
    return fmt::format("{} wants to use its cookies and data while you are on {}.", wish.third, site);
  }
  const auto asks = [&](PermissionKind kind) {
    return std::ranges::find(wish.kinds, kind) != wish.kinds.end();
  };
  if (wish.kinds.size() == 2 && asks(PermissionKind::camera) && asks(PermissionKind::microphone)) {
    return fmt::format("{} wants to use your camera and microphone.", site);
  }
  std::string text;
  for (std::size_t i = 0; i < wish.kinds.size(); ++i) {
    if (i > 0) text += i + 1 == wish.kinds.size() ? " and to " : ", to ";
    text += wishOf(wish.kinds[i]);
  }
  return fmt::format("{} wants to {}.", site, text);
}

std::string_view nameOf(PermissionKind kind) {
  switch (kind) {
  case PermissionKind::camera:
    return "Camera";
  case PermissionKind::microphone:
    return "Microphone";
  case PermissionKind::display:
    return "Screen";
  case PermissionKind::location:
    return "Location";
  case PermissionKind::notifications:
    return "Notifications";
  case PermissionKind::clipboard:
    return "Clipboard";
  case PermissionKind::popups:
    return "Pop-up windows";
  case PermissionKind::pointerLock:
    return "Pointer lock";
  case PermissionKind::deviceList:
    return "List of devices";
  case PermissionKind::protectedMedia:
    return "Protected media";
  case PermissionKind::storageAccess:
    break;
  }
  return "Cookies of other sites";
}

PermissionDecision PermissionQuestions::decision(const std::string& address, PermissionKind kind) const {
  const auto store = store_();
  return store ? store->decision(address, kind) : PermissionDecision::ask;
}

/// One refusal refuses all that was asked together; only all that are allowed allow it.
std::optional<bool> PermissionQuestions::known(const PermissionWish& wish) const {
  const auto told = told_.find(subjectOf(wish));
  bool all = true;
  for (const auto kind : wish.kinds) {
    // Storage access concerns another site than the one whose decisions are kept.
    auto decided = wish.third.empty() ? decision(wish.address, kind) : PermissionDecision::ask;
    if (decided == PermissionDecision::ask && told != told_.end()) {
      if (const auto at = told->second.find(kind); at != told->second.end()) {
        decided = at->second ? PermissionDecision::allow : PermissionDecision::deny;
      }
    }
    if (decided == PermissionDecision::deny) return false;
    all = all && decided == PermissionDecision::allow;
  }
  return all ? std::optional(true) : std::nullopt;
}

void PermissionQuestions::ask(PermissionWish wish, Answer answer) {
  if (wish.kinds.empty()) return answer(false);
  if (const auto decided = known(wish)) return answer(*decided);
  const auto same = std::ranges::find(waiting_, wish, &Waiting::wish);
  if (same != waiting_.end()) {
    if (same->answers.size() >= mostWaiting) return answer(false);
    same->answers.push_back(std::move(answer));
    return;
  }
  if (waiting_.size() >= mostWaiting) return answer(false);
  Waiting one{.wish = std::move(wish), .answers = {}};
  one.answers.push_back(std::move(answer));
  waiting_.push_back(std::move(one));
  if (waiting_.size() == 1) showNext();
}

void PermissionQuestions::decide(bool allowed, Remembered remembered) {
  if (waiting_.empty()) return;
  const auto one = std::move(waiting_.front());
  waiting_.pop_front();
  auto& told = told_[subjectOf(one.wish)];
  const auto store = store_();
  for (const auto kind : one.wish.kinds) {
    told[kind] = allowed;
    if (store && remembered == Remembered::always && one.wish.third.empty()) {
      store->decide(one.wish.address, kind, allowed ? PermissionDecision::allow : PermissionDecision::deny);
    }
  }
  for (const auto& answer : one.answers) answer(allowed);
  showNext();
}

void PermissionQuestions::withdraw() {
  const auto gone = std::exchange(waiting_, {});
  told_.clear();
  question_.set(std::nullopt);
  for (const auto& one : gone) {
    for (const auto& answer : one.answers) answer(false);
  }
}

void PermissionQuestions::showNext() {
  // The answer to one question may be the answer to another.
  while (!waiting_.empty()) {
    const auto decided = known(waiting_.front().wish);
    if (!decided) break;
    const auto one = std::move(waiting_.front());
    waiting_.pop_front();
    for (const auto& answer : one.answers) answer(*decided);
  }
  question_.set(waiting_.empty() ? std::nullopt : std::optional(waiting_.front().wish));
}

}  // namespace vale
