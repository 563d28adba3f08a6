#pragma once

#include "browser/PasswordStore.h"
#include "common/Error.h"

#include <algorithm>
#include <utility>
#include <vector>

namespace vale::test {

/// Passwords in memory, as the desktop's service keeps them: a problem makes every operation fail.
class FakePasswordStore : public PasswordStore {
 public:
  Task<FoundLogins> find(std::optional<std::string> origin, Unlocking unlocking) override {
    check();
    FoundLogins found{.locked = locked && unlocking == Unlocking::no};
    for (const auto& [login, password] : entries) {
      if (!found.locked && (!origin || login.origin == *origin)) found.logins.push_back(login);
    }
    co_return found;
  }
  Task<std::optional<Secret>> password(SavedLogin login) override {
    check();
    const auto at = entry(login);
    std::optional<Secret> password;
    if (at != entries.end()) password = at->second;
    co_return password;
  }
  Task<bool> save(SavedLogin login, Secret password) override {
    check();
    const auto at = entry(login);
    login.changedAt = Date(std::chrono::seconds(++changes));
    if (at != entries.end()) entries.erase(at);
    entries.emplace_back(std::move(login), std::move(password));
    co_return true;
  }
  Task<bool> remove(SavedLogin login) override {
    check();
    const auto at = entry(login);
    const bool known = at != entries.end();
    if (known) entries.erase(at);
    co_return known;
  }

  std::vector<std::pair<SavedLogin, Secret>> entries;
  std::optional<std::string> problem;
  bool locked = false;
  int changes = 0;

 private:
  void check() const {
    if (problem) throw Error(*problem);
  }
  std::vector<std::pair<SavedLogin, Secret>>::iterator entry(const SavedLogin& login) {
    return std::ranges::find_if(entries, [&](const auto& one) { return one.first.isSameAs(login); });
  }
};

}  // namespace vale::test
