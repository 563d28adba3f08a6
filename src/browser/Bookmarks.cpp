#include "browser/Bookmarks.h"

#include "common/Error.h"
#include "common/Text.h"
#include "common/WebAddress.h"

#include <algorithm>
#include <expected>
#include <iterator>
#include <ranges>
#include <unordered_set>

namespace vale {

namespace {

using BookmarkPath::isWithin;

/// By what two bookmarks are of one page: the place in it counts, as in addresses such as "/#inbox".
std::string keyOf(std::string_view address) {
  const auto fragment = address.find('#');
  auto key = normalizeURL(address);
  if (fragment != std::string_view::npos) key += address.substr(fragment);
  return key;
}

/// The address as it is kept, or why not.
std::expected<std::string, Error> readAddress(std::string_view text) {
  if (text.size() > Bookmarks::longestAddress) return std::unexpected(Error("The address is too long."));
  auto address = validUtf8(std::string(trimmed(text)));
  const auto colon = address.find(':');
  const auto scheme = foldedCase(std::string_view(address).substr(0, colon == std::string::npos ? 0 : colon));
  if (scheme == "javascript") {
    return std::unexpected(Error("A bookmark cannot hold a script, only the address of a page."));
  }
  static constexpr std::string_view opened[] = {"http", "https", "file", "vale", "about", "data", "ftp"};
  const bool known = std::ranges::find(opened, scheme) != std::ranges::end(opened);
  bool broken = !known && address.find("://") != std::string::npos;
  if (!known) address.insert(0, "https://");
  broken |= std::ranges::any_of(address, [](char c) { return (c & 0xff) <= 0x20 || c == 0x7f; });
  const bool needsHost = !known || scheme == "http" || scheme == "https";
  if (broken || (needsHost && !isWebAddress(address))) {
    return std::unexpected(Error("A bookmark needs the address of a page, such as https://example.org/."));
  }
  return address;
}

std::string readTitle(std::string_view text, const std::string& address) {
  const auto line = singleLine(validUtf8(std::string(text.substr(0, 64 * Bookmarks::longestTitle))));
  const auto title = trimmed(firstCharacters(trimmed(line), Bookmarks::longestTitle));
  if (!title.empty()) return std::string(title);
  return std::string(firstCharacters(singleLine(validUtf8(address)), Bookmarks::longestTitle));
}

std::optional<std::string> stored(std::string_view folder) {
  return folder.empty() ? std::nullopt : std::optional<std::string>(folder);
}

std::string checkedName(std::string_view text) {
  auto name = BookmarkPath::name(text);
  if (name.empty()) throw Error("A folder needs a name.");
  return name;
}

void checkDepth(std::size_t depth) {
  if (depth > BookmarkPath::deepest) throw Error("Folders cannot go deeper than 16 levels.");
}

/// Lists a folder and those around it, where they are missing.
class FolderList {
 public:
  explicit FolderList(std::vector<std::string>& folders) : folders_(folders) {
    for (const auto& folder : folders) known_.insert(folder);
  }

  void add(const std::string& path) {
    if (path.empty() || known_.contains(path)) return;
    add(std::string(BookmarkPath::parent(path)));
    known_.insert(path);
    folders_.push_back(path);
  }

