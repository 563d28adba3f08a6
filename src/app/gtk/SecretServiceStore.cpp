#include "app/gtk/SecretServiceStore.h"

#include "app/gtk/Signal.h"
#include "common/Error.h"
#include "common/OneShot.h"

#include <fmt/format.h>

#include <chrono>
#include <expected>
#include <functional>
#include <libsecret/secret.h>
#include <memory>
#include <utility>

namespace vale::gtk {

namespace {

const SecretSchema schema = {"org.vale.Browser.Password",
                             SECRET_SCHEMA_NONE,
                             {{"origin", SECRET_SCHEMA_ATTRIBUTE_STRING},
                              {"form-origin", SECRET_SCHEMA_ATTRIBUTE_STRING},
                              {"user", SECRET_SCHEMA_ATTRIBUTE_STRING},
                              {"realm", SECRET_SCHEMA_ATTRIBUTE_STRING},
                              {nullptr, SECRET_SCHEMA_ATTRIBUTE_STRING}},
                             0,
                             nullptr,
                             nullptr,
                             nullptr,
                             nullptr,
                             nullptr,
                             nullptr,
                             nullptr};

using Attributes = std::unique_ptr<GHashTable, decltype(&g_hash_table_unref)>;

template <typename T> using Outcome = std::expected<T, Error>;

void put(GHashTable* table, const char* name, const std::string& value) {
  g_hash_table_insert(table, g_strdup(name), g_strdup(value.c_str()));
}

Attributes noAttributes() {
  return {g_hash_table_new_full(g_str_hash, g_str_equal, g_free, g_free), g_hash_table_unref};
}

Attributes attributesOf(const SavedLogin& login) {
  auto table = noAttributes();
  put(table.get(), "origin", login.origin);
  put(table.get(), "form-origin", login.formOrigin);
  put(table.get(), "user", login.user);
  put(table.get(), "realm", login.realm);
  return table;
}

/// What the service, or the way to it, has to say, as a sentence with what can be done.
Error sentence(const GError* error) {
  const auto is = [&](GQuark domain, int code) { return g_error_matches(error, domain, code); };
  if (!error) return Error("The password service did not answer.");
  // Also when the user has closed the service's own dialog.
  if (is(SECRET_ERROR, SECRET_ERROR_IS_LOCKED) || is(G_IO_ERROR, G_IO_ERROR_CANCELLED)) {
    return Error("The desktop’s keyring is locked. Unlock it and try again.");
  }
  // Anything else of the input and output is about the session bus.
  if (error->domain == G_IO_ERROR || is(G_DBUS_ERROR, G_DBUS_ERROR_SERVICE_UNKNOWN) ||
      is(G_DBUS_ERROR, G_DBUS_ERROR_NAME_HAS_NO_OWNER) || is(G_DBUS_ERROR, G_DBUS_ERROR_NO_SERVER) ||
      is(G_DBUS_ERROR, G_DBUS_ERROR_SPAWN_SERVICE_NOT_FOUND) ||
      is(G_DBUS_ERROR, G_DBUS_ERROR_SPAWN_EXEC_FAILED) || is(G_DBUS_ERROR, G_DBUS_ERROR_SPAWN_CHILD_EXITED) ||
      is(G_DBUS_ERROR, G_DBUS_ERROR_SPAWN_CHILD_SIGNALED)) {
    return Error("No password service runs on this desktop, so Vale cannot keep passwords. Install "
                 "GNOME Keyring (the package gnome-keyring), or switch on the Secret Service of KWallet or "
                 "KeePassXC, and log in again.");
  }
  return Error(fmt::format("The password service refused: {}", error->message));
}

/// Starts an operation of libsecret's and gives what `finish` makes of its end.
template <typename T> class Call {
 public:
  using Finish = std::function<T(GAsyncResult*, GError**)>;

  explicit Call(Finish finish) : held_(new Held{.finish = std::move(finish)}) { answer = held_->answer; }

  gpointer data() const { return held_; }
  static void done(GObject*, GAsyncResult* result, gpointer data) {
    const std::unique_ptr<Held> held(static_cast<Held*>(data));
    guardedCall("answer of the password service", [&] {
      GError* error = nullptr;
      auto value = held->finish(result, &error);
      if (error) {
        held->answer.set(std::unexpected(sentence(error)));
      } else {
        held->answer.set(std::move(value));
      }
      g_clear_error(&error);
    });
  }

  OneShot<Outcome<T>> answer;

 private:
  struct Held {
    Finish finish;
    OneShot<Outcome<T>> answer;
  };
  Held* held_;  ///< `done` deletes it
};

template <typename T> Task<T> ended(OneShot<Outcome<T>> answer) {
  auto outcome = co_await answer.wait();
  if (!outcome) throw outcome.error();
  co_return std::move(*outcome);
}

SavedLogin describe(SecretRetrievable* item) {
  const Attributes table(secret_retrievable_get_attributes(item), g_hash_table_unref);
  const auto get = [&](const char* name) {
    const auto* value = static_cast<const char*>(g_hash_table_lookup(table.get(), name));
    return std::string(value ? value : "");
  };
  const auto date = [](guint64 seconds) { return Date(std::chrono::seconds(seconds)); };
  return {.origin = get("origin"),
          .formOrigin = get("form-origin"),
          .user = get("user"),
          .realm = get("realm"),
          .createdAt = date(secret_retrievable_get_created(item)),
          .changedAt = date(secret_retrievable_get_modified(item))};
}

FoundLogins finishSearch(GAsyncResult* result, GError** error) {
  FoundLogins found;
  auto* items = secret_password_search_finish(result, error);
  for (auto* at = items; at; at = at->next) {
    if (SECRET_IS_ITEM(at->data) && secret_item_get_locked(SECRET_ITEM(at->data))) found.locked = true;
    auto login = describe(SECRET_RETRIEVABLE(at->data));
    // What is locked may not even say whose it is.
    if (!login.origin.empty()) found.logins.push_back(std::move(login));
  }
  g_list_free_full(items, g_object_unref);
  return found;
}

std::optional<Secret> finishLookup(GAsyncResult* result, GError** error) {
  const std::unique_ptr<char, decltype(&secret_password_free)> text(
      secret_password_lookup_finish(result, error), secret_password_free);
  return text ? std::optional(Secret(text.get())) : std::nullopt;
}

SecretSearchFlags flagsFor(Unlocking unlocking) {
  const int unlock = unlocking == Unlocking::ask ? SECRET_SEARCH_UNLOCK : SECRET_SEARCH_NONE;
  return static_cast<SecretSearchFlags>(SECRET_SEARCH_ALL | unlock);
}

}  // namespace

SecretServiceStore::SecretServiceStore() : gone_(GObjectPointer<GCancellable>::adopt(g_cancellable_new())) {}

SecretServiceStore::~SecretServiceStore() { g_cancellable_cancel(gone_.get()); }

Task<FoundLogins> SecretServiceStore::find(std::optional<std::string> origin, Unlocking unlocking) {
  const auto table = noAttributes();
  if (origin) put(table.get(), "origin", *origin);
  const Call<FoundLogins> call(finishSearch);
  secret_password_searchv(&schema, table.get(), flagsFor(unlocking), gone_.get(), &call.done, call.data());
  return ended(call.answer);
}

Task<std::optional<Secret>> SecretServiceStore::password(SavedLogin login) {
  const auto table = attributesOf(login);
  const Call<std::optional<Secret>> call(finishLookup);
  secret_password_lookupv(&schema, table.get(), gone_.get(), &call.done, call.data());
  return ended(call.answer);
}

Task<bool> SecretServiceStore::save(SavedLogin login, Secret password) {
  const auto table = attributesOf(login);
  const auto label = login.user.empty() ? fmt::format("Vale: {}", login.origin)
                                        : fmt::format("Vale: {} at {}", login.user, login.origin);
  const Call<bool> call(
      [](GAsyncResult* result, GError** error) { return bool(secret_password_store_finish(result, error)); });
  secret_password_storev(&schema, table.get(), SECRET_COLLECTION_DEFAULT, label.c_str(),
                         password.text().c_str(), gone_.get(), &call.done, call.data());
  return ended(call.answer);
}

Task<bool> SecretServiceStore::remove(SavedLogin login) {
  const auto table = attributesOf(login);
  const Call<bool> call(
      [](GAsyncResult* result, GError** error) { return bool(secret_password_clear_finish(result, error)); });
  secret_password_clearv(&schema, table.get(), gone_.get(), &call.done, call.data());
  return ended(call.answer);
}

}  // namespace vale::gtk
