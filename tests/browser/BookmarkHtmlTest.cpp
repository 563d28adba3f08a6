#include "browser/BookmarkHtml.h"

#include "support/BrowserTest.h"

#include <gmock/gmock.h>

namespace vale::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

using BookmarkHtmlTest = BrowserTest;

TEST_F(BookmarkHtmlTest, whatBrowsersExportIsReadWithItsFoldersAndItsBar) {
  const auto read = BookmarkHtml::read("\xEF\xBB\xBF<!DOCTYPE NETSCAPE-Bookmark-file-1>\n<!-- <A HREF=\"no\">"
                                       " -->\n<META CONTENT=\"text/html; charset=UTF-8\">\n<TITLE>Bookmarks"
                                       "</TITLE>\n<H1>Menu</H1>\n<DL><p>\n"
                                       "  <DT><H3 ADD_DATE=\"1\" PERSONAL_TOOLBAR_FOLDER=\"true\">Bar</H3>\n"
                                       "  <DL><p>\n"
                                       "    <DT><A HREF=\"https://a.org/?x=1&amp;y='2'\" ICON=\"data:image/"
                                       "png;base64,AA>==\">A &lt;b&gt; &#8211; &#x1F600; &copy; &amp</A>\n"
                                       "    <DT><H3>News › more</H3>\n    <DL><p>\n"
                                       "      <DT><A HREF='https://b.org/'>B <b>bold</b></A>\n    </DL><p>\n"
                                       "  </DL><p>\n"
                                       "  <DT><H3>Other</H3><DD>about it\n  <DL><p>\n"
                                       "    <DT><A href=https://c.org/ >C</A><DD>A description\n  </DL><p>\n"
                                       "  <DT><A HREF=\"https://d.org/\"></A>\n</DL><p>\n");
  EXPECT_THAT(read,
              ElementsAre(ImportedBookmark{"A <b> – 😀 &copy; &amp", "https://a.org/?x=1&y='2'", "", true},
                          ImportedBookmark{"B bold", "https://b.org/", "News > more", true},
                          ImportedBookmark{"C", "https://c.org/", "Other", false},
                          ImportedBookmark{"", "https://d.org/", "", false}));
}

TEST_F(BookmarkHtmlTest, damageCostsNoMoreThanWhatItHits) {
  const std::string a = "<DT><A HREF=\"https://a.org/\">A</A>";
  struct Case {
    std::string html;
    std::size_t links;
    std::string folderOfLast;
  };
  const auto times = [](std::size_t count, const std::string& text) {
    std::string all;
    for (std::size_t i = 0; i < count; ++i) all += text;
    return all;
  };
  const auto deepest = times(BookmarkPath::deepest - 1, "x › ") + "x";
  for (const auto& [html, links, folder] : std::vector<Case>{
           {"", 0, ""},
           {"no tags, 1 < 2 & so on", 0, ""},
           {"<DL><DT><A HREF=\"https://a.org/\">A<DT><A HREF=\"https://b.org/\">B", 2, ""},
           {"</DL></DL>" + a, 1, ""},
           {"<DL><DT><H3>F<DL>" + a, 1, "F"},
           {"<DL><DT><H3>F</H3><DL>" + a + "</DL>" + a, 2, ""},
           {a + "<A HREF=\"https://never.closed/>x</A>", 2, ""},
           {a + "<!-- never closed" + a, 2, ""},
           {a + "<A HREF=", 1, ""},
           {"<A HREF='https://a.org/\xFF\xFE'>\xFF&#xD800;&#99999999999;&#;</A>", 1, ""},
           {"<A NAME=\"x\">no address</A><A HREF=''>none</A>" + a, 1, ""},
           {times(100'000, "<DL><DT><H3>x</H3>") + a, 1, deepest},
           {times(100'000, "<DL>") + times(100'000, "</DL>") + "<H3>F</H3><DL>" + a, 1, "F"},
           {times(300'000, "<a '") + a, 1, ""},
           {times(300'000, "<!--") + a, 1, ""},
           {times(300'000, "<") + a, 1, ""},
           {times(300'000, "&") + a, 1, ""},
           {"<A HREF=\"https://" + std::string(1'000'000, 'x') + "\">long</A>" + a, 1, ""},
           {std::string("<A HREF=\"https://a.org/\">") + std::string(3, '\0') + "</A>", 1, ""}}) {
    const auto read = BookmarkHtml::read(html);
    EXPECT_EQ(read.size(), links) << html.substr(0, 90);
    const auto last = read.empty() ? std::string() : BookmarkPath::bounded(read.back().folder);
    EXPECT_EQ(last, folder) << html.substr(0, 90);
  }
}

TEST_F(BookmarkHtmlTest, whatIsWrittenIsReadAgain) {
  Bookmarks bookmarks(*session);
  bookmarks.add("</A><DT> & \"quotes\" 'x'", "https://a.org/?a=<b>&c=\"d\"");
  bookmarks.add("deep", "https://b.org/", "F › <G> & › H");
  bookmarks.add("flat", "https://c.org/", "Z");
  bookmarks.makeFolder("", "</DL>");
  std::vector<ImportedBookmark> expected;
  for (const auto& one : bookmarks.all()) {
    expected.push_back({one.title, one.url, Bookmarks::folderOf(one), true});
  }
  EXPECT_EQ(BookmarkHtml::read(BookmarkHtml::write(bookmarks)), expected);
}

}  // namespace
}  // namespace vale::test
