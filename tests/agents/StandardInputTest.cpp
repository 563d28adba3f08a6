#include "agents/AgentCommandLine.h"
#include "common/Json.h"
#include "common/PrivateFiles.h"
#include "support/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <unistd.h>

namespace vale::test {
namespace {

using AgentCommandLine::standardInput;

AgentRequest requestOf(AgentProvider provider, AgentProfile profile, std::string prompt) {
  AgentRequest request;
  request.provider = provider;
  request.profile = profile;
  request.prompt = std::move(prompt);
  return request;
}

TEST(StandardInput, isOneMessageForAClassifierOrWithImages) {
  const TemporaryFolder folder;
  PrivateFiles::write(std::string_view("\x89PNG\0\xff", 6), folder / "a.png");
  PrivateFiles::write("", folder / "empty.png");
  auto request = requestOf(AgentProvider::claude, AgentProfile::task, "Look \"here\"\n\xff");
  request.images = {folder / "a.png", folder / "empty.png"};
  request.sessionID = "ID";
  const auto input = standardInput(request);
  EXPECT_EQ(std::ranges::count(input, '\n'), 1);
  EXPECT_TRUE(input.ends_with('\n'));
  EXPECT_EQ(parseJson(input), parseJson(R"({"type":"user","message":{"role":"user","content":[
    {"type":"text","text":"Look \"here\"\n�"},
    {"type":"image","source":{"type":"base64","media_type":"image/png","data":"iVBORwD/"}},
    {"type":"image","source":{"type":"base64","media_type":"image/png","data":""}}]},
    "parent_tool_use_id":null,"session_id":"ID"})"));

  auto classify = requestOf(AgentProvider::claude, AgentProfile::classify, std::string(50 << 20, '"'));
  classify.sessionID = "ID";
  const auto message = standardInput(classify);
  EXPECT_GT(message.size(), 100u << 20);
  EXPECT_TRUE(message.ends_with(R"(,"session_id":""})"
                                "\n"))
      << "a classifier never resumes";
}

TEST(StandardInput, namesAnImageThatCannotBeSent) {
  const TemporaryFolder folder;
  PrivateFiles::write("", folder / "large.png");
  ASSERT_EQ(truncate((folder / "large.png").c_str(), (20 << 20) + 1), 0);
  const auto problem = [&](std::string_view image) -> std::string {
    auto request = requestOf(AgentProvider::claude, AgentProfile::task, "x");
    request.images = {folder / image};
    try {
      standardInput(request);
    } catch (const AgentRuntimeError& error) {
      return error.message;
    }
    return "";
  };
  EXPECT_EQ(problem("large.png"), "The image “large.png” is larger than 20 MB. Attach a smaller one.");
  EXPECT_THAT(problem("missing.png"), testing::HasSubstr("missing.png"));
  EXPECT_THAT(problem("."), testing::HasSubstr(folder.path().native()));
}

}  // namespace
}  // namespace vale::test
