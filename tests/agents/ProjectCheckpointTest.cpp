#include "agents/FileRestoration.h"
#include "agents/ProjectCheckpoints.h"
#include "support/CheckpointProject.h"
#include "support/TestQueues.h"

#include <gmock/gmock.h>

#include <functional>

namespace vale::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Pair;
using testing::UnorderedElementsAre;

using ProjectCheckpointTest = CheckpointProject;

/// A turn as the user sees it: from the files before it to those after it.
struct Turn {
  const char* name;
  std::function<void(const CheckpointProject&)> work;
  std::map<std::string, FileChangeKind> kinds;
};

const std::string weird = "new\nline % \xFF\xFE \"q\"";

const std::vector<Turn> turns{
    {"written, made executable and linked elsewhere",
     [](const auto& test) {
       test.write("text", "one\n2\nthree\n");
       test.write("src/deep/new/file", "");
       test.write("binary", std::string("\0\1\2\3", 4));
       ::chmod((test.project / "src/a").c_str(), 0755);
       ::chmod((test.project / "tool").c_str(), 0600);
       test.link("/etc", "link");
       test.link("../outside", "src/b/c");
       fs::remove(test.project / "dangling");
       test.write("dangling", "a file now");
     },
     {{"binary", FileChangeKind::modified},
      {"dangling", FileChangeKind::typeChanged},
      {"link", FileChangeKind::modified},
      {"src/a", FileChangeKind::modeChanged},
      {"src/b/c", FileChangeKind::typeChanged},
      {"src/deep/new/file", FileChangeKind::added},
      {"text", FileChangeKind::modified},
      {"tool", FileChangeKind::modeChanged}}},
    {"deleted",
     [](const auto& test) {
       fs::remove_all(test.project / "src");
       fs::remove(test.project / "link");
       fs::remove(test.project / weird);
     },
     {{"link", FileChangeKind::deleted},
      {"src/a", FileChangeKind::deleted},
      {"src/b/c", FileChangeKind::deleted},
      {weird, FileChangeKind::deleted}}},
    {"renamed",
     [](const auto& test) {
       fs::rename(test.project / "text", test.project / "renamed");
       fs::rename(test.project / "src", test.project / "lib");
     },
     {{"lib/a", FileChangeKind::added},
      {"lib/b/c", FileChangeKind::added},
      {"renamed", FileChangeKind::added},
      {"src/a", FileChangeKind::deleted},
      {"src/b/c", FileChangeKind::deleted},
      {"text", FileChangeKind::deleted}}},
    {"a folder for a file and a file for a folder",
     [](const auto& test) {
       fs::remove(test.project / "text");
       test.write("text/inside", "x");
       fs::remove_all(test.project / "src");
       test.link("/etc", "src");
     },
     {{"src", FileChangeKind::added},
      {"src/a", FileChangeKind::deleted},
      {"src/b/c", FileChangeKind::deleted},
      {"text", FileChangeKind::deleted},
      {"text/inside", FileChangeKind::added}}},
    {"nothing but the dates",
     [](const auto& test) {
       test.write("text", test.read("text"));
       test.write("untracked", "u");
     },
     {}},
};

void fillProject(const CheckpointProject& test) {
  test.write("text", "one\ntwo\nthree\n");
  test.write("src/a", "a");
  test.write("src/b/c", "c");
  test.write("tool", "#!/bin/sh\n", 0755);
  test.write("binary", std::string("\0\1\2", 3));
  test.write(weird, "w");
  test.link("src/a", "link");
  test.link("nowhere", "dangling");
}

/// Where a project may stand.
struct Place {
  const char* name;
  std::function<void(CheckpointProject&)> make;
};

