#pragma once

#include "browser/LoginForm.h"
#include "browser/PasswordStore.h"
#include "common/Preferences.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vale {

/// What the user is asked after a login.
struct LoginOffer {
  enum class Kind { nothing, save, change };

  Kind kind = Kind::nothing;
  Login login;  ///< with the name that it is to be saved under
};

/// Decides which passwords are offered to be saved, under which name, and which accounts a form is offered.
/// The sites for which nothing is to be saved are a setting. Both must outlive the object and its operations.
/// Main thread only.
class SavedPasswords {
 public:
  /// The setting: a list of origins.
  static constexpr std::string_view neverKey = "ValeNeverSavePasswords";

  SavedPasswords(PasswordStore& store, Preferences& preferences) : store_(store), preferences_(preferences) {}
  SavedPasswords(const SavedPasswords&) = delete;
  SavedPasswords& operator=(const SavedPasswords&) = delete;

  PasswordStore& store() const { return store_; }

  /// Nothing for what is saved already, or is never to be. Throws Error when the store cannot tell.
  Task<LoginOffer> offerFor(Login login);

  /// Saves it in place of what was saved for the same user at the same origin.
  Task<bool> save(Login login);

  /// The accounts for a form of this origin, the latest changed first; one per name.
  Task<FoundLogins> accounts(std::string origin, Unlocking unlocking);

  /// What answers a server's own question, the latest saved; none when nothing does.
  Task<std::optional<Login>> forServer(std::string server, std::string realm);

  std::vector<std::string> neverSaved() const;
  void setNeverSaved(const std::string& origin, bool never);

 private:
  bool isNeverSaved(const std::string& origin) const;

  PasswordStore& store_;
  Preferences& preferences_;
};

}  // namespace vale
