#include "browser/Bookmarks.h"

#include "browser/BookmarkHtml.h"
#include "common/Error.h"
#include "support/BrowserTest.h"

#include <gmock/gmock.h>

namespace vale::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

struct BookmarksTest : BrowserTest {
  Bookmarks bookmarks{*session};

  std::vector<std::string> titles(const std::string& folder = {}) const {
    std::vector<std::string> found;
    for (const auto* one : bookmarks.in(folder)) found.push_back(one->title);
    return found;
  }
  std::vector<std::string> folders() const {
    std::vector<std::string> found;
    for (const auto& one : bookmarks.folders()) found.push_back(one.path);
    return found;
  }
  Uuid add(const std::string& title, const std::string& folder = {}) {
    return bookmarks.add(title, "https://" + title + ".org/", folder);
  }
  static std::string refusal(const std::function<void()>& work) {
    try {
      work();
    } catch (const Error& error) {
      return error.message;
    }
    return "";
  }
};

TEST_F(BookmarksTest, whatIsTypedBecomesABookmarkOrASentence) {
  struct Case {
    std::string title, address, keptTitle, keptAddress;
  };
  const std::string endless(1'000'000, 'x'), hostile = "a\nb\u202Ec\xFF";
  for (const auto& [title, address, keptTitle, keptAddress] :
       std::vector<Case>{{" A ", " https://a.org/x ", "A", "https://a.org/x"},
                         {"", "example.org", "https://example.org", "https://example.org"},
                         {hostile, "localhost:8080/a", "a b c\uFFFD", "https://localhost:8080/a"},
                         {endless, "vale://history", std::string(500, 'x'), "vale://history"},
                         {"s", "JavaScript:alert(1)", "", ""},
                         {"s", "", "", ""},
                         {"s", "two words", "", ""},
                         {"s", "chrome://settings", "", ""},
                         {"s", "https://", "", ""},
                         {"s", "https://a.org/" + endless, "", ""}}) {
    const auto before = bookmarks.all().size();
    const auto said = refusal([&] { bookmarks.add(title, address); });
    EXPECT_EQ(said.empty(), !keptAddress.empty()) << address.substr(0, 80) << said;
    ASSERT_EQ(bookmarks.all().size(), before + (said.empty() ? 1 : 0));
    if (!said.empty()) continue;
    EXPECT_EQ(bookmarks.all().back().title, keptTitle);
    EXPECT_EQ(bookmarks.all().back().url, keptAddress);
  }
}

TEST_F(BookmarksTest, anAddressIsFoundHoweverItIsWritten) {
  const auto id = bookmarks.add("A", "https://A.org/x/");
  const auto inbox = bookmarks.add("Inbox", "https://mail.org/#inbox");
  for (const std::string address : {"https://a.org/x", "HTTPS://a.ORG/x/"}) {
    ASSERT_TRUE(bookmarks.findAddress(address)) << address;
    EXPECT_EQ(bookmarks.findAddress(address)->id, id);
  }
  EXPECT_EQ(bookmarks.findAddress("https://mail.org/#inbox")->id, inbox);
  for (const std::string other : {"https://a.org/X", "http://a.org/x", "https://mail.org/#sent", ""})
    EXPECT_FALSE(bookmarks.findAddress(other)) << other;
  bookmarks.edit(id, "A", "b.org", "");
  EXPECT_FALSE(bookmarks.findAddress("https://a.org/x"));
  bookmarks.remove({inbox});
  EXPECT_FALSE(bookmarks.findAddress("https://mail.org/#inbox"));
}

TEST_F(BookmarksTest, foldersAreMadeRenamedMovedAndBounded) {
  const auto work = bookmarks.makeFolder("", " Work ›\n2 ");
  EXPECT_EQ(work, "Work > 2");
  const auto inner = bookmarks.makeFolder(work, "›");
  EXPECT_EQ(inner, "Work > 2 › >");
  add("deep", inner + " › made on the way");
  bookmarks.makeFolder("", "Work");
  EXPECT_THAT(folders(), ElementsAre(work, inner, inner + " › made on the way", "Work"));
  EXPECT_EQ(bookmarks.renameFolder(work, "W"), "W");
  EXPECT_THAT(folders(), ElementsAre("W", "W › >", "W › > › made on the way", "Work"));
  EXPECT_THAT(titles("W › > › made on the way"), ElementsAre("deep"));
  EXPECT_EQ(bookmarks.moveFolder("W › >", "Work"), "Work › >");
  EXPECT_EQ(bookmarks.moveFolder("Work", "", "W"), "Work");
  EXPECT_THAT(folders(), ElementsAre("Work", "Work › >", "Work › > › made on the way", "W"));
  EXPECT_EQ(bookmarks.countWithin("Work"), 1u);
  EXPECT_EQ(bookmarks.countWithin("Wor"), 0u);
  const auto before = session->bookmarks().value();
  for (const auto& mistake : std::vector<std::function<void()>>{
           [&] { bookmarks.makeFolder("", " \n"); }, [&] { bookmarks.makeFolder("", "W"); },
           [&] { bookmarks.makeFolder("gone", "x"); }, [&] { bookmarks.renameFolder("W", "Work"); },
           [&] { bookmarks.renameFolder("", "bar"); }, [&] { bookmarks.moveFolder("Work", "Work › >"); },
           [&] { bookmarks.removeFolder("gone", FolderContents::removed); },
           [&] {
             std::string path;
             for (int i = 0; i < 17; ++i) path = bookmarks.makeFolder(path, "x");
           }}) {
    EXPECT_NE(refusal(mistake), "");
  }
  EXPECT_EQ(session->bookmarks().value(), before);
}

