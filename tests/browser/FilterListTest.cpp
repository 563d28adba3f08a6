#include "browser/ContentRules.h"
#include "browser/FilterLine.h"
#include "browser/FilterPattern.h"
#include "browser/OwnFilters.h"
#include "common/Json.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <regex>

namespace vale {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

TEST(FilterPattern, matchesTheAddressesThatAnEasyListPatternDoes) {
  struct Case {
    std::string pattern;
    std::vector<std::string> matches, others;
  };
  const Case cases[] = {
      {"||ads.org^",
       {"https://ads.org/", "http://x.ads.org:8/y", "wss://a.b.ads.org/"},
       {"https://ads.organic/", "https://bads.org/", "https://a.org/ads.org/", "https://ads.org.evil/"}},
      {"||ads.org^a*b", {"https://ads.org/a..b", "https://ads.org/ab/"}, {"https://ads.orga.b"}},
      {"|https://a.org/x|", {"https://a.org/x"}, {"https://a.org/xy", "http://b/?https://a.org/x"}},
      {"/ads/*.js?v=(1)[2]{3}$+", {"https://a/ads/x.js?v=(1)[2]{3}$+"}, {"https://a/ads/xjs?v=(1)[2]{3}$+"}},
      {"&ad=^", {"http://a/?&ad=", "http://a/?&ad=&b"}, {"http://a/?&ad=1", "http://a/?&ad=%20"}},
      {"**track**", {"http://a/track"}, {"http://a/trac"}},
      {R"(/^https?:\/\/[a-z0-9-]{0}/)", {}, {}},
      {R"(/^https?:\/\/(cdn\d\.)?ads[\/.-]+x$/)",
       {"https://cdn1.ads./-x", "http://ads.x"},
       {"https://cdn.ads.x", "https://ads.xy"}},
      {R"(/[^a-c\d]banner[\w.-]/)", {"http://x/banner_"}, {"http://x/1banner_", "http://x/banner/"}},
  };
  for (const auto& [pattern, matches, others] : cases) {
    const auto expressions = filterExpressions(pattern);
    const auto found = [&](const std::string& address) {
      return std::ranges::any_of(expressions, [&](const auto& expression) {
        return std::regex_search(address, std::regex(expression));
      });
    };
    for (const auto& address : matches) EXPECT_TRUE(found(address)) << pattern << " " << address;
    for (const auto& address : others) EXPECT_FALSE(found(address)) << pattern << " " << address;
  }
}

TEST(FilterPattern, leavesOutWhatTheEngineDoesNotKnow) {
  for (const std::string pattern : {"/ads|banner/",
                                    "/ads{2}/",
                                    "/(?=ads)x/",
                                    "/(?!ads)x/",
                                    "/ads(a+)+/",
                                    "/(ads)\\1/",
                                    "/\\bads/",
                                    "/\\sads/",
                                    "/ads.*?x/",
                                    "/a^ds/",
                                    "/a$ds/",
                                    "/*ads/",
                                    "/()ads/",
                                    "/(ads/",
                                    "/ads)/",
                                    "/[ads/",
                                    "/[]ads/",
                                    "/[z-a]ads/",
                                    "/[a[b]ads/",
                                    "/ads\\/",
                                    "/.*/",
                                    "/a+/",
                                    "/ads\xC3\xA9/",
                                    "ads\xC3\xA9",
                                    "two words",
                                    "||",
                                    "|",
                                    "a*b*c*d*e*f*g*h*i*j",
                                    "/ads.*.*.*.*.*.*.*.*.*/",
                                    "/(((((ads)))))/"}) {
    EXPECT_THAT(filterExpressions(pattern), testing::IsEmpty()) << pattern;
  }
  EXPECT_THAT(filterExpressions(std::string(1025, 'x')), testing::IsEmpty());
}

FilterList parse(std::string_view text) { return FilterList::parse(text); }

TEST(FilterList, readsTheOptionsOfRequests) {
  const auto bits = [](auto... types) { return (static_cast<std::uint32_t>(types) | ...); };
  using enum FilterType;
  const auto read = [](std::string_view line) { return std::get<RequestFilter>(readFilterLine(line)); };
  EXPECT_EQ(read("||a.org^").types, resourceTypes);
  EXPECT_EQ(read("||a.org^$script,css").types, bits(script, stylesheet));
  EXPECT_EQ(read("||a.org^$~script").types, resourceTypes & ~bits(script));
  EXPECT_EQ(read("||a.org^$doc,popup").types, bits(page, popup));
  EXPECT_EQ(read("@@||a.org^$generichide").types, bits(genericHiding));
  EXPECT_EQ(read("||a.org^$3p,match-case").party, FilterParty::third);
  EXPECT_EQ(read("||a.org^$~third-party").party, FilterParty::first);
  EXPECT_EQ(read("||a.org^$important").effect, RequestFilter::Effect::blockAlways);
  EXPECT_EQ(read("@@||a.org^$important").effect, RequestFilter::Effect::allow);
  EXPECT_THAT(read("$image,domain=A.org|google.*|b.org.").sites.only, ElementsAre("a.org", "b.org"));
  EXPECT_THAT(read("ads$domain=~a.org").sites.allBut, ElementsAre("a.org"));
  EXPECT_THAT(read("0.0.0.0 ads.org # x").expressions, ElementsAre(filterExpressions("||ads.org^")[0]));
  EXPECT_THAT(read("/a$b/c").expressions, ElementsAre("/a\\$b/c"));
  EXPECT_THAT(read("/ads$/").expressions, ElementsAre("ads$"));
}

TEST(FilterList, countsWhatCannotBeKept) {
  for (const std::string line : {"*",
                                 "*$third-party",
                                 "$~script",
                                 "||a.org^$redirect=noop.js",
                                 "||a.org^$csp=script-src 'none'",
                                 "||a.org^$removeparam=x",
                                 "||a.org^$badfilter",
                                 "||a.org^$domain=a.org|~b.a.org",
                                 "||a.org^$domain=google.*",
                                 "||a.org^$domain=~*.org",
                                 "||a.org^$script,~image",
                                 "||a.org^$elemhide",
                                 "||a.org^$~match-case",
                                 "@@||a.org^$document,domain=b.org",
                                 "a.org##+js(x)",
                                 "a.org#?#div:has-text(x)",
                                 "a.org##div:contains(x)",
                                 "a.org#$#body { color: red }",
                                 "a.org,~b.a.org##.ad",
                                 "google.*##.ad",
                                 "##",
                                 "##.ad{}",
                                 "##a{} b{color:red}",
                                 "##.ad /* x",
                                 "##.ad</style>",
                                 "##[a=\"x]",
                                 "##.ad]",
                                 "##:is(.a",
                                 "##.a\\",
                                 "##.\xFF",
                                 "##.ad:upward(1)",
                                 "##^script",
                                 "##@media x",
                                 "0.0.0.0 a_b..c/d"}) {
    const auto list = parse(line);
    EXPECT_EQ(list.used(), 0u) << line;
    EXPECT_EQ(list.notUnderstood, 1u) << line;
  }
  EXPECT_EQ(describeFilters(41234, 812), "41,234 rules used, 812 not understood");
  EXPECT_EQ(describeFilters(1, 0), "1 rule used");
  EXPECT_EQ(describeFilters(1234567, 1000), "1,234,567 rules used, 1,000 not understood");
}

TEST(FilterList, takesAnyBytes) {
  const auto list =
      parse("\xEF\xBB\xBF[Adblock Plus 2.0]\r\n! Title:  My \u202e list \r\n\r\n! note\n# hosts\n"
            "127.0.0.1 localhost\n  ||a.org^  \r##.ad\n!#if x\n||b.org^\n!#endif\n||c.org^");
  EXPECT_EQ(list.title, "My   list");
  EXPECT_EQ(list.used(), 3u);
  EXPECT_EQ(list.notUnderstood, 1u);
  EXPECT_EQ(parse(std::string(10'000'000, 'x')).notUnderstood, 1u);
  EXPECT_EQ(parse(std::string(1000, '\0')).used(), 0u);
  std::string many;
  for (std::size_t i = 0; i < FilterList::mostFilters + 5; ++i) many += "ad\n";
  EXPECT_EQ(parse(many).used(), FilterList::mostFilters);
  EXPECT_EQ(parse(many).leftOut, 5u);
}

/// The rules of all blockers, shortened: what is done, to what.
std::vector<std::string> rulesOf(const std::vector<std::string>& texts) {
  std::vector<FilterList> lists;
  for (const auto& text : texts) lists.push_back(parse(text));
  std::vector<std::string> rules;
  for (const auto& blocker : ContentRules::make(lists).blockers) {
    const auto parsed = parseJson(blocker.text());
    for (const auto& rule : parsed.as_array()) {
      const auto action = decode<std::string>(rule.at("action").at("type"));
      auto trigger = rule.at("trigger").as_object();
      std::string text = action.substr(0, 1) + " ";
      if (action[0] == 'c') text += decode<std::string>(rule.at("action").at("selector")) + " ";
      const auto filter = decode<std::string>(trigger["url-filter"]);
      trigger.stable_erase("url-filter");
      rules.push_back(text + (filter == everyAddress ? "" : filter + " ") + jsonText(trigger));
    }
    rules.emplace_back("-");
  }
  return rules;
}

TEST(ContentRules, putWhatUndoesAfterWhatItUndoes) {
  const std::string freeWay[] = {R"(i {"resource-type":["document"],"load-context":["top-frame"]})",
                                 R"(i {"resource-type":["popup"]})"};
  EXPECT_THAT(
      rulesOf({"@@ok\nads$frame,image\n!x\nalways$important", "ads2\npage$doc,popup\n@@||a.org^$doc"}),
      ElementsAre(R"(b ads {"resource-type":["image","svg-document"]})",
                  R"(b ads {"resource-type":["document"],"load-context":["child-frame"]})", "b ads2 {}",
                  "i ok {}", "b always {}", freeWay[0], freeWay[1],
                  R"(b page {"resource-type":["document"],"load-context":["top-frame"]})",
                  R"(b page {"resource-type":["popup"]})",
                  R"(i {"if-top-url":["^[^:]+://([^/]+\\.)?a\\.org[:/]"]})", "-"));
  EXPECT_THAT(
      rulesOf({"##.b\na.org,b.org##.a\n##.x\n#@#.x\nb.org#@#.a\nc.org#@#.b\n@@||d.org^$ghide\n@@|e$ehide"}),
      ElementsAre(R"(c .b {"unless-domain":["*c.org"]})",
                  R"(i {"if-top-url":["^[^:]+://([^/]+\\.)?d\\.org[:/]"]})", R"(i {"if-top-url":["^e"]})",
                  "-", R"(c .a {"if-domain":["*a.org"]})", R"(i {"if-top-url":["^e"]})", "-"));
  EXPECT_THAT(rulesOf({"only$important"}), ElementsAre("b only {}", freeWay[0], freeWay[1], "-"));
  EXPECT_THAT(rulesOf({"", "@@ok\n##.a:is(\"]\")"}), ElementsAre(R"(c .a:is("]") {})", "-"));
  EXPECT_THAT(
      rulesOf({"ads$3p,match-case,domain=~a.org"})[0],
      HasSubstr(
          R"({"url-filter-is-case-sensitive":true,"load-type":["third-party"],"unless-domain":["*a.org"]})"));
}

TEST(ContentRules, areCutIntoPiecesThatEachKeepTheExceptions) {
  std::string text = "@@ok\n";
  const auto count = ContentRules::mostRules + 10;
  for (std::size_t i = 0; i < count; ++i) text += "ads" + std::to_string(i) + "\n";
  const auto made = ContentRules::make({parse(text)});
  ASSERT_EQ(made.blockers.size(), 2u);
  EXPECT_EQ(made.leftOut, 0u);
  EXPECT_EQ(made.blockers[0].own.size() + made.blockers[0].exceptions->size(), ContentRules::mostRules);
  EXPECT_EQ(made.blockers[0].own.size() + made.blockers[1].own.size(), count);
  EXPECT_THAT(made.blockers[1].text(), HasSubstr("\"ok\""));
  const auto [first, second] = made.blockers[1].halves();
  EXPECT_EQ(first.own.size() + second.own.size(), made.blockers[1].own.size());
  EXPECT_THAT(second.text(), HasSubstr("\"ok\""));
}

TEST(ContentRules, keepWhatTheEngineNeedsLongForInSmallPieces) {
  std::string text;
  for (std::size_t i = 0; i < ContentRules::mostOpen + 7; ++i) text += "/ad" + std::to_string(i) + "/*/x\n";
  const auto made = ContentRules::make({parse(text + "||a.org/*/x\nads\n")});
  EXPECT_EQ(made.leftOut, 7u);
  EXPECT_EQ(made.blockers.size(), 1 + ContentRules::mostOpen / ContentRules::mostOpenTogether);
  EXPECT_EQ(made.blockers[0].own.size(), 2u);
}

TEST(ContentRules, theProgramsOwnListIsUnderstoodWhole) {
  const auto list = parse(ownFilters);
  EXPECT_GT(list.used(), 40u);
  EXPECT_EQ(list.notUnderstood, 0u);
  for (const auto& filter : list.requests) EXPECT_EQ(filter.party, FilterParty::third);
}

}  // namespace
}  // namespace vale
