#pragma once

#include "browser/SitePermissions.h"

#include <cstddef>
#include <functional>
#include <list>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vale {

/// What a site asks for at once, such as the camera together with the microphone.
struct PermissionWish {
  std::string address;  ///< of the page that asks
  std::vector<PermissionKind> kinds;
  std::string third;  ///< another site that it is about, for `storageAccess`

  bool operator==(const PermissionWish&) const = default;
};

/// The sentence that asks for it; `site` is the name of the asking site, as text.
std::string questionOf(const PermissionWish& wish, std::string_view site);

/// A few words for a kind, to stand in a list.
std::string_view nameOf(PermissionKind kind);

enum class Remembered { thisLoad, always };

/// What the site of one page asks the user for: answered from what the user has decided before, or asked, one
/// question at a time. What was answered holds for the document, so that no page can ask for the same twice.
/// Main thread only.
class PermissionQuestions {
 public:
  using Answer = std::function<void(bool allowed)>;

  /// More than these at a time are refused.
  static constexpr std::size_t mostWaiting = 8;

  /// `store` gives the permissions of the window that the page is in; null is "nothing decided".
  explicit PermissionQuestions(std::function<std::shared_ptr<SitePermissions>()> store)
      : store_(std::move(store)) {}

  /// Asks; `answer` is called once, possibly at once.
  void ask(PermissionWish wish, Answer answer);

  /// What the user is to be asked now.
  const Published<std::optional<PermissionWish>>& question() const { return question_; }

  /// The user's answer to it.
  void decide(bool allowed, Remembered remembered);

  /// The document has gone: what waits is refused, and what it was told is forgotten.
  void withdraw();

  /// What holds for a site without asking.
  PermissionDecision decision(const std::string& address, PermissionKind kind) const;

 private:
  struct Waiting {
    PermissionWish wish;
    std::vector<Answer> answers;
  };

  std::optional<bool> known(const PermissionWish& wish) const;
  void showNext();

  std::function<std::shared_ptr<SitePermissions>()> store_;
  std::list<Waiting> waiting_;
  std::map<std::string, std::map<PermissionKind, bool>> told_;  ///< by origin and third site
  Published<std::optional<PermissionWish>> question_;
};

}  // namespace vale
