#include "support/CheckpointProject.h"
#include "support/Program.h"

#include <gmock/gmock.h>

#include <array>
#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

namespace vale::test {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

using ProjectCheckpointFaultsTest = CheckpointProject;

TEST_F(ProjectCheckpointFaultsTest, nothingThatARepositoryNamesIsRunAndNothingOfItChanges) {
  git({"init", "--quiet"});
  const auto trap =
      writeProgram(folder / "trap", "touch '" + (folder / "sprung").native() + "'; cat").native();
  write(".gitattributes", "*.txt filter=f diff=f text eol=crlf\n*.id ident\n*.bin filter=lfs\n");
  write("a.txt", "one\r\ntwo\r\n");
  write("b.id", "$Id$\n");
  write(".gitignore", "ignored\n");
  write("ignored/x", "x");
  commitAll();
  for (const auto* key :
       {"core.fsmonitor", "core.sshCommand", "filter.f.clean", "filter.f.smudge", "filter.f.process",
        "diff.f.textconv", "diff.external", "core.pager", "remote.o.uploadpack", "alias.ls-files"}) {
    git({"config", key, trap});
  }
  for (const auto* hook : {"post-index-change", "post-checkout", "pre-commit", "fsmonitor-watchman"}) {
    fs::copy_file(trap, project / ".git/hooks" / hook);
  }
  // Objects that are not there would have to be fetched.
  git({"config", "remote.o.url", project.native()});
  git({"config", "remote.o.promisor", "true"});
  git({"config", "extensions.partialClone", "o"});
  for (const auto& object : {git({"rev-parse", "HEAD:.gitignore"}), git({"rev-parse", "HEAD^{tree}"})}) {
    fs::remove(project / ".git/objects" / object.substr(0, 2) / object.substr(2, object.size() - 3));
  }
  fs::remove(folder / "sprung");
  const auto repository = census(project / ".git", true);
  const auto files = census(project);
  take();
  write("a.txt", "one\r\n");
  fs::remove(project / "b.id");
  fs::remove(project / ".gitignore");
  store().seal(turn);
  EXPECT_THAT(store().undo(turn).refused, IsEmpty());
  EXPECT_EQ(census(project), files);
  EXPECT_EQ(census(project / ".git", true), repository);
  EXPECT_FALSE(fs::exists(folder / "sprung"));
  git({"hash-object", "--path=a.txt", "a.txt"});
  EXPECT_TRUE(fs::exists(folder / "sprung")) << "the trap was none";
}

TEST_F(ProjectCheckpointFaultsTest, whatGitIgnoredBeforeIsNeverTakenForNew) {
  git({"init", "--quiet"});
  write(".gitignore", "out/\n");
  write("out/built", "b");
  write("out/other", "o");
  settle();
  take();
  fs::remove(project / ".gitignore");
  write("out/other", "agent");
  write("out/new", "n");
  store().seal(turn);
  EXPECT_EQ(kinds(turn), (std::map<std::string, FileChangeKind>{{".gitignore", FileChangeKind::deleted},
                                                                {"out/new", FileChangeKind::added},
                                                                {"out/other", FileChangeKind::modified}}));
  const auto result = store().undo(turn);
  EXPECT_THAT(result.refused,
              ElementsAre(UndoRefusal{"out/other", "“out/other” was not kept before the turn, so undo "
                                                   "cannot put it back."}));
  EXPECT_EQ(read("out/built") + read("out/other") + read(".gitignore"), "bagentout/\n");
  EXPECT_FALSE(fs::exists(project / "out/new"));
}

TEST_F(ProjectCheckpointFaultsTest, whatIsNotKeptIsSaidAndLeftAlone) {
  git({"init", "--quiet"});
  commitAll();
  write("nested/file", "n");
  git({"init", "--quiet"}, project / "nested");
  git({"add", "file"}, project / "nested");
  git({"commit", "--quiet", "--message", "A step"}, project / "nested");
  git({"submodule", "--quiet", "add", "--force", (project / "nested").native(), "module"});
  write("huge", std::string(2'000'000, 'h'));
  ASSERT_EQ(::mkfifo((project / "pipe").c_str(), 0600), 0);
  auto small = store({.largestFile = 1'000'000});
  ASSERT_TRUE(small.take(turn, project));
  write("nested/file", "agent");
  write("module/file", "agent");
  write("huge", std::string(2'000'001, 'i'));
  small.seal(turn);
  EXPECT_EQ(kinds(turn), (std::map<std::string, FileChangeKind>{{"huge", FileChangeKind::modified}}));
  EXPECT_THAT(small.changes(turn).notes, ElementsAre("Files that git ignores are not kept for undo.",
                                                     "“huge” is not kept for undo: it is larger than 1 MB.",
                                                     HasSubstr("repository of its own")));
  EXPECT_EQ(small.undo(turn).refused.size(), 1);
  EXPECT_EQ(read("nested/file") + read("module/file"), "agentagent");
  EXPECT_EQ(small.undo(turn).redo, std::nullopt);
}

TEST_F(ProjectCheckpointFaultsTest, aTurnThatCannotBeUndoneSaysWhy) {
  write("a", "aa");
  write("b", "b");
  const auto reason = [&](CheckpointLimits limits) {
    return store(limits).take(turn, project).error().message;
  };
  EXPECT_EQ(reason({.listedFiles = 1}), "“project” holds more than 1 files, so this turn cannot be undone.");
  EXPECT_THAT(reason({.copiedFiles = 1}), HasSubstr("more than 1 files or 200 MB to copy"));
  EXPECT_THAT(reason({.copiedBytes = 2}), HasSubstr("to copy"));
  EXPECT_THAT(reason({.takingTime = Seconds(0)}), HasSubstr("in time"));
  git({"init", "--quiet", "--bare", "."});
  EXPECT_EQ(reason({}), "“project” is a bare repository, without files that could be kept.");
  fs::remove_all(project);
  EXPECT_THAT(reason({}), HasSubstr("No such file"));
  EXPECT_FALSE(store().canUndo(turn));
  EXPECT_THROW(store().seal(turn), Error);
  EXPECT_THROW(store().undo(turn), Error);
  EXPECT_THROW(store().changes(turn), Error);
}

TEST_F(ProjectCheckpointFaultsTest, aCommitOfTheTurnStaysAndARepositoryThatIsGoneIsNoHarm) {
  git({"init", "--quiet"});
  write("a", "a");
  write("b", "b");
  commitAll();
  take();
  write("a", "agent");
  commitAll();
  store().seal(turn);
  EXPECT_THAT(store().changes(turn).notes, Contains(HasSubstr("leaves commits as they are")));
  fs::remove_all(project / ".git");
  EXPECT_THAT(store().undo(turn).restored, ElementsAre("a"));
  EXPECT_EQ(read("a"), "a");

  git({"init", "--quiet"});
  commitAll();
  turn = Uuid::random();
  take();
  fs::remove_all(project / ".git");
  write("b", "agent");
  store().seal(turn);
  EXPECT_THAT(store().undo(turn).refused, testing::SizeIs(1));
  EXPECT_EQ(read("b"), "agent");
}

TEST_F(ProjectCheckpointFaultsTest, nothingOutsideOfTheProjectIsReached) {
  fs::create_directories(folder / "outside");
  write("in/a", "a");
  write("../outside/a", "mine");
  take();
  fs::remove_all(project / "in");
  link((folder / "outside").native(), "in");
  store().seal(turn);
  EXPECT_THAT(store().undo(turn, {{"in/a"}}).refused, testing::SizeIs(1));
  EXPECT_EQ(read("../outside/a"), "mine");
  ProjectFolder open(project);
  for (const auto* path :
       {"in/a", "../outside/a", "/etc/passwd", "", "a//b", "./a", ".git/config", "x/.git"}) {
    EXPECT_FALSE(open.find(path)) << path;
  }
}

TEST_F(ProjectCheckpointFaultsTest, filesWithoutPermissionAreLeftAlone) {
  if (::geteuid() == 0) GTEST_SKIP() << "nothing is forbidden to root";
  write("secret", "s", 0000);
  write("locked/a", "a");
  take();
  EXPECT_THAT(store().take(turn, project),
              testing::Truly([](const auto& taken) { return taken.has_value(); }));
  write("locked/a", "agent");
  fs::permissions(project / "locked", fs::perms::owner_read | fs::perms::owner_exec);
  store().seal(turn);
  const auto result = store().undo(turn);
  fs::permissions(project / "locked", fs::perms::owner_all);
  EXPECT_THAT(result.refused,
              ElementsAre(UndoRefusal{"locked/a", "“locked/a” could not be put back: Permission denied."}));
  EXPECT_EQ(read("locked/a"), "agent");
  EXPECT_THAT(store().changes(turn).notes, ElementsAre("“secret” is not kept for undo: it is not readable."));
}

TEST_F(ProjectCheckpointFaultsTest, anUndoThatIsKilledHasWholeFilesAndIsFinishedByAnother) {
  constexpr int count = 60;
  const auto path = [](int number) { return "f/" + std::to_string(1'000 + number); };
  const std::string before(5'000, 'b');
  const std::string after(7'000, 'a');
  for (int i = 0; i < count; ++i) write(path(i), before);
  take();
  for (int i = 0; i < count; ++i) write(path(i), after);
  store().seal(turn);
  const auto child = ::fork();
  if (child == 0) {
    store().undo(turn);
    ::_exit(0);
  }
  while (read(path(3)) != before) {
  }
  ::kill(child, SIGKILL);
  ::waitpid(child, nullptr, 0);
  for (int i = 0; i < count; ++i) {
    const auto bytes = read(path(i));
    ASSERT_TRUE(bytes == before || bytes == after) << i;
  }
  const auto finished = store().undo(turn);
  EXPECT_EQ(finished.restored.size(), std::size_t(count));
  for (int i = 0; i < count; ++i) ASSERT_EQ(read(path(i)), before);
}

TEST_F(ProjectCheckpointFaultsTest, whatIsOldOrTooMuchGoesButNotWhatIsInUse) {
  const auto day = Seconds(24.0 * 60 * 60);
  const Date today = std::chrono::system_clock::now();
  std::vector<Uuid> ids;
  for (int i = 0; i < 4; ++i) {
    write("a", std::string(100'000, char('a' + i)));
    ids.push_back(turn = Uuid::random());
    take();
    if (i == 3) break;
    write("a", "agent " + std::to_string(i));
    store().seal(turn);
  }
  const auto left = [&] {
    std::string text;
    for (const auto& id : ids) text += fs::exists(folder / "Checkpoints" / (id.text() + ".json")) ? '1' : '0';
    return text;
  };
  const auto bytes = [&] {
    std::uintmax_t size = 0;
    for (const auto& entry : fs::recursive_directory_iterator(folder / "Checkpoints/Objects")) {
      if (entry.is_regular_file()) size += entry.file_size();
    }
    return size;
  };
  store().prune(today, {});
  EXPECT_EQ(left(), "1111");
  store({.storedBytes = 250'000}).prune(today, {ids[0]});
  EXPECT_EQ(left(), "1001");
  EXPECT_LE(bytes(), 250'000);
  EXPECT_THAT(store().undo(ids[0]).refused, testing::SizeIs(1));
  store().prune(today + 31 * day, {ids[3]});
  EXPECT_EQ(left(), "0001");
  store().seal(ids[3]);
  EXPECT_TRUE(kinds(ids[3]).empty());
  store().remove({ids[3]});
  store().prune(today, {});
  EXPECT_EQ(bytes(), 0);
}

TEST_F(ProjectCheckpointFaultsTest, aSecondLookReadsOnlyWhatWasTouched) {
  write("a", "a");
  write("b", "b");
  for (const auto* path : {"a", "b"}) {
    // Long settled.
    const std::array<timespec, 2> times{timespec{1'000'000, 0}, timespec{1'000'000, 0}};
    ::utimensat(AT_FDCWD, (project / path).c_str(), times.data(), 0);
  }
  take();
  store().seal(turn);
  write("a", "A");
  const std::array<timespec, 2> times{timespec{1'000'000, 0}, timespec{1'000'000, 0}};
  ::utimensat(AT_FDCWD, (project / "a").c_str(), times.data(), 0);
  turn = Uuid::random();
  take();
  write("a", "agent");
  store().seal(turn);
  // Same size and date as before, and yet its content was the new one.
  store().undo(turn);
  EXPECT_EQ(read("a"), "A");
}

TEST_F(ProjectCheckpointFaultsTest, aRecordThatIsDamagedIsNoCheckpoint) {
  write("a", "a");
  take();
  write("a", "agent");
  store().seal(turn);
  const auto record = folder / "Checkpoints" / (turn.text() + ".json");
  const auto text = readFile(record).value_or("");
  std::ofstream(record) << text.substr(0, text.size() / 2);
  EXPECT_FALSE(store().canUndo(turn));
  EXPECT_THROW(store().undo(turn), Error);
  // Its contents stay as long as it may be read by another version.
  store().prune(std::chrono::system_clock::now(), {});
  std::ofstream(record) << text;
  EXPECT_THAT(store().undo(turn).restored, ElementsAre("a"));

  for (const auto& entry : fs::recursive_directory_iterator(folder / "Checkpoints/Objects")) {
    const std::string bytes(entry.is_regular_file() ? entry.file_size() : 0, 'X');
    if (entry.is_regular_file()) std::ofstream(entry.path()) << bytes;
  }
  turn = *store().changes(turn).undoneBy;
  EXPECT_THAT(store().undo(turn).refused, testing::SizeIs(1));
  EXPECT_EQ(read("a"), "a");
}

}  // namespace
}  // namespace vale::test
