#include "app/PermissionQuestions.h"

#include "support/ManualClock.h"
#include "support/TemporaryFolder.h"
#include "support/TestQueues.h"

#include <gtest/gtest.h>

namespace vale::test {
namespace {

using enum PermissionKind;
using enum PermissionDecision;

struct PermissionQuestionsTest : testing::Test {
  TemporaryFolder folder;
  TestQueues queues;
  ManualClock clock;
  std::shared_ptr<SitePermissions> store =
      std::make_shared<SitePermissions>(folder / "p.json", Surroundings{queues.main, queues.workers, clock});
  PermissionQuestions questions{[this] { return store; }};
  std::string heard;  ///< "+" and "-" in the order of the answers

  void ask(const std::string& address, std::vector<PermissionKind> kinds, std::string third = {}) {
    questions.ask({address, std::move(kinds), std::move(third)},
                  [this](bool yes) { heard += yes ? '+' : '-'; });
  }
  PermissionKind asked() const { return questions.question().value()->kinds.front(); }
};

TEST_F(PermissionQuestionsTest, oneQuestionStandsAtATimeAndTheSameOneIsNotAskedTwice) {
  ask("https://a.org/x", {camera});
  ask("https://a.org/y", {location});
  ask("https://a.org/x", {camera});
  EXPECT_EQ(asked(), camera);
  questions.decide(false, Remembered::thisLoad);
  EXPECT_EQ(heard, "--");
  EXPECT_EQ(asked(), location);
  questions.decide(true, Remembered::always);
  ask("https://a.org/z", {camera});
  ask("https://a.org/z", {location});
  EXPECT_EQ(heard, "--+-+");
  EXPECT_FALSE(questions.question().value());
  EXPECT_EQ(store->decision("https://a.org", camera), PermissionDecision::ask);
  EXPECT_EQ(store->decision("https://a.org", location), allow);
  questions.withdraw();
  ask("https://a.org/z", {camera});
  EXPECT_EQ(asked(), camera);
}

TEST_F(PermissionQuestionsTest, whatIsAskedTogetherIsAllowedTogetherAndRefusedForOne) {
  store->decide("https://a.org", camera, allow);
  store->decide("https://b.org", microphone, deny);
  ask("https://a.org/", {camera, microphone});
  ask("https://b.org/", {camera, microphone});
  EXPECT_EQ(heard, "-");
  ask("https://a.org/", {microphone});
  questions.decide(true, Remembered::thisLoad);
  EXPECT_EQ(heard, "-++") << "the second question was answered by the first";
}

TEST_F(PermissionQuestionsTest, aPageThatGoesIsRefusedEverythingAndMayNotPileUpQuestions) {
  std::size_t answers = 0;
  for (std::size_t i = 0; i < 2 * PermissionQuestions::mostWaiting; ++i) {
    questions.ask({"https://a" + std::to_string(i) + ".org", {camera}, {}}, [&](bool yes) {
      ++answers;
      EXPECT_FALSE(yes);
      // A page that asks again from within its answer.
      if (answers == 1) ask("https://late.org", {});
    });
  }
  EXPECT_EQ(answers, PermissionQuestions::mostWaiting);
  questions.withdraw();
  EXPECT_EQ(answers, 2 * PermissionQuestions::mostWaiting);
  questions.decide(true, Remembered::always);
  EXPECT_TRUE(store->permissions().value().empty());
}

TEST_F(PermissionQuestionsTest, theAnswerForAnotherSiteIsNotKeptForThisOne) {
  ask("https://a.org", {storageAccess}, "b.org");
  questions.decide(true, Remembered::always);
  ask("https://a.org", {storageAccess}, "c.org");
  EXPECT_TRUE(questions.question().value());
  EXPECT_TRUE(store->permissions().value().empty());
  store.reset();
  ask("file:///x", {camera});
  questions.decide(false, Remembered::thisLoad);
  questions.decide(true, Remembered::always);
  EXPECT_EQ(heard, "+-+");
}

TEST(PermissionSentences, nameTheSiteAndEveryKind) {
  EXPECT_EQ(questionOf({"", {camera, microphone}, ""}, "<a>.org"),
            "<a>.org wants to use your camera and microphone.");
  EXPECT_EQ(questionOf({"", {location}, ""}, "a.org"), "a.org wants to know where you are.");
  EXPECT_EQ(questionOf({"", {storageAccess}, "b.org"}, "a.org"),
            "b.org wants to use its cookies and data while you are on a.org.");
}

}  // namespace
}  // namespace vale::test
