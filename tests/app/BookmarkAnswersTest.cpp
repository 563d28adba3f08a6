#include "app/BookmarkAnswers.h"

#include "app/BookmarkTransfer.h"
#include "browser/BookmarkHtml.h"
#include "common/FileDescriptor.h"
#include "common/PrivateFiles.h"
#include "support/BrowserTest.h"

#include <gmock/gmock.h>

namespace vale::test {
namespace {

using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;

struct BookmarkAnswersTest : BrowserTest {
  Bookmarks bookmarks{*session};
  BookmarkAnswers answers{bookmarks};
  BookmarkTransfer transfer{bookmarks, {queues.main, queues.workers, clock}};

  json::object ask(const json::object& question) {
    return parseJson(answers.answer(jsonText(question))).as_object();
  }
  std::string titles(const json::object& question) {
    std::string found;
    const auto answer = ask(question);
    for (const auto& one : answer.at("bookmarks").as_array()) {
      found += std::string(one.at("title").as_string()) + ";";
    }
    return found;
  }
  std::string importing(const std::filesystem::path& file) {
    std::optional<BookmarkTransferResult> result;
    transfer.importFrom(file, [&](auto told) { result = std::move(told); });
    queues.runUntil([&] { return result.has_value(); });
    return (result->failed ? "failed: " : "") + result->sentence;
  }
};

TEST_F(BookmarkAnswersTest, thePageListsSearchesAndChanges) {
  const auto made = ask({{"ask", "makeFolder"}, {"folder", ""}, {"name", "<b>Work</b>"}}).at("folder");
  EXPECT_EQ(made, "<b>Work</b>");
  ask({{"ask", "add"}, {"title", "Ants"}, {"url", "ants.org"}, {"folder", made}});
  ask({{"ask", "add"}, {"title", "Bees"}, {"url", "https://bees.org/"}, {"folder", made}});
  ask({{"ask", "add"}, {"title", "Top"}, {"url", "https://top.org/"}});
  EXPECT_EQ(titles({{"ask", "list"}, {"folder", made}}), "Ants;Bees;");
  EXPECT_EQ(titles({{"ask", "list"}, {"folder", made}, {"limit", 1}}), "Ants;");
  EXPECT_EQ(ask({{"ask", "list"}, {"folder", made}, {"limit", 1}}).at("more"), true);
  EXPECT_EQ(titles({{"ask", "list"}, {"text", " WORK ees"}}), "Bees;");
  EXPECT_EQ(titles({{"ask", "list"}}), "Top;");
  EXPECT_EQ(ask({{"ask", "list"}}).at("folders").at(1).at("count"), 2);
  std::vector<std::string> opened;
  answers.open = [&](const auto& addresses) { opened = addresses; };
  ask({{"ask", "openAll"}, {"folder", made}});
  EXPECT_THAT(opened, ElementsAre("https://ants.org", "https://bees.org/"));
  const auto id = bookmarks.all()[0].id.text();
  EXPECT_EQ(ask({{"ask", "edit"}, {"id", id}, {"title", "x"}, {"url", "javascript:1"}, {"folder", ""}})
                .at("problem"),
            "A bookmark cannot hold a script, only the address of a page.");
  ask({{"ask", "move"}, {"id", id}, {"folder", ""}, {"before", bookmarks.all()[2].id.text()}});
  EXPECT_EQ(titles({{"ask", "list"}}), "Ants;Top;");
  EXPECT_EQ(ask({{"ask", "removeFolder"}, {"folder", made}}).at("count"), 1);
  EXPECT_EQ(ask({{"ask", "undo"}}).at("restored"), true);
  EXPECT_EQ(titles({{"ask", "list"}, {"folder", made}}), "Bees;");
  for (const json::object& odd :
       {json::object{{"ask", "rule"}}, json::object{}, json::object{{"ask", "edit"}},
        json::object{{"ask", "list"}, {"limit", "many"}}}) {
    EXPECT_TRUE(ask(odd).contains("problem")) << jsonText(odd);
  }
}

TEST_F(BookmarkAnswersTest, filesComeInAndGoOutWithASentence) {
  const auto file = folder / "a “b”.html";
  const auto write = [&](const std::string& html) { PrivateFiles::write(html, file); };
  EXPECT_THAT(importing(folder / "none.html"), HasSubstr("No such file"));
  EXPECT_THAT(importing(folder.path()), testing::StartsWith("failed: Could not"));
  write("<html>nothing</html>");
  EXPECT_EQ(importing(file),
            "failed: “a “b”.html” holds no bookmarks. Choose the HTML file that a browser exported.");
  const std::string list = "<DL><DT><A HREF=\"https://a.org/\">A</A><DT><A HREF=\"javascript:x\">S</A>";
  write(list);
  EXPECT_EQ(importing(file), "1 bookmark imported; 1 left out, whose address Vale does not open.");
  EXPECT_EQ(importing(file),
            "Nothing new was imported; 1 was there already; 1 left out, whose address Vale does not open.");
  write(std::string(BookmarkHtml::largestFile + 1, ' '));
  EXPECT_THAT(importing(file), testing::StartsWith("failed: Could not"));
  std::optional<BookmarkTransferResult> result;
  transfer.exportTo(file, [&](auto told) { result = std::move(told); });
  queues.runUntil([&] { return result.has_value(); });
  EXPECT_EQ(result->sentence, "1 bookmark exported to “a “b”.html”.");
  EXPECT_EQ(*readFile(file), BookmarkHtml::write(bookmarks));
  result.reset();
  transfer.exportTo(file / "x", [&](auto told) { result = std::move(told); });
  queues.runUntil([&] { return result.has_value(); });
  EXPECT_TRUE(result->failed);
  EXPECT_THAT(result->sentence, EndsWith("."));
}

}  // namespace
}  // namespace vale::test
