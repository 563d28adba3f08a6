#include "agents/AgentCommandLine.h"
#include "agents/CLIValue.h"
#include "common/FileDescriptor.h"
#include "support/ScopedVariable.h"
#include "support/TemporaryFolder.h"

#include <fmt/ranges.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>

namespace vale::test {
namespace {

using testing::HasSubstr;
using testing::Not;
using Named = testing::Matcher<const std::string&>;

/// The vector in one line, with "''" for an empty argument.
std::string line(std::vector<std::string> arguments) {
  for (auto& argument : arguments) argument = argument.empty() ? "''" : argument;
  return fmt::format("{}", fmt::join(arguments, " "));
}

AgentRequest requestOf(AgentProvider provider, AgentProfile profile = AgentProfile::task) {
  AgentRequest request;
  request.provider = provider;
  request.profile = profile;
  request.workingDirectory = "/";
  return request;
}
constexpr auto claude = AgentProvider::claude;
constexpr auto codex = AgentProvider::codex;

std::string claudeLine(const AgentRequest& request) {
  return line(AgentCommandLine::claudeArguments(request, "DO", request.pageConversation.value_or(false)));
}

std::string codexLine(const AgentRequest& request, const std::string& instructions = "DO") {
  std::vector<std::filesystem::path> files;
  return line(AgentCommandLine::codexArguments(
      request, instructions, request.pageConversation.value_or(false), "/usr/bin/codex", "/home/u", files));
}

/// The expected vectors stand in fixtures/command-lines.txt, one a line after the name of the request.
TEST(CommandLine, eachRequestHasItsExactArguments) {
  const auto write = [](AgentRequest& r) { r.access = AgentAccess::projectWrite; };
  const auto everything = [](AgentRequest& r) {
    r.access = AgentAccess::projectWrite;
    r.model = "gpt-6[1m]";
    r.effort = "x_high";
    r.images = {"/a.png", "/b.png"};
    r.sessionID = "ID";
    r.additionalArguments = {"--x", ""};
    if (r.provider == claude) r.outputSchema = "{}";
  };
  const std::pair<std::string, std::function<void(AgentRequest&)>> changes[] = {
      {"plain", [](AgentRequest&) {}},
      {"write", write},
      {"page", [](AgentRequest& r) { r.pageConversation = true; }},
      {"ephemeral", [](AgentRequest& r) { r.ephemeral = true; }},
      {"anywhere", [](AgentRequest& r) { r.anywhere = true; }},
      {"anywhere write", [&](AgentRequest& r) { write(r), r.anywhere = true; }},
      {"anywhere write page",
       [&](AgentRequest& r) { write(r), r.anywhere = true, r.pageConversation = true; }},
      {"anywhere write ephemeral", [&](AgentRequest& r) { write(r), r.anywhere = true, r.ephemeral = true; }},
      {"images",
       [](AgentRequest& r) {
         r.images = {"/a.png", "/b.png"};
       }},
      {"everything", everything},
  };
  std::string lines;
  for (const auto provider : {claude, codex}) {
    for (const auto profile : {AgentProfile::task, AgentProfile::classify, AgentProfile::explore}) {
      for (const auto& [name, change] : changes) {
        // The other profiles heed little of this.
        if (profile != AgentProfile::task && name != "plain" && name != "everything") continue;
        auto request = requestOf(provider, profile);
        change(request);
        lines += fmt::format("{} {} {}: {}\n", rawValue(provider), rawValue(profile), name,
                             provider == claude ? claudeLine(request) : codexLine(request));
      }
    }
  }
  EXPECT_EQ(lines, readFile(VALE_TESTS_DIR "/fixtures/command-lines.txt").value());
}

TEST(CommandLine, onlyPlainModelAndEffortNamesPass) {
  const std::pair<std::string, bool> models[] = {{"gpt-5.6_sol", true},
                                                 {"us.anthropic/x:0@1[1m]", true},
                                                 {std::string(128, 'a'), true},
                                                 {std::string(129, 'a'), false},
                                                 {"-m", false},
                                                 {"a b", false},
                                                 {"", false},
                                                 {"é", false},
                                                 {"a\"", false},
                                                 {"a\n", false},
                                                 {std::string("a\0", 2), false}};
  for (const auto& [model, passes] : models) {
    EXPECT_EQ(CLIValue::isModel(model), passes) << model;
    auto task = requestOf(claude), classify = requestOf(claude, AgentProfile::classify),
         other = requestOf(codex);
    task.model = classify.model = other.model = model;
    EXPECT_THAT(claudeLine(task), passes ? Named(HasSubstr("--model " + model)) : Not(HasSubstr("--model")));
    EXPECT_THAT(claudeLine(classify), HasSubstr("--model " + (passes ? model : "sonnet")));
    EXPECT_THAT(codexLine(other), passes ? Named(HasSubstr(" -m " + model)) : Not(HasSubstr(" -m ")));
  }
  const std::pair<std::string, bool> efforts[] = {
      {"high", true},  {"x-high_2", false},          {"High", false},
      {"-low", false}, {std::string(32, 'a'), true}, {std::string(33, 'a'), false},
      {"", false}};
  for (const auto& [effort, passes] : efforts) EXPECT_EQ(CLIValue::isEffort(effort), passes) << effort;
}

TEST(CommandLine, theSchemaFileIsPrivateAndAlwaysNamedForRemoval) {
  const TemporaryFolder folder;
  const auto withFolder = [&](const std::filesystem::path& path, std::vector<std::filesystem::path>& files) {
    const ScopedVariable variable("TMPDIR", path);
    auto request = requestOf(codex);
    request.outputSchema = "{\"é\": 1}";
    return AgentCommandLine::codexArguments(request, "DO", false, "/usr/bin/codex", "/home/u", files);
  };
  std::vector<std::filesystem::path> files;
  const auto arguments = withFolder(folder.path(), files);
  ASSERT_EQ(files.size(), 1u);
  const auto option = std::ranges::find(arguments, "--output-schema");
  EXPECT_EQ(option[1], files[0].native());
  EXPECT_THAT(files[0].filename().native(), testing::MatchesRegex("vale-schema-[0-9A-F-]{36}\\.json"));
  EXPECT_EQ(readFile(files[0]).value(), "{\"é\": 1}");
  EXPECT_EQ(std::filesystem::status(files[0]).permissions(), std::filesystem::perms(0600));

  EXPECT_THROW(withFolder(folder / "missing", files), AgentRuntimeError);
  std::filesystem::create_directory_symlink("/dev/fd", folder / "unwritable");
  EXPECT_THROW(withFolder(folder / "unwritable", files), AgentRuntimeError);
  EXPECT_EQ(files.size(), 2u) << "what could not be written whole must be removed too";
}

}  // namespace
}  // namespace vale::test
