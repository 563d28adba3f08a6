#include "app/AddressSuggestions.h"

#include "support/HeadlessPage.h"
#include "support/ManualClock.h"
#include "support/TemporaryFolder.h"
#include "support/TestQueues.h"

#include <fmt/format.h>
#include <gmock/gmock.h>

namespace vale {
namespace {

const AddressInput input("/home/user");

TEST(AddressSuggestions, beginWithWhatEnterDoesAndListEachPageOnce) {
  const AddressIndex visited({{"https://a.org/", "Cats", 9},
                              {"https://b.org/cats", "", 5},
                              {"https://me@c.org/cats", "Two\u2028cats"}});
  const AddressIndex bookmarks({{"https://b.org/cats/", "Kept"}, {"https://d.org/", "New cats"}});
  const std::vector<OpenTab> tabs{{{}, "Cats", "https://a.org/#x"}, {{}, "Dogs", "https://dogs.org"}};
  // Each row by the first letter of its kind, and its texts, "[" where the match begins.
  const std::vector<std::pair<std::string, std::string>> cases = {
      {" ", ""},
      {"javascript:cats", ""},
      {"cats", "s cats|Search the web, o [Cats|a.org/#x, b b.org/[cats|, p Two cats|c.org/[cats, b New "
               "[cats|d.org, "},
      {"b.org/cats", "a b.org/cats|, s b.org/cats|Search the web, "},
      {"dogs.org", "a dogs.org|, o Dogs|[dogs.org, s dogs.org|Search the web, "}};
  for (const auto& [typed, expected] : cases) {
    std::string rows;
    for (auto& one : addressSuggestions(typed, {visited, bookmarks, tabs, input}, 5)) {
      if (!one.inTitle.empty()) one.title.insert(one.inTitle[0].begin, "[");
      if (!one.inAddress.empty()) one.shownAddress.insert(one.inAddress[0].begin, "[");
      rows += fmt::format("{} {}|{}, ", "opbsa"[int(one.kind)], one.title, one.shownAddress);
    }
    EXPECT_EQ(rows, expected);
  }
}

TEST(AddressSuggestions, endWithTheQuestionToAnAgentWhateverWasTyped) {
  const AddressIndex none{std::vector<AddressIndexRow>()};
  const std::vector<OpenTab> tabs;
  const std::string longest(4'096, 'x');
  for (const auto& typed : {std::string(" add soup "), std::string("soup.org/a"), longest}) {
    const auto rows = addressSuggestions(typed, {none, none, tabs, input, true}, 2);
    EXPECT_EQ(rows.back().kind, AddressSuggestion::Kind::agent);
    EXPECT_EQ(rows.back().address, typed);
    EXPECT_TRUE(rows.back().title.starts_with("Ask an agent: ")) << rows.back().title;
    EXPECT_LT(rows.back().title.size(), 400U);
  }
  EXPECT_TRUE(addressSuggestions("  ", {none, none, tabs, input, true}, 2).empty());
}

TEST(AddressSuggestions, offerNoPrivateTabElsewhere) {
  test::TemporaryFolder folder;
  test::TestQueues queues;
  test::ManualClock clock;
  Preferences preferences{folder / "preferences.json", queues.main, queues.workers, clock};
  const auto session = BrowserSession::load({.supportFolder = folder.path()}, preferences,
                                            {queues.main, queues.workers, clock});
  test::HeadlessEngine engine;
  std::vector<std::shared_ptr<BrowserModel>> windows;
  for (const auto mode : {BrowsingMode::ordinary, BrowsingMode::isPrivate, BrowsingMode::isPrivate}) {
    windows.push_back(std::make_shared<BrowserModel>(Uuid::random(), *session, engine, mode));
    for (const auto* name : {"https://hidden{}", "https://selected{}"})
      windows.back()->open(fmt::format(fmt::runtime(name), windows.size()), {});
  }
  std::vector<std::string> offered(2);
  for (const std::size_t asking : {0, 1})
    for (const auto& tab : openTabs(windows, *windows[asking]))
      offered[asking] += tab.address.substr(8) + " ";
  EXPECT_THAT(offered, testing::ElementsAre("hidden1 ", "hidden1 selected1 hidden2 "));
}

}  // namespace
}  // namespace vale
