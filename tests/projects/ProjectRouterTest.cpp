#include "projects/ProjectRouter.h"

#include "support/ManualClock.h"
#include "support/ScriptedClient.h"
#include "support/TemporaryFolder.h"
#include "support/TestQueues.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>

namespace vale {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

class ProjectRouterTest : public testing::Test {
 protected:
  ProjectRouterTest() {
    router->setCatalog(
        ProjectRoutingCatalog::from({{.id = "/home/ada/shop", .name = "Shop"}, {.id = "/home/ada/tea"}}, {}));
  }

  void writeIndex(const std::string& text) {
    std::filesystem::create_directories(folder / "projects");
    std::ofstream(folder / "projects/INDEX.md") << text;
  }

  static std::string answer(std::string_view mode, std::string_view id, double confidence = 0.9) {
    return fmt::format(R"({{"mode":"{}","project_id":"{}","confidence":{},"reason":"Why","candidates":[)"
                       R"({{"project_id":"/home/ada/tea","reason":"Also"}}],"title":""}})",
                       mode, id, confidence);
  }

  std::optional<RouteDecision> route(RouteRequest request = {.text = "Fix the cart"}) {
    return queues.run(router->route(std::move(request)));
  }

  /// What the user is told, and what there is to choose from.
  std::pair<std::string, std::vector<RouteCandidate>> failure() {
    try {
      route();
    } catch (const RoutingError& error) {
      return {error.message, error.candidates};
    } catch (const Error& error) {
      return {error.message, {}};
    }
    return {};
  }

