#include "common/SupportFolder.h"

#include "support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <pwd.h>
#include <unistd.h>

namespace vale {
namespace {

TEST(SupportFolder, theEnvironmentDecidesAndTheTestsAreUnbundled) {
  const std::string home = getpwuid(getuid())->pw_dir;
  const std::pair<std::map<std::string, std::string>, std::filesystem::path> cases[] = {
      {{{"VALE_SUPPORT", "s"}, {"XDG_DATA_HOME", "/x"}}, std::filesystem::current_path() / "s"},
      {{{"VALE_SUPPORT", ""}, {"XDG_DATA_HOME", "/x"}, {"HOME", "/h"}}, "/x/Vale-unbundled"},
      {{{"XDG_DATA_HOME", "relative"}, {"HOME", "/h"}}, "/h/.local/share/Vale-unbundled"},
      {{{"XDG_DATA_HOME", ""}, {"HOME", ""}}, home + "/.local/share/Vale-unbundled"},
      {{{"HOME", "relative"}}, home + "/.local/share/Vale-unbundled"}};
  for (const auto& [values, expected] : cases) {
    const auto environment = [&values = values](const std::string& name) {
      return values.contains(name) ? std::optional(values.at(name)) : std::nullopt;
    };
    EXPECT_EQ(supportFolder(environment), expected);
  }
}

}  // namespace
}  // namespace vale