const std::vector<Place> places{
    {"a folder", [](auto& test) { fillProject(test); }},
    {"a repository without commits",
     [](auto& test) {
       test.git({"init", "--quiet"});
       fillProject(test);
     }},
    {"a repository",
     [](auto& test) {
       test.git({"init", "--quiet"});
       fillProject(test);
       test.commitAll();
     }},
    {"a part of a repository with another hash, under a name that git quotes",
     [](auto& test) {
       const auto top = test.folder / "a:b \"c\"";
       fs::create_directories(top);
       test.git({"init", "--quiet", "--object-format=sha256"}, top);
       test.project = top / "part";
       fillProject(test);
       test.commitAll();
       test.write("text", "one\n");
     }},
    {"a linked work tree with changes that are not committed",
     [](auto& test) {
       test.git({"init", "--quiet"});
       fillProject(test);
       test.commitAll();
       test.git({"worktree", "add", "--quiet", (test.folder / "tree").native()});
       test.project = test.folder / "tree";
       test.write("src/a", "changed, and staged");
       test.git({"add", "src/a"});
       test.write("tool", "changed", 0700);
       fs::remove(test.project / "src/b/c");
       test.write("src/b/c", "d");
     }},
};

TEST_F(ProjectCheckpointTest, whatATurnDidIsToldUndoneAndDoneAgain) {
  int number = 0;
  for (const auto& place : places) {
    for (const auto& step : turns) {
      SCOPED_TRACE(std::string(place.name) + ": " + step.name);
      ++number;
      project = folder / ("project " + std::to_string(number));
      fs::remove_all(folder / "tree");
      fs::remove_all(folder / "a:b \"c\"");
      fs::create_directories(project);
      turn = Uuid::random();
      place.make(*this);
      write("untracked", "u");
      const auto before = census(project);
      take();
      step.work(*this);
      const auto after = census(project);
      store().seal(turn);
      EXPECT_EQ(kinds(turn), step.kinds);
      EXPECT_EQ(store().canUndo(turn), !step.kinds.empty());

      const auto undone = store().undo(turn);
      EXPECT_THAT(undone.refused, IsEmpty());
      EXPECT_EQ(undone.restored.size(), step.kinds.size());
      EXPECT_EQ(census(project), before);
      EXPECT_EQ(store().changes(turn).undoneBy, undone.redo);
      if (!undone.redo) continue;
      EXPECT_THAT(store().undo(*undone.redo).refused, IsEmpty());
      EXPECT_EQ(census(project), after);
      EXPECT_EQ(store().changes(turn).undoneBy, std::nullopt);
    }
  }
}

