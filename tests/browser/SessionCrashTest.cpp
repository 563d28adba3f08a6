#include "browser/SessionFile.h"
#include "browser/SessionGenerations.h"
#include "support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <csignal>
#include <cstdio>
#include <random>
#include <thread>

namespace vale::test {
namespace {

TEST(SessionCrashTest, aKilledWriterLeavesTheLastStateThatItWroteOrTheOneUnderWay) {
  const TemporaryFolder folder;
  std::minstd_rand random(std::random_device{}());
  int found = 0;
  for (int round = 0; round < 30; ++round) {
    FILE* output = popen(("exec " VALE_SESSION_WRITER " " + folder.path().native()).c_str(), "re");
    int pid = 0;
    ASSERT_EQ(fscanf(output, "%d", &pid), 1);
    int taken = 0;
    int written = found;
    const auto hear = [&] {
      char word[100] = "";
      int state = 0;
      if (fscanf(output, "%99s %d", word, &state) < 1) return false;
      EXPECT_TRUE(word == std::string("read") || word == std::string("taken") ||
                  word == std::string("written"))
          << word;
      EXPECT_GE(state, written);
      (*word == 't' ? taken : written) = state;
      return true;
    };
    for (auto states = 1 + random() % 8; states > 0; --states) {
      for (const int before = taken; taken == before;) ASSERT_TRUE(hear());
    }
    // Somewhere between the making of the bytes and what follows the renaming.
    std::this_thread::sleep_for(std::chrono::microseconds(random() % 4000));
    kill(pid, SIGKILL);
    while (hear()) continue;
    pclose(output);

    const auto session = SessionFile{folder / "session.json"}.read();  // throws when it is no session
    ASSERT_TRUE(session || written == 0);
    if (!session) continue;
    const auto tabs = session->restoredWindows().front().tabs;
    found = std::stoi(tabs.front().title);
    EXPECT_GE(found, written);
    EXPECT_LE(found, std::max(taken, written));
    EXPECT_EQ(tabs, std::vector(100 + std::size_t(found) % 50, tabs.front()));
  }
  EXPECT_GT(found, 30);
  // The last one may have been killed with its generation kept and the oldest not yet dropped.
  const SessionGenerations generations(folder / "Sessions");
  const auto kept = generations.list();
  EXPECT_GE(kept.size(), SessionGenerations::limit);
  EXPECT_LE(kept.size(), SessionGenerations::limit + 1);
  generations.keep(*generations.bytes(kept.front().name), kept.front().date, {});
  EXPECT_EQ(generations.list().size(), SessionGenerations::limit);
}

}  // namespace
}  // namespace vale::test
