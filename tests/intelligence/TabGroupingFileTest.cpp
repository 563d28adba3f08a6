#include "intelligence/TabGroupingFile.h"

#include "common/FileDescriptor.h"
#include "common/PrivateFiles.h"
#include "support/GroupableTabs.h"
#include "support/ManualClock.h"
#include "support/TemporaryFolder.h"
#include "support/TestQueues.h"

#include <gmock/gmock.h>

namespace vale::test {
namespace {

using testing::HasSubstr;

struct TabGroupingFileTest : testing::Test {
  TemporaryFolder folder;
  std::filesystem::path path = folder / "Intelligence" / "tab-groups.json";
  TestQueues queues;
  ManualClock clock;
  TabGroupingState state;

  std::unique_ptr<TabGroupingFile> open() {
    return std::make_unique<TabGroupingFile>(path, Surroundings{queues.main, queues.workers, clock},
                                             [this] { return state; });
  }
  std::string bytes() const { return readFile(path).value_or("none"); }
};

TEST_F(TabGroupingFileTest, aStateComesBackAsItWas) {
  state.groups = {{.id = numbered(91),
                   .name = "Trip “x”",
                   .intent = "Travel",
                   .tabIDs = tabIDs({1, 2}),
                   .source = TabGroupSource::manual,
                   .userNamed = true,
                   .comparable = false}};
  state.unassigned = tabIDs({3});
  state.placedURLs = {{numbered(1).text(), "https://s1.org"}};
  state.formerGroups = {{numbered(1).text(), numbered(91)}};
  state.hints = {
      {.key = "k", .name = "n", .urls = {"https://a.org", "https://b.org"}, .updatedAt = clock.now()}};
  state.signature = "abc";
  state.groupedAt = clock.now();
  const auto file = open();
  file->schedule();
  file->save();
  EXPECT_EQ(open()->contents(), state);
  EXPECT_THAT(bytes(),
              HasSubstr(R"("source":"manual","userNamed":true,"collapsed":false,"comparable":false)"));
  EXPECT_EQ(bytes().find("userPlaced"), std::string::npos);
  EXPECT_EQ(std::filesystem::status(path).permissions(), std::filesystem::perms(0600));
}

TEST_F(TabGroupingFileTest, theOlderLayoutIsConvertedOnce) {
  PrivateFiles::write(R"({"groups":[{"name":"Trip","tabIDs":["00000000-0000-4000-8000-000000000001"]},
                          {"id":"00000000-0000-4000-8000-000000000092","name":"None","tabIDs":[]}],
                          "groupedAt":700000000,"cachedTitles":{}})",
                      path);
  const auto file = open();
  EXPECT_FALSE(file->error().value());
  state = file->contents();
  ASSERT_EQ(state.groups.size(), 1u);
  EXPECT_EQ(state.groups[0].name + numbers(state.groups[0].tabIDs), "Trip 1");
  EXPECT_EQ(state.groupedAt, dateFromSecondsSince2001(700000000));
  clock.advance(DeferredFile::writeDelay);
  queues.runUntil([&] { return bytes().starts_with(R"({"version":2,)"); });
  EXPECT_EQ(clock.pending(), 0u);
  const auto again = open();
  EXPECT_EQ(again->contents(), state);
  EXPECT_EQ(clock.pending(), 0u) << "nothing is left to convert";
}

TEST_F(TabGroupingFileTest, whatSomebodyEditedIsMended) {
  state.groups = {{.id = numbered(91), .tabIDs = tabIDs({1, 2, 1})},
                  {.id = numbered(91), .tabIDs = tabIDs({2, 3})}};
  state.unassigned = tabIDs({3, 4, 4});
  state.placedURLs = {{"ffffffff-0000-4000-8000-000000000001", "x"}, {"x", "y"}};
  const auto mended = TabGroupingFile::decode(TabGroupingFile::encode(state)).state;
  ASSERT_EQ(mended.groups.size(), 2u);
  EXPECT_EQ(numbers(mended.groups[0].tabIDs) + "," + numbers(mended.groups[1].tabIDs), " 1 2, 3");
  EXPECT_NE(mended.groups[1].id, numbered(91));
  EXPECT_EQ(numbers(mended.unassigned), " 4");
  ASSERT_EQ(mended.placedURLs.size(), 1u);
  EXPECT_EQ(mended.placedURLs.begin()->first, "FFFFFFFF-0000-4000-8000-000000000001");
}

TEST_F(TabGroupingFileTest, aFileThatCannotBeReadIsToldOfAndNeverWritten) {
  const std::string future = R"({"version":3,"groups":[]})";
  for (const std::string& broken :
       {std::string(), std::string("[]"), std::string("{}"), std::string(R"({"version":2})"),
        std::string(R"({"groups":7})"), std::string(R"({"version":"2"})"),
        std::string(R"({"version":2,"groups":[{)"), future}) {
    PrivateFiles::write(broken, path);
    const auto file = open();
    EXPECT_EQ(file->contents(), TabGroupingState());
    ASSERT_TRUE(file->error().value()) << broken;
    EXPECT_THAT(*file->error().value(),
                HasSubstr("Could not read the tab groups. The original file is preserved."));
    EXPECT_EQ(file->error().value()->contains("A newer Vale wrote it in layout 3"), broken == future);
    file->schedule();
    clock.advance(Seconds(1));
    file->save();
    EXPECT_EQ(bytes(), broken);
  }
}

TEST_F(TabGroupingFileTest, aWriteThatFailsIsToldOfUntilOneSucceeds) {
  PrivateFiles::write("in the way", path.parent_path());
  const auto file = open();
  ASSERT_TRUE(file->error().value()) << "a folder that is none cannot be read";
  std::filesystem::remove(path.parent_path());
  const auto later = open();
  EXPECT_FALSE(later->error().value());
  PrivateFiles::write("in the way", path.parent_path());
  later->schedule();
  later->save();
  EXPECT_THAT(later->error().value().value_or(""), HasSubstr("Could not"));
  std::filesystem::remove(path.parent_path());
  later->schedule();
  clock.advance(DeferredFile::writeDelay);
  queues.runUntil([&] { return !later->error().value(); });
  EXPECT_EQ(open()->contents(), state);
}

}  // namespace
}  // namespace vale::test
