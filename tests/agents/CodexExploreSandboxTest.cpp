#include "agents/AgentCommandLine.h"
#include "common/PrivateFiles.h"
#include "support/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace vale::test {
namespace {

using namespace vale::CodexExploreSandbox;
using testing::ElementsAre;
namespace fs = std::filesystem;

class CodexExploreSandbox : public testing::Test {
 protected:
  void file(const std::string& path) { PrivateFiles::write("", home / path); }
  void link(const std::string& path, const std::string& target) {
    fs::create_directories((home / path).parent_path());
    fs::create_symlink(target, home / path);
  }
  /// The roots of the executable, relative to the home folder.
  std::vector<std::string> roots(const std::string& executable) const {
    std::vector<std::string> relative;
    for (const auto& root : installRoots(home / executable, home)) {
      relative.push_back(root.lexically_relative(home).native());
    }
    return relative;
  }

  TemporaryFolder folder;
  fs::path home = folder / "home";
};

TEST_F(CodexExploreSandbox, grantsThePackagesThatHoldTheNativeExecutable) {
  const std::string scope = ".nvm/versions/node/v20/lib/node_modules/@openai/";
  file(scope + "codex/bin/codex.js");
  file(scope + "codex-linux-x64/vendor/triple/bin/codex");
  file(scope + "codex-notes/readme");
  file(scope + "codex/node_modules/@openai/codex-linux-arm64/vendor/triple/bin/codex");
  link(".nvm/versions/node/v20/bin/codex", "../lib/node_modules/@openai/codex/bin/codex.js");
  EXPECT_THAT(roots(".nvm/versions/node/v20/bin/codex"),
              ElementsAre(scope + "codex", scope + "codex/node_modules/@openai/codex-linux-arm64",
                          scope + "codex-linux-x64"));

  const std::string store = ".local/share/pnpm/global/5/.pnpm/";
  file(store + "launcher/node_modules/@openai/codex/bin/codex.js");
  file(store + "native/node_modules/@openai/codex/vendor/triple/bin/codex");
  link(store + "launcher/node_modules/@openai/codex-linux-x64", "../../../native/node_modules/@openai/codex");
  EXPECT_THAT(roots(store + "launcher/node_modules/@openai/codex/bin/codex.js"),
              ElementsAre(store + "launcher/node_modules/@openai/codex",
                          store + "native/node_modules/@openai/codex"));
}

TEST_F(CodexExploreSandbox, grantsNoMoreThanTheInstallation) {
  for (const auto* native : {"bin/codex", ".local/bin/codex", "Downloads/codex", ".ssh/tools/codex",
                             ".codex/packages/one/bin/codex", ".codex/packages/one/codex-path/rg"}) {
    file(native);
  }
  link("link/to/codex", "../../Downloads/codex");
  EXPECT_THAT(roots("bin/codex"), ElementsAre("bin"));
  EXPECT_THAT(roots(".local/bin/codex"), ElementsAre(".local/bin"));
  EXPECT_THAT(roots("link/to/codex"), ElementsAre("Downloads/codex"));
  EXPECT_THAT(roots(".ssh/tools/codex"), ElementsAre(".ssh/tools/codex"));
  EXPECT_THAT(roots(".codex/packages/one/bin/codex"),
              ElementsAre(".codex/packages/one", ".codex/packages/one/bin"));
}

TEST_F(CodexExploreSandbox, refusesWhatOpensTooMuch) {
  const std::pair<fs::path, bool> cases[] = {
      {"/", false},
      {"/opt", false},
      {"/home", false},
      {"/home/u", false},
      {"/home/u/", false},
      {"/home/u/code", false},
      {"/home/u/bin", false},
      {"/home/u/bin/x", true},
      {"relative/x", false},
      {"/home/u/x/../../u", false},
      {"/home/u/.ssh/x/y", false},
      {"/home/u/.local/share", false},
      {"/home/u/.local/bin", true},
      {"/home/u/.config/yarn/global", true},
      {"/home/u/.volta/tools", true},
      {"/home/user2/x", true},
      {"/opt/homebrew/lib", true},
      {"/usr/bin", true},
  };
  for (const auto& [root, granted] : cases) {
    EXPECT_EQ(isGrantable(root, "/home/u/", HomeBin::refused), granted) << root;
  }
  EXPECT_TRUE(isGrantable("/home/u/bin", "/home/u", HomeBin::allowed));
  EXPECT_FALSE(isGrantable("/home/u/code", "/home/u", HomeBin::allowed));
}

TEST_F(CodexExploreSandbox, namesEachRootOnceInAProfile) {
  file("tools/odd\"/codex");
  link("library", "tools/odd\"");
  EXPECT_THAT(arguments(home / "library", home / "tools/odd\"/codex", home),
              ElementsAre("-c", "default_permissions=\"vale_explore\"", "-c",
                          "permissions.vale_explore.filesystem={\":minimal\"=\"read\",\"" +
                              (home / "tools/odd").native() + "\\\"\"=\"read\"}"));
  EXPECT_EQ(tomlString("é\\\"\n\x7f/"), R"("é\\\"\u000A\u007F/")");
}

}  // namespace
}  // namespace vale::test
