#include "app/gtk/SecretServiceStore.h"

#include "app/gtk/MainLoopExecutor.h"
#include "app/gtk/WhenDone.h"

#include <gmock/gmock.h>

#include <cstdlib>

namespace vale::gtk {
namespace {

TEST(SecretServiceStoreTest, withoutAServiceEveryOperationSaysWhatToInstall) {
  setenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent", 1);
  MainLoop loop;
  const MainQueue main{Executor(MainLoopExecutor(loop))};
  SecretServiceStore store;
  std::vector<std::string> said;
  const auto note = [&](const auto& outcome) { said.push_back(outcome ? "done" : outcome.error().message); };
  const SavedLogin login{.origin = "https://a.org", .formOrigin = "https://a.org", .user = "u"};
  whenDone<FoundLogins>(main, store.find(login.origin, Unlocking::no), note);
  whenDone<std::optional<Secret>>(main, store.password(login), note);
  whenDone<bool>(main, store.save(login, Secret("p")), note);
  whenDone<bool>(main, store.remove(login), note);
  while (said.size() < 4) g_main_context_iteration(nullptr, TRUE);
  EXPECT_THAT(said, testing::Each(testing::HasSubstr("Install GNOME Keyring")));
}

}  // namespace
}  // namespace vale::gtk
