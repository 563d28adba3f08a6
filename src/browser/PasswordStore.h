#pragma once

#include "browser/Secret.h"
#include "common/Date.h"
#include "common/Queues.h"

#include <optional>
#include <string>
#include <vector>

namespace vale {

/// One account whose password is kept: everything but the password. The first four tell one from another.
struct SavedLogin {
  std::string origin;  ///< of the page, "https://example.org"; of a server's own question, its host and port
  std::string formOrigin = {};  ///< where its form was sent; empty for a server's own question
  std::string user = {};        ///< may be empty
  std::string realm = {};       ///< what a server named in its own question; empty for forms
  Date createdAt = {};
  Date changedAt = {};

  bool isSameAs(const SavedLogin& other) const {
    return origin == other.origin && formOrigin == other.formOrigin && user == other.user &&
           realm == other.realm;
  }
  bool operator==(const SavedLogin&) const = default;
};

/// Whether the user may be asked to unlock what is locked: only for what the user has just asked for.
enum class Unlocking { no, ask };

struct FoundLogins {
  std::vector<SavedLogin> logins;
  bool locked = false;  ///< there may be more, behind a lock
};

/// Where passwords are kept: outside of Vale's own files, by a service of the desktop that may be missing,
/// locked, or asking its user. Operations throw Error with a sentence for the user; they may take long, and
/// the store must outlive them. Main thread only.
class PasswordStore {
 public:
  virtual ~PasswordStore() = default;

  /// The accounts of one origin, or of all.
  virtual Task<FoundLogins> find(std::optional<std::string> origin, Unlocking unlocking) = 0;

  /// None when there is no such account. Asks the user to unlock it where it is locked.
  virtual Task<std::optional<Secret>> password(SavedLogin login) = 0;

  /// Replaces the password of an account that is there already.
  virtual Task<bool> save(SavedLogin login, Secret password) = 0;

  /// False when there was no such account.
  virtual Task<bool> remove(SavedLogin login) = 0;
};

}  // namespace vale
