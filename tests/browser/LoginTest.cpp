#include "browser/LoginForm.h"
#include "browser/LoginWatch.h"
#include "browser/SavedPasswords.h"
#include "support/FakePasswordStore.h"
#include "support/ManualClock.h"
#include "support/TemporaryFolder.h"
#include "support/TestQueues.h"

#include <gmock/gmock.h>

namespace vale::test {
namespace {

using testing::ElementsAre;
using Fields = std::vector<LoginFieldReport>;

const std::string site = "https://a.org";

LoginFieldReport field(std::string type, std::string purpose = {}, std::optional<std::string> value = {}) {
  return {.type = std::move(type),
          .purpose = std::move(purpose),
          .visible = true,
          .editable = true,
          .value = value};
}

Login login(const std::string& user, const std::string& password, bool isNew = false) {
  return {.origin = site, .formOrigin = site, .user = user, .password = Secret(password), .isNew = isNew};
}

std::string message(const std::string& origin, const std::string& more) {
  return R"({"kind":"ask","origin":")" + origin + R"(","action":")" + origin + "\"," + more + "}";
}

TEST(LoginFormTest, fieldsAreKnownByTheirPurposeThenByTheirOrder) {
  using Is = std::optional<std::size_t>;
  const Is no;
  const struct {
    Fields fields;
    LoginFields expected;
  } cases[] = {
      {{}, {}},
      {{field("text"), field("email")}, {}},
      {{field("text", "section-a username")}, {.user = 0}},
      {{field("password")}, {.password = 0}},
      {{field("text"), field("email"), field("password")}, {.user = 1, .password = 2}},
      {{field("password"), field("text")}, {.password = 0}},
      {{field("text", "Username"), field("email"), field("password")}, {.user = 0, .password = 2}},
      // Shown in the clear; a code that comes by mail; a card.
      {{field("email"), field("text", "current-password")}, {.user = 0, .password = 1}},
      {{field("text"), field("password", "one-time-code")}, {}},
      {{field("text", "cc-name"), field("password", "cc-csc")}, {}},
      // Two of a kind are a new password and its repetition, two different ones the old and the new one.
      {{field("email", "", "u"), field("password", "", "p"), field("password", "", "p")},
       {.user = 0, .newPassword = 1}},
      {{field("password", "", "old"), field("password", "", "new")}, {.password = 0, .newPassword = 1}},
      {{field("password", "", "o"), field("password", "", "n"), field("password", "", "n")},
       {.password = 0, .newPassword = 1}},
      {{field("password", "new-password"), field("password", "current-password")},
       {.password = 1, .newPassword = 0}},
  };
  for (const auto& [fields, expected] : cases)
    EXPECT_EQ(loginFields(fields), expected) << &fields - &cases[0].fields;
}

TEST(LoginFormTest, onlyWholeMessagesOfThePagesOwnOriginAreHeard) {
  const std::string one = R"({"type":"password","purpose":"","visible":true,"editable":true})";
  const std::string good = R"("field":0,"fields":[)" + one + "]";
  EXPECT_TRUE(readLoginReport(message(site, good), site));
  std::string many = one;
  for (int i = 0; i < 40; ++i) many += "," + one;
  for (const auto& bad :
       {message("https://b.org", good), message("null", good),
        message(site, R"("field":1,"fields":[)" + one + "]"),
        message(site, R"("field":-1,"fields":[)" + one + "]"), message(site, R"("fields":[)" + many + "]"),
        message(site, good + R"(,"place":{"x":1e300,"y":0,"width":0,"height":0})"),
        message(site, R"("fields":[],"more":")" + std::string(300'000, 'x') + '"'), std::string("[]"),
        std::string()}) {
    EXPECT_FALSE(readLoginReport(bad, site)) << bad.substr(0, 200);
  }
  EXPECT_FALSE(readLoginReport(message("", good), "")) << "a page without an origin has no passwords";
  auto report = *readLoginReport(message(site, good), site);
  report.fields[0].value = std::string("a\0b", 3);
  EXPECT_FALSE(submittedLogin(report)) << "the service would keep a part of it";
}

TEST(LoginFormTest, whatIsFilledIsSeenAndNeverANewPassword) {
  LoginReport report{.origin = site, .field = 0, .fields = {field("email"), field("password")}};
  const auto fill = fillableFields(report);
  EXPECT_EQ(fillAnswer(*fill, "\"u\"", Secret("p\\")).text(), R"([[0,"\"u\""],[1,"p\\"]])");
  report.fields[0].visible = false;
  EXPECT_FALSE(fillableFields(report)) << "the user cannot be at an unseen field";
  report.field = 1;
  EXPECT_EQ(fillAnswer(*fillableFields(report), "u", Secret("p")).text(), R"([[1,"p"]])");
  report.fields[1].purpose = "new-password";
  EXPECT_FALSE(fillableFields(report));
}

struct LoginWatchTest : testing::Test {
  ManualClock clock;
  bool asking = false;
  std::vector<std::string> offered;
  LoginWatch watch{
      clock,
      {.isAsking = [this](const auto& answer) { answer(asking); },
       .succeeded = [this](const Login& one) { offered.push_back(one.user + ":" + one.password.text()); }}};
  void settle() { clock.advance(LoginWatch::settling + Seconds(1)); }
};

