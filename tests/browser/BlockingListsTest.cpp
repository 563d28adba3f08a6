#include "browser/BlockingLists.h"

#include "common/FileDescriptor.h"
#include "common/PrivateFiles.h"
#include "support/ManualClock.h"
#include "support/TemporaryFolder.h"
#include "support/TestQueues.h"

#include <gmock/gmock.h>

#include <filesystem>

namespace vale::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using enum BrowsingMode;

struct BlockingListsTest : testing::Test {
  TemporaryFolder folder;
  std::filesystem::path place = folder / "Blocking";
  TestQueues queues;
  ManualClock clock;
  Surroundings surroundings{queues.main, queues.workers, clock};

  std::filesystem::path fileWith(std::string_view text, const char* name = "list.txt") {
    PrivateFiles::write(text, folder / name);
    return folder / name;
  }
  std::expected<BlockingList, std::string> add(BlockingLists& lists, const std::filesystem::path& file,
                                               std::optional<Uuid> instead = {}) {
    std::optional<std::expected<BlockingList, std::string>> answer;
    const auto take = [&](auto result) { answer = std::move(result); };
    instead ? lists.replace(*instead, file, take) : lists.add(file, take);
    queues.runUntil([&] { return answer.has_value(); });
    return *answer;
  }
  std::size_t copies() const {
    return static_cast<std::size_t>(
        std::ranges::count_if(std::filesystem::directory_iterator(place),
                              [](const auto& one) { return one.path().extension() == ".txt"; }));
  }
};

TEST_F(BlockingListsTest, aListIsCopiedReplacedAndTakenAway) {
  BlockingLists lists(place, surroundings);
  const auto before = lists.key();
  const auto list = add(lists, fileWith("! Title: Mine\n||a.org^\n||b.org^$csp=x\n")).value();
  EXPECT_EQ(list.name, "Mine");
  EXPECT_EQ(list.used, 1);
  EXPECT_EQ(list.notUnderstood, 1);
  EXPECT_NE(lists.key(), before);
  const auto withList = lists.key();
  std::filesystem::remove(folder / "list.txt");
  lists.save();

  BlockingLists again(place, surroundings);
  EXPECT_EQ(again.content().value(), lists.content().value());
  EXPECT_EQ(again.key(), withList);
  again.setOwnListEnabled(false);
  auto read = again.reader()();
  ASSERT_EQ(read.size(), 1u);
  EXPECT_EQ(read[0].used(), 1u);
  again.setEnabled(list.id, false);
  EXPECT_TRUE(again.reader()().empty());
  const auto newer = add(again, fileWith("||c.org^\n||d.org^", "newer.txt"), list.id).value();
  EXPECT_EQ(newer.name, "newer");
  ASSERT_EQ(again.content().value().lists.size(), 1u);
  EXPECT_FALSE(again.content().value().lists[0].enabled);
  EXPECT_EQ(again.content().value().lists[0].used, 2);
  again.setEnabled(list.id, true);
  EXPECT_NE(again.key(), withList);
  EXPECT_EQ(copies(), 1u);
  again.remove(list.id);
  again.save();
  EXPECT_EQ(copies(), 0u);
  EXPECT_TRUE(again.content().value().lists.empty());
}

TEST_F(BlockingListsTest, whatIsNoListIsRefusedAndTheOldOneStays) {
  BlockingLists lists(place, surroundings);
  const auto list = add(lists, fileWith("||a.org^")).value();
  const auto large = fileWith("||a.org^", "large.txt");
  std::filesystem::resize_file(large, BlockingLists::largestFile + 1);
  const std::pair<std::filesystem::path, std::string> cases[] = {
      {folder / "missing.txt", "missing.txt"},
      {folder.path(), "Could not"},
      {large, "“large.txt” is larger than 32 MB"},
      {fileWith(std::string("a\0b", 3), "binary.txt"), "it is no text"},
      {fileWith(" \n<!DOCTYPE html>\nads", "page.txt"), "it is a web page"},
      {fileWith("! nothing\n", "empty.txt"), "none of its lines"}};
  for (const auto& [file, sentence] : cases) {
    EXPECT_THAT(add(lists, file).error(), HasSubstr(sentence));
    EXPECT_FALSE(add(lists, file, list.id));
  }
  EXPECT_THAT(lists.content().value().lists, ElementsAre(list));
  lists.save();
  EXPECT_EQ(copies(), 1u);
}

TEST_F(BlockingListsTest, aSiteIsExceptedWithWhatLiesBelowAndAPrivateWindowTellsNobody) {
  BlockingLists lists(place, surroundings);
  int changes = 0;
  lists.sitesChanged().connect([&] { ++changes; });
  lists.setBlocksAt("https://www.News.org:8443/x", false, ordinary);
  lists.setBlocksAt("https://news.org/", false, ordinary);
  EXPECT_EQ(changes, 1);
  for (const std::string address : {"http://news.org/", "https://www.news.org/", "https://a.b.news.org/"}) {
    EXPECT_FALSE(lists.blocksAt(address, ordinary)) << address;
    EXPECT_FALSE(lists.blocksAt(address, isPrivate)) << address;
  }
  for (const std::string address : {"https://oldnews.org/", "https://news.org.evil/", "https://www.org/"}) {
    EXPECT_TRUE(lists.blocksAt(address, ordinary)) << address;
  }
  lists.setBlocksAt("file:///x", false, ordinary);
  lists.setBlocksAt("https://secret.org/", false, isPrivate);
  lists.setBlocksAt("https://news.org/", true, isPrivate);
  EXPECT_FALSE(lists.blocksAt("https://secret.org/", isPrivate));
  EXPECT_TRUE(lists.blocksAt("https://news.org/", isPrivate));
  EXPECT_TRUE(lists.blocksAt("https://secret.org/", ordinary));
  EXPECT_THAT(lists.content().value().exceptedSites, ElementsAre("news.org"));
  lists.save();
  EXPECT_THAT(readFile(place / "blocking.json").value(), testing::Not(HasSubstr("secret")));
  lists.setBlocksAt("https://sub.news.org/", true, ordinary);
  EXPECT_TRUE(lists.blocksAt("https://news.org/", ordinary));
}

TEST_F(BlockingListsTest, aRecordThatCannotBeReadIsNeverWritten) {
  for (const std::string broken : {"", "[]", R"({"ownList":1,"lists":[],"exceptedSites":[]})"}) {
    PrivateFiles::write(broken, place / "blocking.json");
    BlockingLists lists(place, surroundings);
    EXPECT_THAT(*lists.storageError().value(), HasSubstr("The original file is preserved."));
    lists.setBlocksAt("https://a.org", false, ordinary);
    EXPECT_FALSE(lists.blocksAt("https://a.org", ordinary));
    std::optional<std::expected<BlockingList, std::string>> answer;
    lists.add(fileWith("||a.org^"), [&](auto result) { answer = std::move(result); });
    EXPECT_FALSE(answer.value());
    lists.save();
    EXPECT_EQ(readFile(place / "blocking.json").value(), broken);
  }
}

}  // namespace
}  // namespace vale::test
