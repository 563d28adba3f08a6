#include "browser/SessionGenerations.h"

#include "browser/SessionFile.h"
#include "common/PrivateFiles.h"
#include "common/SupportFolderLock.h"
#include "support/TemporaryFolder.h"

#include <gmock/gmock.h>

namespace vale::test {
namespace {

using testing::ElementsAre;

struct SessionGenerationsTest : testing::Test {
  TemporaryFolder folder;
  SessionGenerations kept{folder / "Sessions"};
  Date now = *parseISO8601("2026-11-23T01:02:03.456Z");

  std::string keep(std::size_t tabs, std::string_view spared = {}) {
    const SavedWindow window{.id = Uuid::random(), .tabs = std::vector<SavedTab>(tabs)};
    const auto bytes = SessionFile::encode({.windows = std::vector{window}});
    for (int twice = 0; twice < 2; ++twice, now += std::chrono::minutes(1)) kept.keep(bytes, now, spared);
    return bytes;
  }
  std::vector<std::size_t> tabs() const {
    std::vector<std::size_t> counts;
    for (const auto& one : kept.list()) counts.push_back(one.tabs);
    return counts;
  }
};

TEST_F(SessionGenerationsTest, fiveAreKeptAndTheFullestAlways) {
  for (const int count : {9, 1, 2, 0, 3, 4}) keep(std::size_t(count));
  EXPECT_THAT(tabs(), ElementsAre(4, 3, 2, 1, 9));
  keep(5);
  EXPECT_THAT(tabs(), ElementsAre(5, 4, 3, 2, 9));
  keep(9);  // the oldest is no longer the fullest of all
  EXPECT_THAT(tabs(), ElementsAre(9, 5, 4, 3, 2));
  keep(1, kept.list().back().name);
  EXPECT_THAT(tabs(), ElementsAre(1, 9, 5, 4, 2));
  kept.keep(SessionFile::encode({.tabs = std::vector<SavedTab>(1)}),
            Date());  // the machine's clock was reset
  EXPECT_EQ(kept.list().back().date, Date());
}

TEST_F(SessionGenerationsTest, namesAreTheTimeAndForeignOrBrokenFilesDoNoHarm) {
  const auto bytes = keep(2);
  const SessionGeneration one{"2026-11-23T01-02-03.456Z.json", *parseISO8601("2026-11-23T01:02:03.456Z"), 1,
                              2};
  EXPECT_EQ(kept.bytes(one.name), bytes);
  for (const char* bad : {"2026-11-23T01-02-04.000Z.json", "../outside.json", "notes.json"}) {
    PrivateFiles::write(*bad == '2' ? "{" : bytes, folder / "Sessions" / bad);
    EXPECT_FALSE(kept.read(bad)) << bad;
  }
  EXPECT_FALSE(kept.read("../Sessions/" + one.name));
  EXPECT_THAT(kept.list(), ElementsAre(one));
  EXPECT_THROW(kept.keep("{}", now), DecodeError);
}

TEST_F(SessionGenerationsTest, oneProgramAtATimeHoldsTheSupportFolder) {
  auto first = SupportFolderLock::tryAcquire(folder / "new");
  EXPECT_TRUE(first);
  EXPECT_FALSE(SupportFolderLock::tryAcquire(folder / "new"));
  first.reset();
  EXPECT_TRUE(SupportFolderLock::tryAcquire(folder / "new"));
  EXPECT_THROW(SupportFolderLock::tryAcquire(folder / "new/vale.lock"), FileError);
}

}  // namespace
}  // namespace vale::test