TEST_F(LoginWatchTest, aLoginCountsOnceThePageHasMovedOnAndAsksNoMore) {
  watch.submitted(login("u", "1"));
  settle();
  EXPECT_THAT(offered, ElementsAre()) << "the form is still there";
  watch.documentChanged(PageTransition::form);
  settle();
  watch.loadEnded(true);
  watch.documentChanged(PageTransition::link);  // sent on at once
  settle();
  EXPECT_THAT(offered, ElementsAre());
  watch.loadEnded(true);
  settle();
  EXPECT_THAT(offered, ElementsAre("u:1"));
  // In two steps, the second without a new document.
  watch.submitted(login("name", ""));
  watch.submitted(login("", "2"));
  watch.formGone();
  settle();
  EXPECT_THAT(offered, ElementsAre("u:1", "name:2"));
  settle();
  watch.loadEnded(true);
  EXPECT_EQ(offered.size(), 2u) << "once";
}

TEST_F(LoginWatchTest, wrongLoginsAndOtherWaysOnAreForgotten) {
  const auto send = [&](bool isNew = false) { watch.submitted(login("u", "p", isNew)); };
  asking = true;
  send();
  watch.documentChanged(PageTransition::form);
  watch.loadEnded(true);
  settle();
  asking = false;
  for (const auto how : {PageTransition::opened, PageTransition::backForward, PageTransition::restored}) {
    send();
    watch.documentChanged(how);
    watch.loadEnded(true);
    settle();
  }
  send();
  watch.documentChanged(PageTransition::form);
  watch.loadEnded(false);
  settle();
  EXPECT_THAT(offered, ElementsAre());
  asking = true;
  send(true);
  watch.formGone();
  settle();
  EXPECT_THAT(offered, ElementsAre("u:p")) << "a new password is asked for at once";
}

struct SavedPasswordsTest : testing::Test {
  TemporaryFolder folder;
  TestQueues queues;
  ManualClock clock;
  Preferences preferences{folder / "preferences.json", queues.main, queues.workers, clock};
  FakePasswordStore store;
  SavedPasswords passwords{store, preferences};

  LoginOffer::Kind offer(Login one) { return queues.run(passwords.offerFor(std::move(one))).kind; }
  std::vector<std::string> kept() {
    std::vector<std::string> all;
    for (const auto& [saved, password] : store.entries) {
      all.push_back(saved.formOrigin + saved.realm + " " + saved.user + ":" + password.text());
    }
    return all;
  }
};

TEST_F(SavedPasswordsTest, offersWhatIsNewOrChangedAndNothingElse) {
  using enum LoginOffer::Kind;
  EXPECT_EQ(offer(login("u", "1")), save);
  queues.run(passwords.save(login("u", "1")));
  EXPECT_EQ(offer(login("u", "1")), nothing);
  EXPECT_EQ(offer(login("u", "2")), change);
  EXPECT_EQ(offer(login("v", "2")), save);
  EXPECT_EQ(queues.run(passwords.offerFor(login("", "3", true))).login.user, "u") << "whose else";
  EXPECT_EQ(offer(login("u", "")), nothing);
  passwords.setNeverSaved(site, true);
  passwords.setNeverSaved(site, true);
  passwords.setNeverSaved("", true);
  EXPECT_EQ(offer(login("v", "2")), nothing);
  EXPECT_THAT(passwords.neverSaved(), ElementsAre(site));
  passwords.setNeverSaved(site, false);
  EXPECT_EQ(offer(login("v", "2")), save);
  store.problem = "There is no service.";
  EXPECT_THROW(offer(login("v", "2")), Error);
}

TEST_F(SavedPasswordsTest, oneAccountHasOnePasswordAndServersOwnQuestionsAreApart) {
  queues.run(passwords.save(login("u", "1")));
  auto elsewhere = login("u", "2");
  elsewhere.formOrigin = "https://login.a.org";
  queues.run(passwords.save(elsewhere));
  queues.run(passwords.save(login("v", "3")));
  const std::string server = "a.org:443";
  for (const auto& [realm, password] : {std::pair("", "0"), std::pair("", "4"), std::pair("Files", "5")}) {
    queues.run(passwords.save({.origin = server, .user = "u", .realm = realm, .password = Secret(password)}));
  }
  EXPECT_THAT(kept(), ElementsAre("https://login.a.org u:2", "https://a.org v:3", " u:4", "Files u:5"));
  const auto found = queues.run(passwords.accounts(site, Unlocking::no)).logins;
  ASSERT_EQ(found.size(), 2u);
  EXPECT_EQ(found[0].user, "v") << "the latest first";
  EXPECT_EQ(queues.run(passwords.forServer(server, "Files"))->password.text(), "5");
  EXPECT_FALSE(queues.run(passwords.forServer(server, "Other")));
  EXPECT_FALSE(queues.run(passwords.forServer(site, "Files")));
  store.locked = true;
  EXPECT_TRUE(queues.run(passwords.accounts(site, Unlocking::no)).locked);
  EXPECT_EQ(queues.run(passwords.accounts(site, Unlocking::ask)).logins.size(), 2u);
}

}  // namespace
}  // namespace vale::test