TEST_F(BookmarksTest, theOrderIsTheUsers) {
  const auto a = add("a"), b = add("b"), c = add("c", "F"), d = add("d");
  bookmarks.move(d, "", a);
  EXPECT_THAT(titles(), ElementsAre("d", "a", "b"));
  bookmarks.move(d, "");
  EXPECT_THAT(titles(), ElementsAre("a", "b", "d"));
  bookmarks.move(a, "F", c);
  bookmarks.move(b, "F", Uuid::random());
  EXPECT_THAT(titles("F"), ElementsAre("a", "c", "b"));
  bookmarks.edit(c, "C", "https://c.org/", "");
  EXPECT_THAT(titles(), ElementsAre("d", "C"));
  // As another start would read them.
  session->save();
  BookmarkFile file{folder / "Library/bookmarks.json"};
  EXPECT_EQ(file.read().bookmarks, session->bookmarks().value());
  EXPECT_THAT(*file.read().folders, ElementsAre("F"));
}

TEST_F(BookmarksTest, theLastRemovalComesBackToWhereItWas) {
  const auto one = add("1");
  add("2", "F");
  add("3", "F › G");
  const auto four = add("4");
  bookmarks.makeFolder("F", "empty");
  bookmarks.makeFolder("", "H");
  const auto all = bookmarks.all();
  const auto listed = folders();
  EXPECT_FALSE(bookmarks.undo());
  bookmarks.remove({four, one, Uuid::random()});
  EXPECT_THAT(titles(), IsEmpty());
  EXPECT_TRUE(bookmarks.undo());
  EXPECT_EQ(bookmarks.all(), all);
  for (const auto contents : {FolderContents::removed, FolderContents::movedUp}) {
    bookmarks.removeFolder("F", contents);
    if (contents == FolderContents::movedUp) {
      EXPECT_THAT(titles(), ElementsAre("1", "2", "4"));
      EXPECT_THAT(folders(), ElementsAre("G", "empty", "H"));
    } else {
      EXPECT_EQ(bookmarks.all().size(), 2u);
      EXPECT_THAT(folders(), ElementsAre("H"));
    }
    EXPECT_TRUE(bookmarks.undo());
    EXPECT_FALSE(bookmarks.undo());
    EXPECT_EQ(bookmarks.all(), all);
    EXPECT_EQ(folders(), listed);
  }
  // What was done in between stays.
  bookmarks.removeFolder("F", FolderContents::removed);
  add("5", "F");
  EXPECT_TRUE(bookmarks.undo());
  EXPECT_THAT(titles("F"), ElementsAre("2", "5"));
  EXPECT_THAT(titles("F › G"), ElementsAre("3"));
}

TEST_F(BookmarksTest, anImportPassesOverWhatIsThere) {
  const std::vector<ImportedBookmark> imported{
      {"A", "https://a.org/", "", true},       {"A in F", "https://a.org", "F", true},
      {"A again", "https://A.org/", "", true}, {"B", "https://b.org/", "F › G", false},
      {"script", "javascript:x()", "", false}, {"query", "place:sort=8&maxResults=10", "", false},
      {"part", "page.html", "", false}};
  EXPECT_EQ(bookmarks.add(imported), (BookmarkImportCount{.added = 3, .known = 1, .unusable = 3}));
  EXPECT_THAT(titles(), ElementsAre("A"));
  EXPECT_THAT(titles("F"), ElementsAre("A in F"));
  EXPECT_THAT(titles("Imported › F › G"), ElementsAre("B"));
  EXPECT_EQ(bookmarks.add(imported), (BookmarkImportCount{.added = 0, .known = 4, .unusable = 3}));
  EXPECT_EQ(bookmarks.add({{"C", "https://c.org/", "F", true}}).added, 1u);
  EXPECT_THAT(titles("Imported › Bookmarks Bar › F"), ElementsAre("C"));
}

TEST_F(BookmarksTest, anotherProgramsFileIsTakenAsItStands) {
  std::string deep;
  for (int i = 0; i < 40; ++i) deep += "x › ";
  session->setBookmarks({{Uuid::random(), "odd", "no address", deep + "x", {}}}, {"a", "", " › ", "b › c"});
  ASSERT_EQ(bookmarks.folders().size(), 3u + BookmarkPath::deepest);
  EXPECT_THAT(titles(bookmarks.folders().back().path), ElementsAre("odd"));
  bookmarks.edit(bookmarks.all()[0].id, "renamed", "no address", "b › c");
  EXPECT_THAT(titles("b › c"), ElementsAre("renamed"));
}

TEST_F(BookmarksTest, twentyThousandStayQuick) {
  std::vector<ImportedBookmark> many;
  for (int i = 0; i < 20'000; ++i) {
    const auto number = std::to_string(i);
    many.push_back({"Title " + number, "https://site" + number + ".org/p?q=" + number,
                    "Folder " + std::to_string(i / 50), false});
  }
  // What grew with the square would take longer than the test may.
  EXPECT_EQ(bookmarks.add(many).added, 20'000u);
  bookmarks.makeFolder("", "new");
  const auto found = bookmarks.findAddress("https://site19999.org/p?q=19999");
  ASSERT_TRUE(found);
  bookmarks.edit(found->id, "Last", found->url, "new");
  EXPECT_EQ(bookmarks.search("LAST 19999", 10).size(), 1u);
  bookmarks.removeFolder("Imported", FolderContents::removed);
  bookmarks.undo();
  const auto read = BookmarkHtml::read(BookmarkHtml::write(bookmarks));
  EXPECT_EQ(read.size(), 20'000u);
  EXPECT_EQ(bookmarks.all().size(), 20'000u);
}

}  // namespace
}  // namespace vale::test
