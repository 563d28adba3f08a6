#include "browser/ContentRules.h"
#include "browser/FilterPattern.h"
#include "browser/SearchEngines.h"
#include "common/Error.h"
#include "common/Json.h"
#include "common/Text.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <regex>

/// Feeds any bytes to what reads filter lists and search engines, and checks that only what the web engine
/// takes comes out.
namespace {

using namespace vale;

void require(bool holds, const char* rule) {
  if (holds) return;
  std::fprintf(stderr, "Broken: %s.\n", rule);
  std::abort();
}

void checkExpression(std::string_view expression) {
  require(!expression.empty() && expression.size() < 16 * 1024, "an expression is short");
  bool escaped = false;
  for (const char c : expression) {
    require(c > ' ' && c < 0x7F, "an expression is ASCII");
    require(escaped || (c != '|' && c != '{' && c != '}'), "an expression has neither choices nor counts");
    escaped = !escaped && c == '\\';
  }
  // It is at least an expression of the common kind.
  std::regex compiled{std::string(expression)};
}

void checkRules(std::string_view text) {
  const auto made = ContentRules::make({FilterList::parse(text)});
  for (const auto& blocker : made.blockers) {
    require(!blocker.own.empty(), "a blocker has rules");
    const auto whole = blocker.text();
    require(isValidUtf8(whole), "the rules are UTF-8");
    const auto rules = parseJson(whole);
    require(rules.as_array().size() == blocker.own.size() + blocker.exceptions->size(),
            "no rule makes another");
    for (const auto& rule : rules.as_array()) {
      checkExpression(decode<std::string>(rule.at("trigger").at("url-filter")));
      const auto& trigger = rule.at("trigger").as_object();
      const auto conditions =
          trigger.count("if-domain") + trigger.count("unless-domain") + trigger.count("if-top-url");
      require(conditions <= 1, "a rule has one condition");
    }
  }
}

void checkEngines(std::string_view text) {
  const auto value = tryParseJson(text);
  const auto list = SearchEngineList::read(value ? &*value : nullptr, value ? &*value : nullptr);
  require(list.chosen < list.engines.size(), "there is an engine");
  const auto search = list.search(text);
  require(!search.address.empty() && search.words.size() <= text.size(), "words get an address");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  checkRules(text);
  checkEngines(text);
  return 0;
}
