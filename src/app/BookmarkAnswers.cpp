#include "app/BookmarkAnswers.h"

#include "common/Error.h"
#include "common/WebAddress.h"

#include <algorithm>
#include <cstdint>
#include <optional>

namespace vale {

namespace {

constexpr std::int64_t mostListed = 5'000;
constexpr std::size_t mostOpened = 100;

json::object describe(const Bookmark& bookmark) {
  return {{"id", bookmark.id.text()},
          {"title", bookmark.title},
          {"url", bookmark.url},
          {"site", host(bookmark.url)},
          {"folder", Bookmarks::folderOf(bookmark)},
          {"opens", Bookmarks::canOpen(bookmark.url)}};
}

}  // namespace

struct BookmarkAnswers::Question {
  std::string ask;
  std::optional<std::string> folder, text, name, title, url, parent, beforeFolder;
  std::optional<Uuid> id, before;
  std::optional<bool> keep;
  std::optional<std::int64_t> limit;

  BOOST_DESCRIBE_CLASS(Question, (),
                       (ask, folder, text, name, title, url, parent, beforeFolder, id, before, keep, limit),
                       (), ())
};

std::string BookmarkAnswers::answer(const std::string& question) {
  json::object result;
  try {
    result = answer(decode<Question>(parseJson(question)));
  } catch (const Error& error) {
    result = {{"problem", error.message}};
  }
  return jsonText(result);
}

json::object BookmarkAnswers::answer(const Question& question) {
  const auto& ask = question.ask;
  const auto folder = question.folder.value_or("");
  if (ask == "list") return list(question);
  if (ask == "edit" && question.id) {
    bookmarks_.edit(*question.id, question.title.value_or(""), question.url.value_or(""), folder);
  } else if (ask == "add") {
    bookmarks_.add(question.title.value_or(""), question.url.value_or(""), folder);
  } else if (ask == "move" && question.id) {
    bookmarks_.move(*question.id, folder, question.before);
  } else if (ask == "remove" && question.id) {
    bookmarks_.remove({*question.id});
  } else if (ask == "makeFolder" && question.name) {
    return {{"folder", bookmarks_.makeFolder(folder, *question.name)}};
  } else if (ask == "renameFolder" && question.name) {
    return {{"folder", bookmarks_.renameFolder(folder, *question.name)}};
  } else if (ask == "moveFolder" && question.parent) {
    return {{"folder", bookmarks_.moveFolder(folder, *question.parent, question.beforeFolder)}};
  } else if (ask == "removeFolder") {
    const auto count = bookmarks_.countWithin(folder);
    const bool keeps = question.keep.value_or(false);
    bookmarks_.removeFolder(folder, keeps ? FolderContents::movedUp : FolderContents::removed);
    return {{"count", keeps ? 0 : count}};
  } else if (ask == "undo") {
    return {{"restored", bookmarks_.undo()}};
  } else if (ask == "openAll") {
    std::vector<std::string> addresses;
    for (const auto* bookmark : bookmarks_.in(folder)) {
      if (Bookmarks::canOpen(bookmark->url) && addresses.size() < mostOpened)
        addresses.push_back(bookmark->url);
    }
    open(addresses);
  } else if (ask == "import") {
    importFile();
  } else if (ask == "export") {
    exportFile();
  } else {
    throw Error("The bookmarks page asked what Vale does not know.");
  }
  return {};
}

json::object BookmarkAnswers::list(const Question& question) const {
  const auto text = question.text.value_or("");
  const auto folder = question.folder.value_or("");
  const auto limit =
      static_cast<std::size_t>(std::clamp<std::int64_t>(question.limit.value_or(500), 1, mostListed));
  json::object result;
  json::array folders{
      {{"path", ""}, {"name", Bookmarks::barName}, {"depth", 0}, {"count", bookmarks_.in({}).size()}}};
  for (const auto& [path, count] : bookmarks_.folders()) {
    folders.push_back({{"path", path},
                       {"name", BookmarkPath::lastName(path)},
                       {"depth", BookmarkPath::depth(path)},
                       {"count", count}});
  }
  result["folders"] = std::move(folders);
  // One more than is listed tells that there are more.
  const auto found = text.empty() ? bookmarks_.in(folder) : bookmarks_.search(text, limit + 1);
  json::array listed;
  for (std::size_t i = 0; i < std::min(found.size(), limit); ++i) listed.push_back(describe(*found[i]));
  result["bookmarks"] = std::move(listed);
  result["more"] = found.size() > limit;
  result["total"] = bookmarks_.all().size();
  if (const auto& problem = bookmarks_.problem()) result["storage"] = *problem;
  return result;
}

}  // namespace vale