 private:
  std::vector<std::string>& folders_;
  std::unordered_set<std::string> known_;
};

/// Each one followed by those in it; siblings stay in their order.
std::vector<std::string> nested(const std::vector<std::string>& folders) {
  std::unordered_map<std::string_view, std::vector<std::string_view>> below;
  for (const auto& path : folders) below[BookmarkPath::parent(path)].push_back(path);
  std::vector<std::string> result;
  std::vector<std::string_view> waiting;
  const auto visit = [&](std::string_view path) {
    const auto found = below.find(path);
    if (found != below.end()) std::ranges::reverse_copy(found->second, std::back_inserter(waiting));
  };
  for (visit({}); !waiting.empty();) {
    const auto path = waiting.back();
    waiting.pop_back();
    result.emplace_back(path);
    visit(path);
  }
  return result;
}

Error noFolder() { return Error("The folder is no longer there."); }

/// Puts entries back to the places where they stood, in ascending order.
template <typename Entry>
void putBack(std::vector<Entry>& list, std::vector<std::pair<std::size_t, Entry>> entries) {
  std::vector<Entry> result;
  result.reserve(list.size() + entries.size());
  auto next = entries.begin();
  for (auto& entry : list) {
    for (; next != entries.end() && next->first <= result.size(); ++next) {
      result.push_back(std::move(next->second));
    }
    result.push_back(std::move(entry));
  }
  for (; next != entries.end(); ++next) result.push_back(std::move(next->second));
  list = std::move(result);
}

}  // namespace

Bookmarks::Bookmarks(BrowserSession& session)
    : session_(session), bookmarkChanges_(session.bookmarks().subscribe([this](const auto&) {
        index_.reset();
        if (!committing_) changed_.emit();
      })),
      folderChanges_(session.bookmarkFolders().subscribe([this](const auto&) {
        index_.reset();
        if (!committing_) changed_.emit();
      })) {}

// ---------------------------------------------------------------------------------------------------------
// Looking

std::string Bookmarks::folderOf(const Bookmark& bookmark) {
  return bookmark.folder ? BookmarkPath::bounded(*bookmark.folder) : std::string();
}

bool Bookmarks::canOpen(std::string_view address) {
  return address.find(':') != std::string_view::npos && readAddress(address).has_value();
}

const Bookmarks::Index& Bookmarks::index() const {
  if (index_) return *index_;
  auto& index = index_.emplace();
  if (keys_.size() > 2 * all().size() + 1'000) keys_.clear();
  std::vector<std::string> folders;
  FolderList list(folders);
  for (const auto& path : session_.bookmarkFolders().value()) list.add(BookmarkPath::bounded(path));
  for (std::size_t i = 0; i < all().size(); ++i) {
    const auto& bookmark = all()[i];
    auto folder = folderOf(bookmark);
    list.add(folder);
    index.byFolder[std::move(folder)].push_back(i);
    const auto [key, isNew] = keys_.try_emplace(bookmark.url);
    if (isNew) key->second = keyOf(bookmark.url);
    index.byAddress.emplace(key->second, i);
    index.byId.emplace(bookmark.id, i);
  }
  for (auto& path : nested(folders)) {
    const auto found = index.byFolder.find(path);
    index.folders.push_back({path, found == index.byFolder.end() ? 0 : found->second.size()});
  }
  return index;
}

const Bookmark* Bookmarks::find(const Uuid& id) const {
  const auto found = index().byId.find(id);
  return found == index().byId.end() ? nullptr : &all()[found->second];
}

const Bookmark* Bookmarks::findAddress(std::string_view address) const {
  const auto found = index().byAddress.find(keyOf(address));
  return found == index().byAddress.end() ? nullptr : &all()[found->second];
}

bool Bookmarks::hasFolder(std::string_view path) const {
  return path.empty() || std::ranges::find(folders(), path, &BookmarkFolder::path) != folders().end();
}

std::vector<std::string> Bookmarks::foldersIn(std::string_view parent) const {
  std::vector<std::string> found;
  for (const auto& [path, count] : folders()) {
    if (BookmarkPath::parent(path) == parent) found.push_back(path);
  }
  return found;
}

std::vector<const Bookmark*> Bookmarks::in(const std::string& folder) const {
  std::vector<const Bookmark*> found;
  const auto places = index().byFolder.find(folder);
  if (places == index().byFolder.end()) return found;
  for (const auto place : places->second) found.push_back(&all()[place]);
  return found;
}

std::size_t Bookmarks::countWithin(std::string_view folder) const {
  std::size_t count = 0;
  for (const auto& [path, places] : index().byFolder) {
    if (isWithin(path, folder)) count += places.size();
  }
  return count;
}

std::vector<const Bookmark*> Bookmarks::search(std::string_view text, std::size_t limit) const {
  const auto folded = foldedCase(validUtf8(std::string(text.substr(0, longestTitle))));
  std::vector<std::string_view> words;
  for (const auto word : std::views::split(folded, ' ')) {
    if (!word.empty()) words.emplace_back(word.begin(), word.end());
  }
  std::vector<const Bookmark*> found;
  for (const auto& bookmark : all()) {
    if (found.size() >= limit) break;
    const auto whole =
        foldedCase(bookmark.title + '\n' + bookmark.url + '\n' + bookmark.folder.value_or(std::string()));
    if (std::ranges::all_of(words, [&](auto word) { return whole.find(word) != std::string::npos; })) {
      found.push_back(&bookmark);
    }
  }
  return found;
}

// ---------------------------------------------------------------------------------------------------------
// Changing

Bookmarks::Draft Bookmarks::draft() const {
  Draft draft{.bookmarks = all(), .folders = {}};
  for (const auto& folder : folders()) draft.folders.push_back(folder.path);
  return draft;
}

void Bookmarks::commit(Draft draft) {
  committing_ = true;
  session_.setBookmarks(std::move(draft.bookmarks), std::move(draft.folders));
  committing_ = false;
  index_.reset();
  changed_.emit();
}

Uuid Bookmarks::add(std::string_view title, std::string_view address, std::string_view folder) {
  auto url = readAddress(address);
  if (!url) throw url.error();
  if (all().size() >= most) throw Error("There is no room for more than 100,000 bookmarks.");
  auto changed = draft();
  const auto path = BookmarkPath::bounded(folder);
  FolderList(changed.folders).add(path);
  const auto id = Uuid::random();
  changed.bookmarks.push_back(
      {.id = id, .title = readTitle(title, *url), .url = *url, .folder = stored(path), .source = {}});
  commit(std::move(changed));
  return id;
}

std::string Bookmarks::addAll(const std::vector<std::pair<std::string, std::string>>& titlesAndAddresses,
                              std::string_view parent, std::string_view name) {
  auto changed = draft();
  const auto path = BookmarkPath::join(parent, checkedName(name));
  checkDepth(BookmarkPath::depth(path));
  FolderList(changed.folders).add(path);
  for (const auto& [title, address] : titlesAndAddresses) {
    const auto url = readAddress(address);
    if (!url || changed.bookmarks.size() >= most) continue;
    changed.bookmarks.push_back(
        {.id = Uuid::random(), .title = readTitle(title, *url), .url = *url, .folder = path, .source = {}});
  }
  commit(std::move(changed));
  return path;
}

void Bookmarks::edit(Uuid id, std::string_view title, std::string_view address, std::string_view folder) {
  const auto* bookmark = find(id);
  if (!bookmark) throw Error("The bookmark is no longer there.");
  const auto place = bookmark - all().data();
  // What an earlier version or another program wrote stays as it is.
  auto url =
      address == bookmark->url ? std::expected<std::string, Error>(bookmark->url) : readAddress(address);
  if (!url) throw url.error();
  const auto path = BookmarkPath::bounded(folder);
  auto shown = readTitle(title, *url);
  const bool moves = folderOf(*bookmark) != path;
  if (!moves && shown == bookmark->title && *url == bookmark->url) return;
  auto changed = draft();
  auto& edited = changed.bookmarks[static_cast<std::size_t>(place)];
  edited.title = std::move(shown);
  edited.url = *std::move(url);
  if (moves) {
    FolderList(changed.folders).add(path);
    edited.folder = stored(path);
    std::rotate(changed.bookmarks.begin() + place, changed.bookmarks.begin() + place + 1,
                changed.bookmarks.end());
  }
  commit(std::move(changed));
}

void Bookmarks::move(Uuid id, std::string_view folder, const std::optional<Uuid>& before) {
  const auto* bookmark = find(id);
  if (!bookmark) throw Error("The bookmark is no longer there.");
  if (before == id) return;
  auto changed = draft();
  auto moving = *bookmark;
  std::erase_if(changed.bookmarks, [&](const Bookmark& one) { return one.id == id; });
  const auto path = BookmarkPath::bounded(folder);
  FolderList(changed.folders).add(path);
  moving.folder = stored(path);
  auto place =
      before ? std::ranges::find(changed.bookmarks, *before, &Bookmark::id) : changed.bookmarks.end();
  changed.bookmarks.insert(place, std::move(moving));
  commit(std::move(changed));
}

/// Remembers where everything stood that goes.
void Bookmarks::takeOut(Draft& draft, Removal& removal, auto isRemoved, auto isFolderRemoved) {
  for (std::size_t i = 0; i < draft.bookmarks.size(); ++i) {
    if (isRemoved(draft.bookmarks[i])) removal.bookmarks.emplace_back(i, draft.bookmarks[i]);
  }
  for (std::size_t i = 0; i < draft.folders.size(); ++i) {
    if (isFolderRemoved(draft.folders[i])) removal.folders.emplace_back(i, draft.folders[i]);
  }
  std::erase_if(draft.bookmarks, isRemoved);
  std::erase_if(draft.folders, isFolderRemoved);
}

void Bookmarks::remove(const std::vector<Uuid>& ids) {
  const std::unordered_set<Uuid> gone(ids.begin(), ids.end());
  auto changed = draft();
  Removal removal;
  takeOut(
      changed, removal, [&](const Bookmark& one) { return gone.contains(one.id); },
      [](const std::string&) { return false; });
  if (removal.bookmarks.empty()) return;
  removal_ = std::move(removal);
  commit(std::move(changed));
}

std::string Bookmarks::makeFolder(std::string_view parent, std::string_view name) {
  auto path = BookmarkPath::join(parent, checkedName(name));
  checkDepth(BookmarkPath::depth(path));
  if (!hasFolder(parent)) throw noFolder();
  if (hasFolder(path)) throw Error("There is a folder of that name already.");
  auto changed = draft();
  changed.folders.push_back(path);
  commit(std::move(changed));
  return path;
}

void Bookmarks::rename(Draft& draft, const std::string& from, const std::string& to) const {
  for (auto& folder : draft.folders) folder = BookmarkPath::moved(folder, from, to);
  for (auto& bookmark : draft.bookmarks) {
    if (!bookmark.folder) continue;
    const auto path = folderOf(bookmark);
    if (isWithin(path, from)) bookmark.folder = stored(BookmarkPath::moved(path, from, to));
  }
}

std::string Bookmarks::renameFolder(const std::string& path, std::string_view name) {
  if (path.empty() || !hasFolder(path)) throw noFolder();
  auto renamed = BookmarkPath::join(BookmarkPath::parent(path), checkedName(name));
  if (renamed == path) return renamed;
  if (hasFolder(renamed)) throw Error("There is a folder of that name already.");
  auto changed = draft();
  rename(changed, path, renamed);
  commit(std::move(changed));
  return renamed;
}

std::string Bookmarks::moveFolder(const std::string& path, std::string_view parent,
                                  const std::optional<std::string>& before) {
  if (path.empty() || !hasFolder(path) || !hasFolder(parent)) throw noFolder();
  if (isWithin(parent, path)) throw Error("A folder cannot go into itself.");
  auto target = BookmarkPath::join(parent, BookmarkPath::lastName(path));
  if (target != path && hasFolder(target)) throw Error("There is a folder of that name already.");
  std::size_t levels = 0;
  for (const auto& folder : folders()) {
    if (isWithin(folder.path, path)) levels = std::max(levels, BookmarkPath::depth(folder.path));
  }
  checkDepth(levels - BookmarkPath::depth(path) + BookmarkPath::depth(target));
  if (before == path) return target;
  auto changed = draft();
  rename(changed, path, target);
  std::erase(changed.folders, target);
  const auto place = before ? std::ranges::find(changed.folders, *before) : changed.folders.end();
  changed.folders.insert(place, target);
  commit(std::move(changed));
  return target;
}

void Bookmarks::removeFolder(const std::string& path, FolderContents contents) {
  if (path.empty() || !hasFolder(path)) throw noFolder();
  auto changed = draft();
  Removal removal;
  const auto inside = [&](const std::string& folder) { return isWithin(folder, path); };
  const auto holds = [&](const Bookmark& one) { return inside(folderOf(one)); };
  if (contents == FolderContents::removed) {
    takeOut(changed, removal, holds, inside);
  } else {
    for (const auto& bookmark : changed.bookmarks) {
      if (holds(bookmark)) removal.moved.emplace_back(bookmark.id, folderOf(bookmark));
    }
    const auto target = std::string(BookmarkPath::parent(path));
    rename(changed, path, target);
    const auto former = folders();
    for (std::size_t i = 0; i < former.size(); ++i) {
      if (inside(former[i].path)) removal.folders.emplace_back(i, former[i].path);
    }
    // What was moved up may have met a folder of its name, and the bar is no entry of the list.
    std::vector<std::string> kept;
    std::unordered_set<std::string> seen;
    for (auto& folder : changed.folders) {
      if (folder.empty() || !seen.insert(folder).second) continue;
      if (!hasFolder(folder)) removal.made.push_back(folder);
      kept.push_back(std::move(folder));
    }
    changed.folders = std::move(kept);
  }
  removal_ = std::move(removal);
  commit(std::move(changed));
}

bool Bookmarks::undo() {
  if (!removal_) return false;
  auto removal = *std::exchange(removal_, {});
  auto changed = draft();
  // A folder that was put to use since stays.
  std::erase_if(changed.folders, [&](const std::string& folder) {
    return std::ranges::find(removal.made, folder) != removal.made.end();
  });
  std::unordered_set<std::string> present(changed.folders.begin(), changed.folders.end());
  std::erase_if(removal.folders, [&](const auto& entry) { return present.contains(entry.second); });
  putBack(changed.folders, std::move(removal.folders));
  putBack(changed.bookmarks, std::move(removal.bookmarks));
  const std::unordered_map<Uuid, std::string> former(removal.moved.begin(), removal.moved.end());
  for (auto& bookmark : changed.bookmarks) {
    if (const auto found = former.find(bookmark.id); found != former.end()) {
      bookmark.folder = stored(found->second);
    }
  }
  FolderList list(changed.folders);
  for (const auto& bookmark : changed.bookmarks) list.add(folderOf(bookmark));
  commit(std::move(changed));
  return true;
}

BookmarkImportCount Bookmarks::add(const std::vector<ImportedBookmark>& imported) {
  BookmarkImportCount count;
  auto changed = draft();
  FolderList list(changed.folders);
  const bool barIsEmpty = in({}).empty() && foldersIn({}).empty();
  std::unordered_set<std::string> seen;
  for (const auto& one : imported) {
    const auto url = readAddress(one.url);
    if (!url || !canOpen(one.url) || changed.bookmarks.size() >= most) {
      ++count.unusable;
      continue;
    }
    auto folder = one.folder;
    if (!one.onBar || !barIsEmpty) {
      const auto outer = one.onBar ? BookmarkPath::join(importFolder, barName) : std::string(importFolder);
      folder = BookmarkPath::join(outer, folder);
    }
    folder = BookmarkPath::bounded(folder);
    const auto key = keyOf(*url);
    // One file may well have an address in several folders.
    if (index().byAddress.contains(key) || !seen.insert(folder + '\n' + key).second) {
      ++count.known;
      continue;
    }
    list.add(folder);
    changed.bookmarks.push_back({.id = Uuid::random(),
                                 .title = readTitle(one.title, *url),
                                 .url = *url,
                                 .folder = stored(folder),
                                 .source = {}});
    ++count.added;
  }
  if (count.added > 0) commit(std::move(changed));
  return count;
}

}  // namespace vale
