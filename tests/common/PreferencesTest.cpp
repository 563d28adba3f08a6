#include "common/Preferences.h"

#include "common/FileDescriptor.h"
#include "common/PrivateFiles.h"
#include "support/ManualClock.h"
#include "support/TemporaryFolder.h"
#include "support/TestQueues.h"

#include <gmock/gmock.h>

#include <fstream>
#include <thread>

namespace vale {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

class PreferencesTest : public testing::Test {
 protected:
  void put(std::string_view text) { PrivateFiles::write(text, file); }
  std::string text() const { return readFile(file).value_or(""); }
  Preferences open() { return Preferences(file, queues.main, queues.workers, clock); }

  test::TemporaryFolder folder;
  std::filesystem::path file = folder / "support/preferences.json";
  test::TestQueues queues;
  test::ManualClock clock;
};

TEST_F(PreferencesTest, keysThatDoNotFitOrAreUnknownAreKeptInOrder) {
  put(R"({"ValeSleepTabs": "yes", "unknown": {"b": [1, null], "a": -0.5}, "gone": 1, "é": true})");
  auto preferences = open();
  EXPECT_EQ(preferences.boolean("ValeSleepTabs"), std::nullopt);
  EXPECT_EQ(preferences.string("ValeSleepTabs"), "yes");
  EXPECT_EQ(preferences.strings("unknown"), std::nullopt);
  EXPECT_EQ(preferences.number("absent"), std::nullopt);
  EXPECT_EQ(preferences.boolean("é"), true);
  preferences.set("new", json::array{"x", "y"});
  preferences.remove("gone");
  preferences.set("é", false);
  EXPECT_EQ(preferences.strings("new"), (std::vector<std::string>{"x", "y"}));
  preferences.save();
  EXPECT_EQ(text(), R"({"ValeSleepTabs":"yes","unknown":{"b":[1,null],"a":-5E-1},"é":false,"new":["x","y"]})"
                    "\n");
}

TEST_F(PreferencesTest, changesAreWrittenOnceAfterTheLast) {
  auto preferences = open();
  EXPECT_EQ(preferences.readError(), std::nullopt);
  for (int i = 0; i < 5; ++i) {
    preferences.set("count", i);
    clock.advance(Preferences::writeDelay * 0.9);
  }
  EXPECT_FALSE(std::filesystem::exists(file));
  clock.advance(Preferences::writeDelay);
  queues.runUntil([&] { return text() == "{\"count\":4}\n"; });
  preferences.set("count", 5);
  clock.advance(Preferences::writeDelay);  // on its way when the newest is saved
  preferences.set("count", 6);
  preferences.save();
  EXPECT_EQ(text(), "{\"count\":6}\n");
  EXPECT_EQ(clock.pending(), 0u);
}

TEST_F(PreferencesTest, anUnreadableFileIsReportedAndNeverWritten) {
  for (const std::string bad : {"", "{\"a\": 1", "[true]", "{\"a\": \"\xFF\"}", "{} {}"}) {
    put(bad);
    auto preferences = open();
    ASSERT_TRUE(preferences.readError()) << bad;
    EXPECT_THAT(*preferences.readError(), HasSubstr("The original file is preserved. The text is not "));
    preferences.set("a", true);
    EXPECT_EQ(preferences.boolean("a"), true);
    clock.advance(Seconds(10));
    preferences.save();
    EXPECT_EQ(text(), bad);
  }
  std::filesystem::remove(file);
  std::filesystem::create_directory(file);
  EXPECT_THAT(Preferences::read(file).error().message, HasSubstr("preferences.json”: Is a directory."));
}

TEST_F(PreferencesTest, aFailedWriteIsReportedAndMadeUpFor) {
  auto preferences = open();
  int reports = 0;
  preferences.writeErrorChanged().connect([&] { ++reports; });
  preferences.set("a", false);
  clock.advance(Preferences::writeDelay);
  while (text().empty()) std::this_thread::yield();
  std::filesystem::remove_all(folder / "support");
  std::ofstream(folder / "support").put('x');  // a file where the folder should be
  preferences.set("a", true);
  preferences.save();
  queues.context.poll();  // the older write's success is heard of only now
  ASSERT_TRUE(preferences.writeError());
  EXPECT_THAT(*preferences.writeError(), HasSubstr("preferences.json”: Not a directory."));
  std::filesystem::remove(folder / "support");
  preferences.save();
  EXPECT_EQ(preferences.writeError(), std::nullopt);
  EXPECT_EQ(reports, 2);
  EXPECT_EQ(text(), "{\"a\":true}\n");
}

}  // namespace
}  // namespace vale
