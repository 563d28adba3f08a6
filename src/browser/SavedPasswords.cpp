#include "browser/SavedPasswords.h"

#include <algorithm>
#include <functional>
#include <utility>

namespace vale {

namespace {

enum class Use { form, server };

/// Leaves the accounts of an origin for one use, the latest changed first, and one per name.
void narrow(std::vector<SavedLogin>& logins, const std::string& origin, Use use, const std::string& realm) {
  std::erase_if(logins, [&](const SavedLogin& one) {
    const bool forServer = one.formOrigin.empty();
    return one.origin != origin || forServer != (use == Use::server) || one.realm != realm;
  });
  std::ranges::stable_sort(logins, std::ranges::greater(), &SavedLogin::changedAt);
  std::vector<SavedLogin> accounts;
  for (auto& login : logins) {
    if (std::ranges::find(accounts, login.user, &SavedLogin::user) == accounts.end()) {
      accounts.push_back(std::move(login));
    }
  }
  logins = std::move(accounts);
}

}  // namespace

Task<LoginOffer> SavedPasswords::offerFor(Login login) {
  LoginOffer offer{.login = std::move(login)};
  auto& asked = offer.login;
  if (asked.password.empty() || isNeverSaved(asked.origin)) co_return offer;
  auto found = co_await store_.find(asked.origin, Unlocking::no);
  narrow(found.logins, asked.origin, asked.formOrigin.empty() ? Use::server : Use::form, asked.realm);
  // A form for a new password often does not say whose it is.
  if (asked.user.empty() && asked.isNew && found.logins.size() == 1) asked.user = found.logins[0].user;
  const auto known = std::ranges::find(found.logins, asked.user, &SavedLogin::user);
  if (known == found.logins.end()) {
    offer.kind = LoginOffer::Kind::save;
    co_return offer;
  }
  // Nobody has asked for anything to be unlocked yet.
  if (found.locked) co_return offer;
  const auto password = co_await store_.password(*known);
  if (password != asked.password) offer.kind = LoginOffer::Kind::change;
  co_return offer;
}

Task<bool> SavedPasswords::save(Login login) {
  const SavedLogin saved{
      .origin = login.origin, .formOrigin = login.formOrigin, .user = login.user, .realm = login.realm};
  co_await store_.save(saved, std::move(login.password));
  // The same account with a form that was sent elsewhere: only the new one holds.
  const auto found = co_await store_.find(saved.origin, Unlocking::no);
  for (const auto& other : found.logins) {
    const bool sameUse = other.formOrigin.empty() == saved.formOrigin.empty() && other.realm == saved.realm;
    if (sameUse && other.user == saved.user && !other.isSameAs(saved)) co_await store_.remove(other);
  }
  co_return true;
}

Task<FoundLogins> SavedPasswords::accounts(std::string origin, Unlocking unlocking) {
  auto found = co_await store_.find(origin, unlocking);
  narrow(found.logins, origin, Use::form, "");
  co_return found;
}

Task<std::optional<Login>> SavedPasswords::forServer(std::string server, std::string realm) {
  auto found = co_await store_.find(server, Unlocking::ask);
  narrow(found.logins, server, Use::server, realm);
  std::optional<Login> answer;
  if (found.logins.empty()) co_return answer;
  const auto& login = found.logins.front();
  auto password = co_await store_.password(login);
  if (password) {
    answer = Login{.origin = server, .user = login.user, .realm = realm, .password = std::move(*password)};
  }
  co_return answer;
}

std::vector<std::string> SavedPasswords::neverSaved() const {
  return preferences_.strings(neverKey).value_or(std::vector<std::string>());
}

bool SavedPasswords::isNeverSaved(const std::string& origin) const {
  const auto origins = neverSaved();
  return std::ranges::find(origins, origin) != origins.end();
}

void SavedPasswords::setNeverSaved(const std::string& origin, bool never) {
  auto origins = neverSaved();
  std::erase(origins, origin);
  if (never && !origin.empty()) origins.push_back(origin);
  if (origins.empty()) return preferences_.remove(neverKey);
  preferences_.set(neverKey, encode(origins));
}

}  // namespace vale
