#include "app/gtk/BookmarkCommands.h"

#include "app/gtk/BookmarkEditors.h"
#include "app/gtk/BrowserServices.h"
#include "browser/AddressDisplay.h"
#include "common/Error.h"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <utility>

namespace vale::gtk {

namespace {

/// What a menu lists at most, the menus in it included, and how many pages open without a question.
constexpr std::size_t longestMenu = 300;
constexpr std::size_t unasked = 15;
constexpr std::size_t mostOpened = 100;

GVariant* target(const Uuid& id) { return g_variant_new_string(id.text().c_str()); }
GVariant* target(const std::string& path) { return g_variant_new_string(path.c_str()); }

std::string inQuotes(std::string_view text) { return "“" + menuLabel(text) + "”"; }

}  // namespace

BookmarkCommands::BookmarkCommands(const WindowPlace& place)
    : place_(place), bookmarks_(place.services.bookmarks), editAt_(GTK_WIDGET(place.header)),
      self_(std::make_shared<BookmarkCommands*>(this)) {
  addActions();
}

void BookmarkCommands::addActions() {
  const auto add = [this](const char* name, auto work) {
    place_.actions.add(name, "s", [this, work](GVariant* value) {
      const auto id = Uuid::parse(g_variant_get_string(value, nullptr));
      if (id) work(*id);
    });
  };
  const auto addFolder = [this](const char* name, void (BookmarkCommands::*work)(const std::string&)) {
    place_.actions.add(
        name, "s", [this, work](GVariant* value) { (this->*work)(g_variant_get_string(value, nullptr)); });
  };
  for (const auto& [name, where] : {std::pair("open-bookmark", BookmarkTarget::shownTab),
                                    std::pair("open-bookmark-tab", BookmarkTarget::newTab),
                                    std::pair("open-bookmark-window", BookmarkTarget::newWindow),
                                    std::pair("open-bookmark-private", BookmarkTarget::privateWindow)}) {
    add(name, [this, where](const Uuid& id) { open(id, where); });
  }
  add("edit-bookmark", [this](const Uuid& id) { edit(id); });
  add("remove-bookmark", [this](const Uuid& id) { remove(id); });
  place_.actions.add("open-bookmark-folder", "s",
                     [this](GVariant* value) { openAll(g_variant_get_string(value, nullptr), false); });
  addFolder("rename-bookmark-folder", &BookmarkCommands::renameFolder);
  addFolder("remove-bookmark-folder", &BookmarkCommands::removeFolder);
  place_.actions.add("bookmark-all-tabs", [this] { bookmarkAllTabs(); });
  place_.actions.add("import-bookmarks", [this] { chooseFile(GTK_FILE_CHOOSER_ACTION_OPEN); });
  place_.actions.add("export-bookmarks", [this] { chooseFile(GTK_FILE_CHOOSER_ACTION_SAVE); });
  place_.actions.add("bookmarks", [this] {
    auto& model = *place_.context->model;
    const auto tab = model.selected();
    if (!tab || !tab->isStart()) {
      model.open(std::string(bookmarksAddress), {});
      return;
    }
    tab->open(std::string(bookmarksAddress), model.engine());
    place_.focusPage();
  });
}

void BookmarkCommands::setPlace(GtkWidget* at, const GdkRectangle& place) {
  editAt_ = at;
  editPlace_ = place;
}

// ---------------------------------------------------------------------------------------------------------
// Menus

Menu BookmarkCommands::contents(const std::string& folder) const {
  std::size_t left = longestMenu;
  auto menu = contents(folder, left);
  Menu more;
  if (left == 0) more.item("All Bookmarks", "win.bookmarks");
  if (!bookmarks_.in(folder).empty())
    more.item("Open All in Tabs", "win.open-bookmark-folder", target(folder));
  if (!more.empty()) menu.section(more);
  return menu;
}

Menu BookmarkCommands::contents(const std::string& folder, std::size_t& left) const {
  Menu menu, items;
  for (const auto& path : bookmarks_.foldersIn(folder)) {
    if (left == 0) break;
    --left;
    items.submenu(menuLabel(BookmarkPath::lastName(path)), contents(path, left));
  }
  for (const auto* bookmark : bookmarks_.in(folder)) {
    if (left == 0) break;
    --left;
    items.item(menuLabel(bookmark->title), "win.open-bookmark", target(bookmark->id));
  }
  if (items.empty()) items.item("Nothing Here Yet", "win.no-bookmark");
  return std::move(menu.section(items));
}

Menu BookmarkCommands::menuFor(const Uuid& id) const {
  Menu all, opening, editing;
  opening.item("Open", "win.open-bookmark", target(id));
  opening.item("Open in New Tab", "win.open-bookmark-tab", target(id));
  opening.item("Open in New Window", "win.open-bookmark-window", target(id));
  opening.item("Open in Private Window", "win.open-bookmark-private", target(id));
  editing.item("Edit…", "win.edit-bookmark", target(id));
  editing.item("Remove", "win.remove-bookmark", target(id));
  return std::move(all.section(opening).section(editing));
}

Menu BookmarkCommands::menuForFolder(const std::string& path) const {
  Menu all, opening, editing;
  opening.item("Open All in Tabs", "win.open-bookmark-folder", target(path));
  editing.item("Rename…", "win.rename-bookmark-folder", target(path));
  editing.item("Remove", "win.remove-bookmark-folder", target(path));
  return std::move(all.section(opening).section(editing));
}

// ---------------------------------------------------------------------------------------------------------
// Opening

void BookmarkCommands::open(const Uuid& id, BookmarkTarget where) {
  const auto* bookmark = bookmarks_.find(id);
  if (!bookmark) return;
  if (!Bookmarks::canOpen(bookmark->url)) {
    return say(inQuotes(bookmark->title) + " has no address that Vale can open. Edit it to give it one.");
  }
  const auto address = bookmark->url;
  auto& model = *place_.context->model;
  auto& windows = place_.services.base.windows;
  switch (where) {
  case BookmarkTarget::shownTab:
    if (const auto tab = model.selected()) tab->open(address, model.engine());
    return place_.focusPage();
  case BookmarkTarget::newTab:
    model.open(address, {.opener = {}, .selects = false, .groupID = {}, .agentOwner = {}});
    return;
  case BookmarkTarget::newWindow:
    windows.openNew(model.mode, address);
    return;
  case BookmarkTarget::privateWindow:
    windows.openNew(BrowsingMode::isPrivate, address);
    return;
  }
}

void BookmarkCommands::openAll(const std::string& folder, bool asked) {
  std::vector<std::string> addresses;
  for (const auto* bookmark : bookmarks_.in(folder)) {
    if (Bookmarks::canOpen(bookmark->url) && addresses.size() < mostOpened)
      addresses.push_back(bookmark->url);
  }
  if (addresses.size() > unasked && !asked) {
    return say(fmt::format("This opens {} tabs at once.", addresses.size()), {{"_Open All", [this, folder] {
                                                                                 notice_.reset();
                                                                                 openAll(folder, true);
                                                                               }}});
  }
  auto& model = *place_.context->model;
  bool first = true;
  for (const auto& address : addresses) {
    model.open(address,
               {.opener = {}, .selects = std::exchange(first, false), .groupID = {}, .agentOwner = {}});
  }
}

// ---------------------------------------------------------------------------------------------------------
// Changing

void BookmarkCommands::edit(const Uuid& id) { editBookmark(bookmarks_, id, editAt_, editPlace_); }

void BookmarkCommands::renameFolder(const std::string& path) {
  renameBookmarkFolder(bookmarks_, path, editAt_, editPlace_);
}

void BookmarkCommands::remove(const Uuid& id) {
  const auto* bookmark = bookmarks_.find(id);
  if (!bookmark) return;
  const auto sentence = inQuotes(bookmark->title) + " was removed.";
  bookmarks_.remove({id});
  sayRemoved(sentence);
}

void BookmarkCommands::removeFolder(const std::string& path) {
  try {
    const auto count = bookmarks_.countWithin(path);
    bookmarks_.removeFolder(path, FolderContents::removed);
    const auto name = inQuotes(BookmarkPath::lastName(path));
    sayRemoved(count == 0   ? name + " was removed."
               : count == 1 ? name + " was removed with the bookmark in it."
                            : fmt::format("{} was removed with the {} bookmarks in it.", name, count));
  } catch (const Error& error) {
    say(error.message);
  }
}

void BookmarkCommands::sayRemoved(const std::string& sentence) {
  say(sentence, {{"_Undo", [this] {
                    bookmarks_.undo();
                    notice_.reset();
                  }}});
}

void BookmarkCommands::say(const std::string& sentence, std::vector<QuestionBar::Answer> answers) {
  notice_.reset();
  notice_ =
      std::make_unique<QuestionBar>(place_.above, sentence, std::move(answers), [this] { notice_.reset(); });
}

void BookmarkCommands::bookmarkAllTabs() {
  std::vector<std::pair<std::string, std::string>> pages;
  for (const auto& tab : place_.context->model->tabs()) {
    if (!tab->isStart() && Bookmarks::canOpen(tab->url())) pages.emplace_back(tab->title(), tab->url());
  }
  if (pages.empty()) return say("No tab of this window shows a page that can be bookmarked.");
  askForTabFolder(GTK_WINDOW(place_.window), pages.size(),
                  [weak = std::weak_ptr(self_), pages](const std::string& name) {
                    const auto self = weak.lock();
                    if (!self) return;
                    try {
                      (*self)->bookmarks_.addAll(pages, {}, name);
                    } catch (const Error& error) {
                      (*self)->say(error.message);
                    }
                  });
}

// ---------------------------------------------------------------------------------------------------------
// Files

void BookmarkCommands::chooseFile(GtkFileChooserAction action) {
  const bool imports = action == GTK_FILE_CHOOSER_ACTION_OPEN;
  chooser_ = GObjectPointer<GtkFileChooserNative>::adopt(gtk_file_chooser_native_new(
      imports ? "Import Bookmarks" : "Export Bookmarks", GTK_WINDOW(place_.window), action,
      imports ? "_Import" : "_Export", nullptr));
  auto* chooser = GTK_FILE_CHOOSER(chooser_.get());
  if (imports) {
    const auto pages = GObjectPointer<GtkFileFilter>::adopt(gtk_file_filter_new());
    gtk_file_filter_set_name(pages.get(), "Exported bookmarks (HTML)");
    gtk_file_filter_add_suffix(pages.get(), "html");
    gtk_file_filter_add_suffix(pages.get(), "htm");
    gtk_file_chooser_add_filter(chooser, pages.get());
  } else {
    gtk_file_chooser_set_current_name(chooser, "bookmarks.html");
  }
  gtk_native_dialog_set_modal(GTK_NATIVE_DIALOG(chooser_.get()), TRUE);
  chosen_ = connect(chooser_.get(), "response", [this, imports](int response) {
    if (response != GTK_RESPONSE_ACCEPT) return;
    const auto file =
        GObjectPointer<GFile>::adopt(gtk_file_chooser_get_file(GTK_FILE_CHOOSER(chooser_.get())));
    const std::unique_ptr<char, decltype(&g_free)> path(file ? g_file_get_path(file.get()) : nullptr, g_free);
    if (!path) return say("Only a file on this computer will do.");
    auto done = [weak = std::weak_ptr(self_)](const BookmarkTransferResult& result) {
      if (const auto self = weak.lock()) (*self)->say(result.sentence);
    };
    auto& transfer = place_.services.bookmarkTransfer;
    if (imports) {
      transfer.importFrom(path.get(), std::move(done));
    } else {
      transfer.exportTo(path.get(), std::move(done));
    }
  });
  gtk_native_dialog_show(GTK_NATIVE_DIALOG(chooser_.get()));
}

}  // namespace vale::gtk
