#include "projects/RouteAnswer.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace vale {
namespace {

using testing::ElementsAre;

const ProjectIDs known{"/home/ada/shop", "/home/ada/tea", "/home/ada/a", "/home/ada/b", "/home/ada/c"};

std::string answer(std::string_view mode, std::string_view id, std::string_view confidence,
                   std::string_view candidates = "") {
  return fmt::format(R"({{"mode":"{}","project_id":{},"confidence":{},"reason":"Why","candidates":[{}],)"
                     R"("title":"A title"}})",
                     mode, id, confidence, candidates);
}

std::optional<RouteDecision> read(const std::string& text) {
  return readRouteAnswer(text, known, TurnRoutingMethod::automatic);
}

std::vector<std::string> offered(const RouteDecision& decision) {
  std::vector<std::string> ids;
  for (const auto& candidate : decision.alternates) ids.push_back(candidate.projectID);
  return ids;
}

TEST(RouteAnswer, takesAProjectFromSixTenthsOn) {
  const std::string shop = R"("/home/ada/shop")";
  const std::pair<std::string, double> cases[] = {
      {"0.6", 0.6},   {"1", 1},       {"0.59", 0.59}, {"0.5999999999999999", 0.5999999999999999},
      {"-0.9", 0},    {"1.01", 0},    {"90", 0},      {"1e999", 0},
      {"\"0.9\"", 0}, {"\"NaN\"", 0}, {"null", 0}};
  for (const auto& [confidence, number] : cases) {
    const auto decision = read(answer("project", shop, confidence));
    ASSERT_TRUE(decision) << confidence;
    EXPECT_EQ(decision->confidence, number) << confidence;
    EXPECT_EQ(decision->mode, number >= 0.6 ? RouteMode::project : RouteMode::clarify) << confidence;
    EXPECT_EQ(decision->projectID.has_value(), number >= 0.6) << confidence;
    EXPECT_EQ(offered(*decision).size(), number >= 0.6 ? 0 : 1) << confidence;
  }
}

TEST(RouteAnswer, usesNoIdThatWasNotOffered) {
  for (const std::string id : {"/home/ada/shop", "/home/ada/shop//"})
    EXPECT_EQ(read(answer("project", '"' + id + '"', "0.9"))->projectID, "/home/ada/shop");
  for (const std::string id :
       {R"("/home/ada/Shop")", R"("~/shop")", R"("/home/ada/./shop")", R"("/home/ada/tea/../shop")",
        R"("//home/ada/shop")", R"(" /home/ada/shop")", R"("/home/ada/shop\n")", R"("/home/ada/shop\u0000")",
        R"("/home/ada/shop/src")", R"("shop")", R"("")", R"("/")", "null", R"(["/home/ada/shop"])"}) {
    const auto decision = read(answer("project", id, "0.9"));
    EXPECT_EQ(decision->mode, RouteMode::clarify) << id;
    EXPECT_TRUE(!decision->projectID && decision->alternates.empty()) << id;
  }
}

TEST(RouteAnswer, offersEachKnownProjectOnceAndFourAtMost) {
  const auto candidate = [](std::string_view id) {
    return fmt::format(R"({{"project_id":"{}","reason":"r"}},)", id);
  };
  const auto many = candidate("/home/ada/tea") + candidate("/evil") + candidate("/home/ada/tea/") +
                    candidate("/home/ada/shop") + "7,{}," + candidate("/home/ada/c") +
                    candidate("/home/ada/b") + candidate("/home/ada/a") + R"({"project_id":3})";
  EXPECT_THAT(offered(*read(answer("clarify", "null", "0.4", many))),
              ElementsAre("/home/ada/tea", "/home/ada/shop", "/home/ada/c", "/home/ada/b"));
  const auto unsure = read(answer("project", R"("/home/ada/a")", "0.4", many));
  EXPECT_THAT(offered(*unsure), ElementsAre("/home/ada/a", "/home/ada/tea", "/home/ada/shop", "/home/ada/c"));
  EXPECT_EQ(unsure->alternates[0].reason, "Why");
  EXPECT_THAT(offered(*read(answer("project", R"("/home/ada/shop")", "0.7", many))),
              ElementsAre("/home/ada/tea", "/home/ada/c", "/home/ada/b", "/home/ada/a"));
  for (const std::string mode : {"answer", "anywhere"}) {
    const auto decision = read(answer(mode, R"("/home/ada/shop")", "0.9", many));
    EXPECT_EQ(rawValue(decision->mode), mode);
    EXPECT_TRUE(!decision->projectID && decision->alternates.empty());
  }
}

TEST(RouteAnswer, isNoneWithoutAKnownMode) {
  for (const std::string text : {"", "Sure!", "[]", "{}", R"({"mode":"delete"})", R"({"mode":["answer"]})",
                                 R"({"mode":"Answer"})", R"({"mode":"answer")"})
    EXPECT_FALSE(read(text)) << text;
  EXPECT_EQ(read(R"({"mode":"answer","unknown":1,"reason":[],"title":{}})")->mode, RouteMode::answer);
}

TEST(RouteAnswer, keepsTextsToOneShortLine) {
  const std::string shown(500, 'x');
  const auto decision = read(
      fmt::format(R"({{"mode":"answer","reason":" a\nb\u202ec\u001b[31m{0}","title":"\n {0} \n"}})", shown));
  EXPECT_EQ(decision->reason, "a b c [31m" + shown.substr(0, 290));
  EXPECT_EQ(decision->title, shown.substr(0, 80));
}

TEST(ProjectIDs, headingsOfTheIndexAreItsProjects) {
  const std::string index = "# The user's coding projects\n\n## /home/ada/shop\n\n- Name: x\n> ## /quoted\n"
                            "## /home/ada/tea/\r\n## notes\n##  /home/ada/blank\n### /home/ada/deeper\n"
                            "## /home/ada/../root\n## /\n## /home/`ada`\n## /home/\x1b[0m\n ## /indented\n"
                            "## /home/ada/shop\n\n# Folders that no longer exist\n\n- /gone\n## /gone/too\n";
  EXPECT_THAT(indexHeadings(index), ElementsAre("/home/ada/shop", "/home/ada/tea"));
  EXPECT_THAT(indexHeadings("## /home/ada\n## /home/ada/half-writ"), ElementsAre("/home/ada"));
  EXPECT_TRUE(indexHeadings("## /" + std::string(5'000, 'x') + "\n").empty());
  EXPECT_TRUE(indexHeadings("").empty());
}

}  // namespace
}  // namespace vale
