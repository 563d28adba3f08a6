#include "projects/SessionLogs.h"

#include "support/ProjectsTest.h"

#include <fcntl.h>
#include <set>
#include <sys/stat.h>
#include <tuple>
#include <unistd.h>

namespace vale::test {
namespace {

struct SessionLogs : ProjectsTest {
  std::optional<SessionLog> claude(std::string_view text) { return read(text, AgentProvider::claude); }
  std::optional<SessionLog> codex(std::string_view text) { return read(text, AgentProvider::codex); }
  std::optional<SessionLog> read(std::string_view text, AgentProvider provider) {
    const auto file = folder / "5ca1ab1e.jsonl";
    write(file, text);
    return SessionLogReader::read(file, provider);
  }
};

std::string claudeUser(std::string_view content, std::string_view more = "") {
  return fmt::format(R"({{{}"cwd":"/home/u/shop","sessionId":"s1","type":"user",)"
                     R"("message":{{"role":"user","content":{}}},"timestamp":"2026-11-20T10:00:00.5+02:00"}})"
                     "\n",
                     more, content);
}

TEST_F(SessionLogs, theTitleIsTheUsersFirstRequestUnlessTheCLIGaveOne) {
  const std::string begun =
      claudeUser(R"("<local-command-stdout>x</local-command-stdout>")") +
      claudeUser(R"("Told by a hook", "x":1)", R"("isMeta":true,)") +
      claudeUser(R"([{"type":"text","text":"<ide_opened_file>"},{"type":"tool_result"},)"
                 R"({"type":"text","text":"  Fix\n\n the\u202e cart\u0007 "}])") +
      claudeUser(R"("And another thing")");
  const std::string title = R"({"type":"ai-title","aiTitle":"Cart rounding","sessionId":"s1"})";
  const std::string named = R"({"type":"custom-title","customTitle":"Mine\nalone"})";
  const std::vector<std::tuple<std::string, std::string>> cases = {
      {begun, "Fix the\uFFFD cart"},
      {begun + title + "\n", "Cart rounding"},
      {begun + named + "\n" + title, "Mine alone"},
      {R"({"type":"summary","summary":"Older one"})"
       "\n" +
           begun,
       "Older one"},
      {claudeUser("[]") + R"({"type":"last-prompt","lastPrompt":"only this"})", "only this"},
      {claudeUser("7"), ""}};
  for (const auto& [text, expected] : cases) {
    const auto log = claude(text);
    ASSERT_TRUE(log) << text;
    EXPECT_EQ(log->title, expected);
    EXPECT_EQ(log->folder, "/home/u/shop");
    EXPECT_EQ(log->id, "s1");
    EXPECT_EQ(log->last, "2026-11-20T08:00:00Z");
  }
  const auto endless = claude(claudeUser('"' + std::string(700'000, 'x') + '"'));
  ASSERT_TRUE(endless);
  EXPECT_EQ(endless->title.size(), SessionLog::titleLength - 1 + std::string("…").size());
}

TEST_F(SessionLogs, ofCodexTheMachinesOwnMessagesAreNoRequests) {
  const auto log = codex(R"({"timestamp":"2026-11-20T10:00:00Z","type":"session_meta","payload":{"id":"t1",)"
                         R"("cwd":"/w","source":"exec","base_instructions":")" +
                         std::string(200'000, 'i') + "\"}}\n" +
                         R"({"type":"response_item","payload":{"type":"message","role":"user","content":)"
                         R"([{"type":"input_text","text":"<environment_context>"}]}})"
                         "\n"
                         R"({"type":"event_msg","payload":{"type":"user_message","message":"Write a test"}})"
                         "\n"
                         R"({"timestamp":"2026-11-21T10:00:00Z","type":"event_msg","payload":{"type":"x"}})");
  ASSERT_TRUE(log);
  EXPECT_EQ(*log, (SessionLog{AgentProvider::codex, "t1", "/w", "Write a test", "2026-11-20T10:00:00Z",
                              "2026-11-21T10:00:00Z"}));
  EXPECT_FALSE(
      codex(R"({"type":"session_meta","payload":{"id":"t2","cwd":"/w","source":{"subagent":"x"}}})"));
}

TEST_F(SessionLogs, brokenLinesAreSteppedOver) {
  const std::string good = claudeUser(R"("Fix it")");
  for (const std::string& broken : {std::string("{\"type\":\"user\",\n"), std::string("\xff\xfe\0\n", 4),
                                    std::string("[1,2]\nnull\n7\n\n\r\n"), std::string(400, '[') + "\n",
                                    std::string(R"({"cwd":7,"type":{},"message":"","timestamp":[]})") + "\n",
                                    "{\"x\":\"" + std::string(300'000, 'x') + "\n"}) {
    const auto log = claude(broken + good + broken);
    ASSERT_TRUE(log) << broken.substr(0, 40);
    EXPECT_EQ(log->title, "Fix it");
    EXPECT_FALSE(claude(broken)) << broken.substr(0, 40);
  }
  EXPECT_EQ(claude(good.substr(0, good.size() - 1))->title, "Fix it") << "a last line without its end";
  EXPECT_FALSE(claude(""));
}

TEST_F(SessionLogs, ofAHugeLogOnlyTheEndsAreRead) {
  const auto file = folder / "huge.jsonl";
  write(file, claudeUser(R"("Fix it")"));
  ASSERT_EQ(truncate(file.c_str(), off_t(8) << 30), 0);
  std::ofstream(file, std::ios::app)
      << '\n'
      << R"({"cwd":"/elsewhere","sessionId":"s1","timestamp":"2026-11-22T00:00:00Z","type":"assistant"})"
      << "\n"
      << R"({"type":"ai-title","aiTitle":"At the end"})"
      << "\n";
  const auto log = SessionLogReader::read(file, AgentProvider::claude);
  ASSERT_TRUE(log);
  EXPECT_EQ(std::tie(log->folder, log->title, log->last),
            std::make_tuple("/home/u/shop", "At the end", "2026-11-22T00:00:00Z"));
  std::ofstream(file, std::ios::app) << R"({"timestamp":"2026-11-23T00:00:00Z","type":")"
                                     << std::string(100'000, 'x') << "\"}\n{}\n";
  const timespec written[2] = {{.tv_sec = 1'795'392'000}, {.tv_sec = 1'795'392'000}};
  ASSERT_EQ(utimensat(AT_FDCWD, file.c_str(), written, 0), 0);
  EXPECT_EQ(SessionLogReader::read(file, AgentProvider::claude)->last, "2026-11-23T00:00:00Z")
      << "the file's own date, as the last line is too long";
}

TEST_F(SessionLogs, linksPipesAndOtherPeoplesFilesAreLeftAlone) {
  logClaude("one", "/w", "Fix it");
  logCodex("two", "/w", "Fix it");
  const auto logs = places.claude / "projects/-x";
  write(folder / "outside/three.jsonl", content(logs / "one.jsonl"));
  write(logs / "agent-7.jsonl", content(logs / "one.jsonl"));
  write(logs / "notes.txt", "x");
  std::filesystem::create_symlink(folder / "outside/three.jsonl", logs / "three.jsonl");
  std::filesystem::create_directory_symlink(folder / "outside", places.claude / "projects/-y");
  ASSERT_EQ(mkfifo((logs / "pipe.jsonl").c_str(), 0600), 0);
  EXPECT_FALSE(SessionLogReader::read(logs / "pipe.jsonl", AgentProvider::claude));
  EXPECT_FALSE(SessionLogReader::read(logs / "three.jsonl", AgentProvider::claude));
  std::set<std::string> found;
  for (const auto& file : vale::SessionLogs::find(places)) found.insert(file.path.filename());
  EXPECT_EQ(found, (std::set<std::string>{"one.jsonl", "rollout-two.jsonl"}));
  if (geteuid() == 0) {
    ASSERT_EQ(chown((logs / "one.jsonl").c_str(), 12'345, 12'345), 0);
    EXPECT_FALSE(SessionLogReader::read(logs / "one.jsonl", AgentProvider::claude));
  }
}

}  // namespace
}  // namespace vale::test