  test::TestQueues queues;
  test::ManualClock clock;
  test::TemporaryFolder folder;
  test::ScriptedClient client;
  ModelInputFilter filter;
  std::optional<AgentProvider> provider = AgentProvider::claude;
  std::optional<ProjectRouter> router{ProjectRouter::Parts{client,
                                                           filter,
                                                           folder.path(),
                                                           [this] { return provider; },
                                                           {queues.main, queues.workers, clock},
                                                           "GMT"}};
  const std::vector<RouteCandidate> bothShops{{"/home/ada/shop", "Why"}, {"/home/ada/tea", "Also"}};
};

TEST_F(ProjectRouterTest, theQuickPassSettlesWhatItIsSureOf) {
  client.answer(answer("project", "/home/ada/shop", 0.6));
  const auto decision = route({.text = "Fix the cart", .facts = {"It is /home/ada/shop."}});
  EXPECT_EQ(decision->projectID, "/home/ada/shop");
  EXPECT_EQ(decision->method, TurnRoutingMethod::automatic);
  EXPECT_EQ(decision->title, "Fix the cart");  // for want of one
  ASSERT_EQ(client.questions.size(), 1u);
  const auto& question = client.questions[0];
  EXPECT_EQ(question.operation, IntelligenceOperation::routing);
  EXPECT_FALSE(question.directory);
  EXPECT_THAT(question.prompt, HasSubstr("- It is /home/ada/shop.\n"));
  EXPECT_THAT(question.prompt, HasSubstr("TODAY: Thursday, January 1, 2026\n"));

  client.answer(answer("answer", "/home/ada/shop"));
  const auto answered = route({.text = "What is this?", .page = PageContext{.url = "https://example.org"}});
  EXPECT_EQ(answered->mode, RouteMode::answer);
  EXPECT_TRUE(!answered->projectID && answered->alternates.empty());
}

TEST_F(ProjectRouterTest, theDeepSearchSettlesWhatIsLeftOpen) {
  writeIndex("## /home/ada/attic\n\n# Folders that no longer exist\n\n- /home/ada/shop\n");
  client.answer(answer("project", "/home/ada/shop", 0.59));
  client.answer(answer("project", "/home/ada/attic", 0.8));
  const auto decision = route();
  EXPECT_EQ(decision->projectID, "/home/ada/attic");
  EXPECT_EQ(decision->method, TurnRoutingMethod::deepSearch);
  EXPECT_TRUE(decision->alternates.empty());  // the index does not have it
  ASSERT_EQ(client.questions.size(), 2u);
  EXPECT_EQ(client.questions[1].operation, IntelligenceOperation::deepRouting);
  EXPECT_EQ(client.questions[1].directory, folder.path());
  EXPECT_THAT(client.questions[1].prompt, HasSubstr("\n- /home/ada/shop: Why\n- /home/ada/tea: Also\n"));

  // A project that is in the catalogue only, or on the list of what is gone, is none.
  client.answer(answer("clarify", ""));
  client.answer(answer("project", "/home/ada/shop"));
  EXPECT_EQ(route()->mode, RouteMode::clarify);

  writeIndex("# The user's coding projects\n\n# Folders that no longer exist\n\n");
  client.answer(answer("clarify", ""));
  EXPECT_EQ(route()->method, TurnRoutingMethod::automatic);
  EXPECT_EQ(client.questions.size(), 5u);  // there was nothing to search
}

TEST_F(ProjectRouterTest, theUserChoosesWhenItMayNotSearchDeeper) {
  writeIndex("## /home/ada/shop\n## /home/ada/tea\n");
  router->setSearchesDeeperAutomatically(false);
  client.answer(answer("project", "/home/ada/shop", 0.59));
  const auto decision = route();
  EXPECT_EQ(decision->mode, RouteMode::clarify);
  EXPECT_EQ(decision->alternates, bothShops);
  EXPECT_EQ(client.questions.size(), 1u);

  client.answer(answer("project", "/home/ada/tea"));
  const auto deeper = queues.run(router->searchDeeper({.text = "Fix the cart"}, *decision));
  EXPECT_EQ(deeper->projectID, "/home/ada/tea");
}

TEST_F(ProjectRouterTest, saysWhyThereIsNoDecision) {
  const std::string unreadable = " could not read the routing answer. Try again, or choose a project.";
  client.answer(R"({"mode":"perhaps"})");
  EXPECT_EQ(failure().first, "Claude Code" + unreadable);
  client.fail(UnreadableAnswer("Not JSON.", "Sure!"));
  provider = AgentProvider::codex;
  EXPECT_EQ(failure().first, "Codex" + unreadable);
  client.fail(Error("Codex did not answer."));
  EXPECT_EQ(failure().first, "Codex did not answer.");

  const std::string reading =
      "Codex is still reading your projects. Choose a project, or search deeper again "
      "in a moment.";
  for (const bool empty : {false, true}) {
    if (empty) writeIndex("");
    client.answer(answer("project", "/home/ada/shop", 0.5));
    EXPECT_EQ(failure(), std::pair(reading, bothShops));
  }
  writeIndex("## /home/ada/shop\n");
  client.answer(answer("project", "/home/ada/shop", 0.5));
  client.answer("{}");
  EXPECT_EQ(failure(), std::pair("Codex" + unreadable, bothShops));
  client.answer(answer("project", "/home/ada/shop", 0.5));
  client.fail(Error("Codex did not answer."));
  EXPECT_EQ(failure(), std::pair(std::string("Codex did not answer."), bothShops));

  const auto asked = client.questions.size();
  EXPECT_THROW(route({.text = " \n"}), Error);  // before anything is asked
  client.missing = "Install an agent.";
  EXPECT_EQ(failure().first, "Install an agent.");
  EXPECT_EQ(client.questions.size(), asked);
  EXPECT_EQ(router->state().value(), RoutingState::idle);
}

Task<std::optional<PageContext>> readSensitivePage() {
  co_return PageContext{
      .url = "https://bank.example/pay?card=42", .title = "Pay", .text = "Secret", .sensitive = true};
}

TEST_F(ProjectRouterTest, showsWhatItDoesAndSendsNothingThatIsSensitive) {
  writeIndex("## /home/ada/shop\n");
  std::vector<std::string> shown;
  const auto watching = router->state().observe([&](RoutingState now) { shown.emplace_back(text(now)); });
  client.answer(answer("clarify", ""));
  client.answer(answer("anywhere", ""));
  queues.run(router->route({.text = "Remind me to pay"}, readSensitivePage));
  EXPECT_THAT(shown, ElementsAre("", "Finding the right project…", "Reading this page…",
                                 "Finding the right project…", ""));
  for (const auto& question : client.questions) {
    EXPECT_THAT(question.prompt, HasSubstr("\nTitle: Pay\nURL: https://bank.example/pay\nPage text: not "));
    EXPECT_THAT(question.prompt, Not(HasSubstr("Secret")));
  }
  EXPECT_EQ(filter.ledger().at(ModelInputSite::routing).filtered, 1u);
  EXPECT_EQ(filter.ledger().at(ModelInputSite::deepRouting).filtered, 1u);
}

TEST_F(ProjectRouterTest, comesToNothingWhenCancelledOrGone) {
  for (const bool gone : {false, true}) {
    const Cancellation cancellation;
    const auto asked = client.questions.size();
    std::optional<std::optional<RouteDecision>> outcome;
    asio::co_spawn(queues.context, router->route({.text = "Fix the cart"}, {}, cancellation),
                   [&](std::exception_ptr error, std::optional<RouteDecision> decision) {
                     EXPECT_FALSE(error);
                     outcome = decision;
                   });
    queues.runUntil([&] { return client.questions.size() > asked; });
    gone ? router.reset() : cancellation.cancel();
    EXPECT_EQ(client.questions.back().cancellation.isCancelled(), !gone);
    gone ? client.answer(answer("project", "/home/ada/shop")) : client.fail(Error("It was cancelled."));
    queues.runUntil([&] { return outcome.has_value(); });
    EXPECT_FALSE(*outcome);
  }
}

TEST_F(ProjectRouterTest, sendsTheRequestWithItsRoutingAndTheNoteForTheAgent) {
  const auto send = [&](RouteDecision decision, bool starts) -> std::string {
    try {
      router->dispatch({.text = "Fix the cart"}, std::move(decision), [&](const auto&) { return starts; });
    } catch (const Error& error) {
      return error.message;
    }
    const auto& sent = *router->lastDispatch();
    return jsonText(encode(sent.routing)) + sent.routing.note() + "|" + sent.agentNote;
  };
  RouteDecision decision{.mode = RouteMode::project,
                         .projectID = "/home/ada/shop",
                         .confidence = 0.75,
                         .reason = "Why",
                         .alternates = {{"/home/ada/tea", "Also"}},
                         .method = TurnRoutingMethod::deepSearch};
  EXPECT_EQ(send(decision, false), "Vale could not start the task. Try again.");
  EXPECT_EQ(send({.mode = RouteMode::answer}, false), "Vale could not start the conversation. Try again.");
  EXPECT_FALSE(router->lastDispatch());
  EXPECT_EQ(
      send(decision, true),
      R"({"method":"deepSearch","projectID":"/home/ada/shop","destination":"Shop","reason":"Why",)"
      R"("confidence":7.5E-1,"alternates":[{"projectID":"/home/ada/tea","name":"tea","reason":"Also"}]})"
      "Routed to Shop Also matched: tea|Vale chose this project for the user's request automatically. "
      "Carry out the request in the current directory.");
  EXPECT_EQ(send(chosen(decision, "/home/ada/tea"), true),
            R"({"method":"chosen","projectID":"/home/ada/tea","destination":"tea","reason":"Why",)"
            R"("alternates":[]})"
            "Routed to tea|");
  EXPECT_THAT(send({.mode = RouteMode::answer}, true), HasSubstr("}Answered as a page conversation|"));
  EXPECT_THAT(send({.mode = RouteMode::anywhere}, true), HasSubstr("}Routed to Anywhere|"));
}

}  // namespace
}  // namespace vale
