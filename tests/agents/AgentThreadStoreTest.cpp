#include "agents/AgentThreadStore.h"

#include "agents/AgentThreadFolder.h"
#include "common/FileDescriptor.h"
#include "common/PrivateFiles.h"
#include "support/ManualClock.h"
#include "support/TemporaryFolder.h"
#include "support/TestQueues.h"

#include <gmock/gmock.h>

#include <sys/stat.h>

namespace vale::test {
namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

std::string lowerCase(std::string text) {
  for (auto& c : text) c = char(std::tolower(c));
  return text;
}

AgentThread threadNamed(std::string title) { return {.id = Uuid::random(), .title = std::move(title)}; }

AgentTurn turnAt(int second, std::string prompt) {
  return {.id = Uuid::random(), .prompt = std::move(prompt), .startedAt = dateFromSecondsSince2001(second)};
}

std::vector<std::string> titles(const std::vector<AgentThread>& threads) {
  std::vector<std::string> list;
  for (const auto& thread : threads) list.push_back(thread.title);
  return list;
}

std::vector<std::string> prompts(const std::optional<AgentThread>& thread) {
  std::vector<std::string> list;
  for (const auto& turn : thread->turns) list.push_back(turn.prompt);
  return list;
}

struct AgentThreadFolderTest : testing::Test {
  TemporaryFolder temporary;
  WorkerPool workers;
  fs::path directory = temporary / "Threads";
  AgentThreadFolder folder{directory, &workers};

  ~AgentThreadFolderTest() override { workers.stop(); }