TEST_F(ProjectCheckpointTest, aDiffIsToldInBoundsAndFitForShowing) {
  git({"init", "--quiet"});
  write("text", "one\ntwo\n");
  write("latin", "caf\xE9\n");
  write("gone", "x\ny");
  write("big", "b");
  commitAll();
  take();
  write("text", "one\n2\nthree\n");
  write("latin", "caf\xE9s\n");
  fs::remove(project / "gone");
  write("bi\nnary", std::string("\0", 1));
  write("big", std::string(1'000'001, 'b'));
  write("long", std::string(60'000, '\n'));
  store({.diffBytes = 1'000}).seal(turn);

  const auto text = change("text");
  EXPECT_EQ(text.diff, "--- a/text\n+++ b/text\n@@ -1,2 +1,3 @@\n one\n-two\n+2\n+three\n");
  EXPECT_EQ(text.additions, 2);
  EXPECT_EQ(text.deletions, 1);
  EXPECT_THAT(change("latin").diff.value_or(""), HasSubstr("-caf\uFFFD\n+caf\uFFFDs\n"));
  EXPECT_EQ(change("gone").diff,
            "--- a/gone\n+++ /dev/null\n@@ -1,2 +0,0 @@\n-x\n-y\n\\ No newline at end of file\n");
  EXPECT_TRUE(change("bi\nnary").binary);
  EXPECT_EQ(change("bi\nnary").diff, std::nullopt);
  EXPECT_EQ(change("big").diff, std::nullopt);
  for (const auto& found : store({.diffBytes = 1'000}).changes(turn).files) {
    if (found.path != "long") continue;
    EXPECT_EQ(found.additions, 60'000);
    EXPECT_TRUE(found.diffCut);
    EXPECT_LE(found.diff.value_or("").size(), 1'000);
    EXPECT_TRUE(found.diff.value_or("").ends_with("\n+\n"));
  }
}

TEST_F(ProjectCheckpointTest, whatTheUserWroteAfterTheTurnStays) {
  write("a", "a");
  write("b", "b");
  write("c", "c");
  take();
  for (const auto* path : {"a", "b", "c", "new", "newer"}) write(path, "agent");
  store().seal(turn);
  write("a", "user");
  fs::remove(project / "b");
  write("newer", "user");
  const auto result = store().undo(turn);
  EXPECT_THAT(result.restored, ElementsAre("c", "new"));
  EXPECT_THAT(
      result.refused,
      ElementsAre(UndoRefusal{"a", "“a” has changed since the turn ended, so undo leaves it as it is."},
                  testing::_, testing::_));
  EXPECT_THAT(census(project),
              UnorderedElementsAre(Pair("a", "420 user"), Pair("c", "420 c"), Pair("newer", "420 user")));
}

TEST_F(ProjectCheckpointTest, aTurnIsUndoneFileByFileWithOneWayBack) {
  write("a", "a");
  write("b", "b");
  take();
  write("a", "agent");
  write("b", "agent");
  store().seal(turn);
  const auto first = store().undo(turn, {{"a", "../b", "other"}});
  EXPECT_THAT(first.restored, ElementsAre("a"));
  EXPECT_THAT(first.refused, ElementsAre(UndoRefusal{"../b", "“../b” was not changed by this turn."},
                                         UndoRefusal{"other", "“other” was not changed by this turn."}));
  EXPECT_EQ(read("b"), "agent");
  const auto second = store().undo(turn, {{"b"}});
  EXPECT_EQ(second.redo, first.redo);
  EXPECT_EQ(read("a") + read("b"), "ab");
  store().undo(*second.redo);
  EXPECT_EQ(read("a") + read("b"), "agentagent");
  EXPECT_THAT(store().undo(turn).restored, ElementsAre("a", "b"));
}

TEST_F(ProjectCheckpointTest, aFileWrittenWhileItIsPutBackIsNotLost) {
  write("a", "agent");
  ProjectFolder open(project);
  const auto seen = open.find("a");
  ASSERT_TRUE(seen);
  write("a", "the user, just now");
  FileRestoration restoration(open);
  const FileState wanted{.mode = plainMode};
  const auto changed = FileRestoration::changedSince("a");
  EXPECT_EQ(restoration.put("a", wanted, "before", *seen), changed);
  EXPECT_EQ(restoration.put("a", wanted, "before", std::nullopt), changed);
  EXPECT_EQ(restoration.remove("a", *seen), changed);
  EXPECT_THAT(census(project), ElementsAre(Pair("a", "420 the user, just now")));
}
TEST_F(ProjectCheckpointTest, theMainThreadOnlyWaitsForAnswers) {
  TestQueues queues;
  ProjectCheckpoints checkpoints(folder / "Checkpoints", environment, queues.workers);
  write("a", "a");
  EXPECT_EQ(queues.run(checkpoints.take(turn, project)), std::nullopt);
  write("a", "agent");
  EXPECT_EQ(queues.run(checkpoints.seal(turn)), std::nullopt);
  EXPECT_EQ(queues.run(checkpoints.changes(turn)).files.size(), 1);
  EXPECT_THAT(queues.run(checkpoints.undo(turn)).restored, ElementsAre("a"));
  checkpoints.remove({turn});
  EXPECT_FALSE(queues.run(checkpoints.canUndo(turn)));
  EXPECT_THAT(queues.run(checkpoints.take(turn, folder / "none")).value_or(""), HasSubstr("No such file"));
}
}  // namespace
}  // namespace vale::test
