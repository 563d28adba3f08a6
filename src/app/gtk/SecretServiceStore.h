#pragma once

#include "app/gtk/GObjectPointer.h"
#include "browser/PasswordStore.h"

#include <gio/gio.h>

namespace vale::gtk {

/// The desktop's password service, through libsecret, always asynchronously: it may be missing, or ask its
/// user to unlock, in a dialog of its own. What runs when this goes fails. Main thread only.
class SecretServiceStore : public PasswordStore {
 public:
  SecretServiceStore();
  ~SecretServiceStore() override;

  Task<FoundLogins> find(std::optional<std::string> origin, Unlocking unlocking) override;
  Task<std::optional<Secret>> password(SavedLogin login) override;
  Task<bool> save(SavedLogin login, Secret password) override;
  Task<bool> remove(SavedLogin login) override;

 private:
  GObjectPointer<GCancellable> gone_;
};

}  // namespace vale::gtk
