#include "app/Markdown.h"

#include "common/Text.h"

#include <fmt/format.h>
#include <gmock/gmock.h>

namespace vale {
namespace {

/// One line a block: its kind, its place, its markup.
std::string laidOut(std::string_view text) {
  std::string lines;
  for (const auto& block : markdownBlocks(text)) {
    lines += fmt::format("{}{}{} {}{}\n", "phctr"[static_cast<int>(block.kind)],
                         std::string(block.lists, '-'), std::string(block.quotes, '>'),
                         block.marker.empty() ? "" : block.marker + " ", block.markup);
  }
  return lines;
}

TEST(Markdown, laysBlocksOneBelowTheOther) {
  const std::vector<std::pair<std::string, std::string>> cases = {
      {"# A *b*\n\ntwo\nlines  \nbroken", "h A <i>b</i>\np two lines\nbroken\n"},
      {"1. a\n2. b\n   - c\n\n     d\n\n> q\n> > r", "p- 1. a\np- 2. b\np-- • c\np-- d\np> q\np>> r\n"},
      {"- [x] done\n- [ ] open", "p- ☑ done\np- ☐ open\n"},
      {"```sh\nls <a>\n\ncd\n```\n\n---", "c ls &lt;a&gt;\n\ncd\nr \n"},
      {"| a | b |\n|---|---|\n| `long` | **x** |\n", "t a     b\n────  ─  \nlong  x\n"},
      {"**b *i* ~~s~~ `c<`**", "p <b>b <i>i</i> <s>s</s> <tt>c&lt;</tt></b>\n"},
      {"", ""},
      {"unclosed **bold and `code", "p unclosed **bold and `code\n"}};
  for (const auto& [text, expected] : cases) EXPECT_EQ(laidOut(text), expected) << text;
}

TEST(Markdown, letsNothingOfTheSourceBeMarkupOrALinkElsewhere) {
  const std::vector<std::pair<std::string, std::string>> cases = {
      {"<script>a</script> <b>c</b>", "p &lt;script&gt;a&lt;/script&gt; &lt;b&gt;c&lt;/b&gt;\n"},
      {"<div onclick='x'>\n<p>\n</div>", "p &lt;div onclick=&#39;x&#39;&gt;\n&lt;p&gt;\n&lt;/div&gt;\n"},
      {"a <span size=\"99999\">b", "p a &lt;span size=&quot;99999&quot;&gt;b\n"},
      {"[a](javascript:alert(1)) [b](file:///etc/passwd) [c](vale://history) [d](data:text/html,x)",
       "p a b c d\n"},
      {"[https://bank.org](https://evil.org/?a=1&b='\"<)",
       "p <a href=\"https://evil.org/?a=1&amp;b=&#39;&quot;&lt;\" "
       "title=\"https://evil.org/?a=1&amp;amp;b=&amp;#39;&amp;quot;&amp;lt;\">https://bank.org</a>\n"},
      {"[m](MAILTO:a@b.org)", "p <a href=\"MAILTO:a@b.org\" title=\"MAILTO:a@b.org\">m</a>\n"},
      {"![pixel](https://t.org/p.png)", "p <a href=\"https://t.org/p.png\" title=\"https://t.org/p.png\">"
                                        "Image: pixel</a>\n"},
      {"![x](javascript:a)", "p Image: x\n"},
      {"a\x01"
       "b\u202Egnp.exe \xFF&amp;",
       "p a b gnp.exe \uFFFD&amp;\n"}};
  for (const auto& [text, expected] : cases) EXPECT_EQ(laidOut(text), expected) << text;
}

TEST(Markdown, staysBalancedAndBoundedWhateverComes) {
  std::string deep, stars;
  for (int i = 0; i < 3'000; ++i) {
    deep += "> - ";
    stars += "**a *b ";
  }
  const std::string wide(50'000, 'x');
  for (const auto& text :
       {deep, stars, "**" + wide + "é**", "# [" + wide + "](https://a.org)", "```\n" + wide,
        std::string(20'000, '['), std::string(5'000, '<'), "|" + std::string(5'000, '|')}) {
    for (const auto& block : markdownBlocks(text)) {
      EXPECT_LE(block.markup.size(), 60'000U);
      EXPECT_LE(block.lists, 8);
      EXPECT_TRUE(isValidUtf8(block.markup));
      const auto count = [&](std::string_view tag) {
        std::size_t found = 0;
        for (auto at = block.markup.find(tag); at != std::string::npos; at = block.markup.find(tag, at + 1))
          ++found;
        return found;
      };
      EXPECT_EQ(count("<b>"), count("</b>"));
      EXPECT_EQ(count("<i>"), count("</i>"));
      EXPECT_EQ(count("<a "), count("</a>"));
    }
  }
  // All of a long text is there.
  std::size_t shown = 0;
  for (const auto& block : markdownBlocks(wide)) shown += block.markup.size();
  EXPECT_EQ(shown, wide.size());
}

TEST(Markdown, beginsWithWholeLinesAndCharacters) {
  EXPECT_EQ(markdownBeginning("one\ntwo", 7), "one\ntwo");
  EXPECT_EQ(markdownBeginning("one\ntwo", 6), "one");
  EXPECT_EQ(markdownBeginning("aéé", 4), "aé");
  EXPECT_EQ(markdownBeginning("\nabc", 3), "\nab");
}

}  // namespace
}  // namespace vale