  fs::path put(const std::string& name, std::string_view bytes) const {
    PrivateFiles::write(bytes, directory / name);
    return directory / name;
  }
  std::string textOf(const AgentThread& thread) const { return jsonText(encode(thread)); }
};

TEST_F(AgentThreadFolderTest, aRecordIsWrittenInItsOrderAndReadBackWithWhatBelongsToOthers) {
  const std::string record =
      R"({"version":1,"id":"6F1A2B3C-0000-4000-8000-00000000000A","kind":"page","projectPath":"/home/u/é",)"
      R"("provider":"claude","cliSessionID":"s-1","title":"T","createdAt":7.85E8,"updatedAt":7.851234567E8,)"
      R"("turns":[{"id":"6F1A2B3C-0000-4000-8000-00000000000B","prompt":"Why?","attachment":"a","context":"c",)"
      R"("note":"n","routing":{"method":"automatic","projectID":"/p","destination":"P","reason":"r",)"
      R"("confidence":5E-1,"alternates":[]},"access":"projectWrite","origin":"vale","startedAt":7.85E8,)"
      R"("finishedAt":7.85E8,"status":"completed","items":[{"hologram":"only another Vale knows it"}],)"
      R"("usage":{"inputTokens":1,"cachedInputTokens":0,)"
      R"("outputTokens":2,"reasoningTokens":0,"costUSD":1E-2,"permissionDenials":0},"model":"m",)"
      R"("answeredAt":7.85E8,"images":["/i.png"],"reading":{"z":[1,{"a":null}],"b":1.5E0}}],)"
      R"("page":{"url":"https://example.org/","title":"E"},"history":[true,"x"],"comparison":{"q":{}}})";
  const auto thread = decodeText<AgentThread>(record);
  folder.write(thread);
  const auto file = directory / "6F1A2B3C-0000-4000-8000-00000000000A.json";
  EXPECT_EQ(*vale::readFile(file), record + "\n");
  EXPECT_EQ(fs::status(file).permissions(), fs::perms(0600));
  EXPECT_EQ(folder.read(thread.id), thread);
}

TEST_F(AgentThreadFolderTest, whatIsNoThreadIsPassedOverAndWhatIsBrokenIsNamedAndLeft) {
  EXPECT_THAT(folder.readAll(), IsEmpty());
  const auto good = threadNamed("good"), low = threadNamed("low"), both = threadNamed("both");
  auto stale = both;
  stale.title = "stale";
  put(good.id.text() + ".json", textOf(good));
  put(lowerCase(low.id.text()) + ".json", textOf(low));
  put(both.id.text() + ".json", textOf(both));
  put(lowerCase(both.id.text()) + ".json", textOf(stale));
  put("notes.json", textOf(threadNamed("notes")));
  put(Uuid::random().text() + ".txt", textOf(threadNamed("text")));
  fs::create_directory(directory / (Uuid::random().text() + ".json"));
  fs::create_symlink(folder.file(good.id), directory / (Uuid::random().text() + ".json"));
  const auto misplaced = put(Uuid::random().text() + ".json", textOf(good));
  const auto corrupt = put(Uuid::random().text() + ".json", R"({"version":1)");
  const auto empty = put(Uuid::random().text() + ".json", "");

  testing::internal::CaptureStderr();
  EXPECT_THAT(titles(folder.readAll()), UnorderedElementsAre("good", "low", "both"));
  const auto log = testing::internal::GetCapturedStderr();
  EXPECT_THAT(log,
              HasSubstr("Vale skipped thread file " + misplaced.filename().string() + ": its id differs"));
  for (const auto& file : {corrupt, empty}) {
    EXPECT_THAT(log,
                HasSubstr("Vale could not read thread file " + file.filename().string() + ": The text is"));
    EXPECT_TRUE(fs::exists(file));
  }
  EXPECT_EQ(std::ranges::count(log, '\n'), 3);
  folder.remove(both.id);
  folder.remove(both.id);
  EXPECT_EQ(folder.read(both.id), std::nullopt);
}

TEST_F(AgentThreadFolderTest, aFileOfExactly64MebibytesIsReadAndOneByteMoreIsNot) {
  const auto thread = threadNamed("large");
  auto text = textOf(thread);
  text.resize(67'108'864, ' ');
  put(thread.id.text() + ".json", text);
  EXPECT_THAT(titles(folder.readAll()), ElementsAre("large"));
  put(thread.id.text() + ".json", text + " ");
  testing::internal::CaptureStderr();
  EXPECT_THAT(folder.readAll(), IsEmpty());
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
  EXPECT_EQ(folder.removeUnreadable(std::nullopt), 1);
}

TEST_F(AgentThreadFolderTest, aThreadThatWouldBeTooLargeIsWrittenWithoutItsOldestOutputs) {
  AgentThreadFolder folder(directory, nullptr, 67'000);
  auto thread = threadNamed("long");
  for (int i = 0; i < 3; ++i) {
    auto& turn = thread.turns.emplace_back(turnAt(i, "more"));
    turn.items.push_back({.id = "a", .kind = TranscriptItemKind::message, .text = "Said."});
    turn.items.push_back({.id = "b",
                          .kind = TranscriptItemKind::toolCall,
                          .tool = ToolCall{.id = "b", .resultPreview = std::string(30'000, 'x')}});
  }
  folder.write(thread);
  const auto written = folder.read(thread.id);
  ASSERT_TRUE(written);
  EXPECT_EQ(written->turns[0].items[1].tool->resultPreview, std::nullopt);
  EXPECT_EQ(written->turns[0].items[0].text, "Said.");
  EXPECT_EQ(written->turns[1], thread.turns[1]);
  thread.turns[0].prompt.assign(68'000, 'x');
  EXPECT_THROW(folder.write(thread), Error);
  EXPECT_EQ(prompts(folder.read(thread.id)).front(), "more");
}

TEST_F(AgentThreadFolderTest, onlyUnreadableFilesAreRemovedFromADateOnWithTheirAttachments) {
  const auto good = threadNamed("good");
  folder.write(good);
  const auto old = Uuid::random(), recent = Uuid::random();
  for (const auto& id : {good.id, old, recent}) {
    PrivateFiles::write("x", folder.attachments(id) / "a.png");
    if (id != good.id) PrivateFiles::write("{}", folder.file(id));
  }
  const auto misnamed = put("notes.json", "{}");
  const auto named = directory / (Uuid::random().text() + ".json");
  fs::create_directory(named);
  const auto since = *parseISO8601("2026-01-01T00:00:00Z");
  const auto modify = [&](const Uuid& id, time_t seconds) {
    const timespec times[] = {{seconds, 0}, {seconds, 0}};
    ASSERT_EQ(::utimensat(AT_FDCWD, folder.file(id).c_str(), times, 0), 0);
  };
  const auto moment = std::chrono::system_clock::to_time_t(
      std::chrono::time_point_cast<std::chrono::system_clock::duration>(since));
  modify(old, moment - 1);
  modify(recent, moment);
  EXPECT_EQ(folder.removeUnreadable(since), 1);
  EXPECT_FALSE(fs::exists(folder.file(recent)) || fs::exists(folder.attachments(recent)));
  EXPECT_EQ(folder.removeUnreadable(std::nullopt), 1);
  EXPECT_FALSE(fs::exists(folder.file(old)) || fs::exists(folder.attachments(old)));
  EXPECT_TRUE(fs::exists(folder.attachments(good.id) / "a.png") && fs::exists(misnamed) && fs::exists(named));
  EXPECT_THAT(titles(folder.readAll()), ElementsAre("good"));
  folder.remove(good.id);
  EXPECT_FALSE(fs::exists(folder.attachments(good.id)));
}

TEST_F(AgentThreadFolderTest, turnsThatAnotherValeAddedAreKept) {
  AgentThreadFolder other(directory);
  auto mine = threadNamed("shared");
  mine.turns = {turnAt(1, "first")};
  folder.write(mine);
  auto theirs = *other.read(mine.id);
  theirs.turns.push_back(turnAt(2, "theirs"));
  other.write(theirs);
  mine.turns.push_back(turnAt(3, "mine"));
  folder.write(mine);
  mine.turns.push_back(turnAt(4, "mine too"));
  folder.write(mine);
  EXPECT_THAT(prompts(other.read(mine.id)), ElementsAre("first", "theirs", "mine", "mine too"));
  // A turn of one's own that is taken back is gone.
  theirs = *other.read(mine.id);
  theirs.turns.erase(theirs.turns.begin());
  other.write(theirs);
  EXPECT_THAT(prompts(other.read(mine.id)), ElementsAre("theirs", "mine", "mine too"));
}

struct AdoptionTest : AgentThreadFolderTest {
  Uuid id = Uuid::random();
  fs::path inbox = temporary / "inbox";
  fs::path file(const std::string& name, std::string_view bytes = "x") const {
    PrivateFiles::write(bytes, inbox / name);
    return inbox / name;
  }
};

TEST_F(AdoptionTest, filesMoveInAndNamesStayApart) {
  const auto hostile = file("a\nb\xFF.png");
  fs::permissions(hostile, fs::perms(0755));
  const auto places = folder.adopt(
      {file("plan.png", "1"), file("other/plan.png", "2"), hostile, file(std::string(250, 'n') + ".png")},
      id);
  const auto home = folder.attachments(id);
  EXPECT_THAT(places, ElementsAre(home / "plan.png", home / "plan-2.png", home / "a b\uFFFD.png",
                                  home / (std::string(200, 'n') + ".png")));
  EXPECT_EQ(*vale::readFile(places[1]), "2");
  EXPECT_EQ(fs::status(places[2]).permissions(), fs::perms(0600));
  EXPECT_FALSE(fs::exists(hostile));
  EXPECT_EQ(folder.adopt({places[1]}, id), std::vector{places[1]});
}

TEST_F(AdoptionTest, whatCannotBeTakenIsNamedAndNothingMoves) {
  const auto good = file("good.png");
  fs::create_symlink(good, inbox / "link.png");
  ASSERT_EQ(::mkfifo((inbox / "pipe").c_str(), 0600), 0);
  for (const char* bad : {"missing.png", "link.png", "pipe", "."}) {
    try {
      folder.adopt({good, inbox / bad}, id);
      ADD_FAILURE() << bad;
    } catch (const FileError& error) {
      EXPECT_THAT(error.message, HasSubstr("Could not attach “" + (inbox / bad).string()));
    }
    EXPECT_TRUE(fs::exists(good)) << bad;
  }
  // One that is gone when its turn comes: the first has moved and goes back.
  EXPECT_THROW(folder.adopt({good, good}, id), FileError);
  EXPECT_TRUE(fs::exists(good));
  fs::create_directories(directory / "Attachments");
  const auto other = Uuid::random();
  fs::create_directory_symlink(inbox, folder.attachments(other));
  EXPECT_THROW(folder.adopt({good}, other), FileError);
  folder.remove(other);
  EXPECT_TRUE(fs::exists(good));
}

TEST_F(AdoptionTest, aFileOnAnotherDeviceIsCopiedAndThenDeleted) {
  std::string pattern = "/dev/shm/vale-test-XXXXXX";
  struct stat here = {}, there = {};
  if (!::mkdtemp(pattern.data()) || ::stat(pattern.c_str(), &there) != 0 ||
      ::stat(temporary.path().c_str(), &here) != 0 || here.st_dev == there.st_dev) {
    GTEST_SKIP() << "there is no other device to write on";
  }
  const std::string bytes(3'000'000, 'y');
  const auto remote = fs::path(pattern) / "remote.png";
  PrivateFiles::write(bytes, remote);
  EXPECT_THROW(folder.adopt({remote, file("a.png"), inbox / "a.png"}, id), FileError);
  EXPECT_TRUE(fs::exists(remote));
  EXPECT_TRUE(fs::is_empty(folder.attachments(id)));
  const auto places = folder.adopt({remote}, id);
  EXPECT_EQ(*vale::readFile(places.at(0)), bytes);
  EXPECT_FALSE(fs::exists(remote));
  fs::remove_all(pattern);
}

struct AgentThreadStoreTest : testing::Test {
  TemporaryFolder temporary;
  TestQueues queues;
  ManualClock clock;
  AgentThreadStore store{temporary / "Threads", {queues.main, queues.workers, clock}};
  AgentThread thread = threadNamed("0");
  std::vector<std::string> ends;
  int asked = 0;

  AgentThreadStoreTest() {
    store.finished().connect([this](const Uuid&, const std::optional<std::string>& error) {
      ends.push_back(error.value_or("written"));
    });
  }
  void change(std::string title) {
    thread.title = std::move(title);
    store.saveSoon(thread.id, [this] {
      ++asked;
      return std::optional(thread);
    });
  }
  std::string stored() { return queues.run(store.load(thread.id)).value_or(threadNamed("none")).title; }
};

TEST_F(AgentThreadStoreTest, aThreadThatChangesManyTimesASecondIsWrittenOnceASecond) {
  for (int i = 1; i <= 28; ++i) {
    change(std::to_string(i));
    clock.advance(Seconds(0.125));
    if (i == 7) {
      EXPECT_EQ(stored(), "none");
    }
    if (i % 8 == 0) {
      const auto before = ends.size();
      queues.runUntil([&] { return ends.size() > before; });
      EXPECT_EQ(stored(), std::to_string(i));
    }
  }
  EXPECT_EQ(asked, 3);
  store.flush();
  EXPECT_EQ(stored(), "28");
  store.flush();
  clock.advance(Seconds(10));
  EXPECT_EQ(asked, 4);

  // One write at a time: what comes due meanwhile waits for it and is then written as it is.
  change("a");
  clock.advance(Seconds(1));
  change("b");
  clock.advance(Seconds(1));
  EXPECT_EQ(asked, 5);
  change("c");
  queues.runUntil([&] { return asked == 6; });
  store.flush();
  EXPECT_EQ(stored(), "c");
}

TEST_F(AgentThreadStoreTest, whatIsSavedOrDeletedMeanwhileIsNotWrittenAgain) {
  change("soon");
  thread.title = "now";
  store.save(thread);
  EXPECT_EQ(stored(), "now");
  change("soon");
  store.remove(thread.id);
  store.saveSoon(Uuid::random(), [] { return std::nullopt; });
  clock.advance(Seconds(10));
  store.flush();
  EXPECT_EQ(stored(), "none");
  EXPECT_EQ(asked, 0);
}

TEST_F(AgentThreadStoreTest, aWriteThatFailsIsToldOnTheMainThread) {
  const auto file = temporary / "Threads" / (thread.id.text() + ".json");
  fs::create_directories(file);
  store.save(thread);
  queues.runUntil([&] { return !ends.empty(); });
  change("again");
  store.flush();
  EXPECT_THAT(ends, ElementsAre(HasSubstr("Could not write “" + file.string()), HasSubstr("Is a directory")));
}

}  // namespace
}  // namespace vale::test
