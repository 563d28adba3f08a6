#include "browser/SearchEngines.h"

#include "common/FileDescriptor.h"
#include "common/PrivateFiles.h"
#include "support/ManualClock.h"
#include "support/TemporaryFolder.h"
#include "support/TestQueues.h"

#include <gmock/gmock.h>

namespace vale::test {
namespace {

using testing::HasSubstr;

struct SearchEnginesTest : testing::Test {
  TemporaryFolder folder;
  TestQueues queues;
  ManualClock clock;
  std::filesystem::path file = folder / "preferences.json";

  std::unique_ptr<Preferences> preferences() {
    return std::make_unique<Preferences>(file, queues.main, queues.workers, clock);
  }
};

TEST_F(SearchEnginesTest, anEngineIsAddedChosenAskedAndRemoved) {
  const auto settings = preferences();
  SearchEngines engines(*settings);
  const AddressInput input("/", [&](std::string_view words) { return engines.list().value().search(words); });
  EXPECT_EQ(input.interpret("a b").address, "https://duckduckgo.com/?q=a%20b");
  EXPECT_EQ(engines.add({" Müll \n", " MÜ ", " http://localhost:8080/find?x=%s&y=%s "}), std::nullopt);
  const auto request = input.interpret("mÜ  a&b {searchTerms} c");
  EXPECT_EQ(request.address, "http://localhost:8080/find?x=a%26b%20%7BsearchTerms%7D%20c&y=%s");
  EXPECT_EQ(request.engine, "Müll");
  EXPECT_EQ(request.words, "a&b {searchTerms} c");
  engines.choose("mü");
  engines.choose("nobody");
  EXPECT_EQ(input.search("x.org").address, "http://localhost:8080/find?x=x.org&y=%s");
  EXPECT_EQ(input.interpret("w gtk").address, "https://en.wikipedia.org/w/index.php?search=gtk");
  // A keyword alone, or further on, is a word like another.
  EXPECT_EQ(input.interpret("w").engine, "Müll");
  EXPECT_EQ(input.interpret("the w gtk").words, "the w gtk");
  EXPECT_EQ(input.interpret("w.org").kind, AddressRequest::Kind::page);
  settings->save();
  EXPECT_EQ(SearchEngines(*preferences()).list().value(), engines.list().value());
  engines.remove("w");
  engines.remove(engines.list().value().preferred().keyword);
  EXPECT_EQ(engines.list().value(), SearchEngineList());
}

TEST_F(SearchEnginesTest, whatIsNoEngineIsRefusedWithASentence) {
  const auto settings = preferences();
  SearchEngines engines(*settings);
  const std::string good = "https://a.org/?q={searchTerms}";
  const std::tuple<SearchEngine, std::string> cases[] = {
      {{"", "k", good}, "needs a name"},
      {{std::string(81, 'x'), "k", good}, "name is too long"},
      {{"Bing", "k", good}, "called “Bing” already"},
      {{"N", "", good}, "one short word"},
      {{"N", "two words", good}, "one short word"},
      {{"N", "a/b", good}, "one short word"},
      {{"N", "a.b", good}, "one short word"},
      {{"N", "\u202e", good}, "one short word"},
      {{"N", "\xFF", good}, "one short word"},
      {{"N", std::string(25, 'k'), good}, "one short word"},
      {{"N", "W", good}, "“Wikipedia” has the keyword “w” already"},
      {{"N", "k", "https://a.org/"}, "no place for the words"},
      {{"N", "k", "https://{searchTerms}.org/"}, "not the address of a web page"},
      {{"N", "k", "https://a.org:{searchTerms}/"}, "not the address of a web page"},
      {{"N", "k", "javascript:alert('{searchTerms}')"}, "not the address of a web page"},
      {{"N", "k", "file:///{searchTerms}"}, "not the address of a web page"},
      {{"N", "k", "https://a.org/\n{searchTerms}"}, "not the address of a web page"},
      {{"N", "k", good + std::string(2048, 'x')}, "too long"}};
  for (const auto& [engine, sentence] : cases) {
    const auto problem = engines.add(engine);
    ASSERT_TRUE(problem) << engine.name << engine.keyword << engine.address;
    EXPECT_THAT(*problem, HasSubstr(sentence));
  }
}

TEST_F(SearchEnginesTest, settingsWrittenByAnybodyAreReadAsFarAsTheyGoAndKept) {
  const std::string list =
      R"([7,{"name":"N"},{"name":"A","keyword":"a","address":"https://a.org/{searchTerms}","more":1},)"
      R"({"name":"B","keyword":"w","address":"https://b.org/{searchTerms}"},)"
      R"({"name":"C","keyword":"c","address":"vale://{searchTerms}"}])";
  PrivateFiles::write(R"({"ValeSearchEngine":"c","ValeSearchEngines":)" + list + "}", file);
  const auto settings = preferences();
  SearchEngines engines(*settings);
  const auto builtIn = SearchEngineList::builtIn().size();
  ASSERT_EQ(engines.list().value().engines.size(), builtIn + 1);
  EXPECT_EQ(engines.list().value().engines.back().name, "A");
  EXPECT_EQ(engines.list().value().chosen, 0u);
  ASSERT_EQ(engines.add({"D", "d", "https://d.org/{searchTerms}"}), std::nullopt);
  engines.remove("d");
  settings->save();
  EXPECT_THAT(readFile(file).value(), HasSubstr(list));
  for (const std::string broken : {"1", "{}", "\"x\"", "[[[]]]"}) {
    const auto value = parseJson(broken);
    EXPECT_EQ(SearchEngineList::read(&value, &value), SearchEngineList()) << broken;
  }
}

}  // namespace
}  // namespace vale::test
