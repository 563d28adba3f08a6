#pragma once

#include "browser/BrowserSession.h"
#include "support/HeadlessPage.h"
#include "support/ManualClock.h"
#include "support/TemporaryFolder.h"
#include "support/TestQueues.h"

#include <gtest/gtest.h>

#include <memory>

namespace vale::test {

/// What every test of windows and tabs stands on: a session in an empty folder, and pages without an engine.
struct BrowserTest : testing::Test {
  TemporaryFolder folder;
  TestQueues queues;
  ManualClock clock;
  Preferences preferences{folder / "preferences.json", queues.main, queues.workers, clock};
  std::unique_ptr<BrowserSession> session = BrowserSession::load(
      {.supportFolder = folder.path()}, preferences, {queues.main, queues.workers, clock});
  HeadlessEngine engine;
};

}  // namespace vale::test
