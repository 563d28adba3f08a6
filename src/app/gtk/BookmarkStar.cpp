#include "app/gtk/BookmarkStar.h"

#include "app/gtk/BrowserServices.h"
#include "app/gtk/Controls.h"
#include "common/Error.h"

#include <utility>

namespace vale::gtk {

namespace {

/// The setting of where the last new bookmark went.
constexpr std::string_view folderKey = "ValeBookmarkFolder";

}  // namespace

BookmarkStar::BookmarkStar(const WindowPlace& place, BookmarkCommands& commands)
    : place_(place), commands_(commands), bookmarks_(place.services.bookmarks),
      form_(bookmarks_, BookmarkForm::Fields::nameAndFolder), button_(GTK_MENU_BUTTON(gtk_menu_button_new())),
      popover_(GTK_POPOVER(gtk_popover_new())), heading_(GTK_LABEL(gtk_label_new(nullptr))),
      problem_(GTK_LABEL(gtk_label_new(nullptr))) {
  build();
  place_.actions.add("bookmark-page", [this] { gtk_menu_button_popup(button_); });
  subscriptions_.push_back(place_.pages.onShown([this] { followPage(); }));
  subscriptions_.push_back(bookmarks_.onChange([this] { show(); }));
  connections_.push_back(connect(popover_, "show", [this] { opened(); }));
  connections_.push_back(connect(popover_, "closed", [this] { closed(); }));
  form_.onEnter = [this] {
    if (edited_ && form_.keep(*edited_)) gtk_popover_popdown(popover_);
  };
  followPage();
}

void BookmarkStar::build() {
  auto* content = gtk_box_new(GTK_ORIENTATION_VERTICAL, 12);
  gtk_widget_add_css_class(GTK_WIDGET(heading_), "heading");
  gtk_label_set_wrap(problem_, TRUE);
  gtk_label_set_max_width_chars(problem_, 36);
  gtk_label_set_xalign(problem_, 0);
  gtk_widget_add_css_class(GTK_WIDGET(problem_), "error");
  auto* buttons = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, 8);
  auto* remove = gtk_button_new_with_mnemonic("_Remove");
  auto* done = gtk_button_new_with_mnemonic("_Done");
  gtk_widget_add_css_class(done, "suggested-action");
  gtk_widget_set_hexpand(remove, TRUE);
  gtk_widget_set_halign(remove, GTK_ALIGN_START);
  gtk_box_append(GTK_BOX(buttons), remove);
  gtk_box_append(GTK_BOX(buttons), done);
  for (auto* widget : {GTK_WIDGET(heading_), form_.widget(), GTK_WIDGET(problem_), buttons}) {
    gtk_box_append(GTK_BOX(content), widget);
  }
  gtk_popover_set_child(popover_, content);
  gtk_menu_button_set_popover(button_, GTK_WIDGET(popover_));
  adw_header_bar_pack_end(place_.header, GTK_WIDGET(button_));
  connections_.push_back(connect(done, "clicked", [this] { form_.onEnter(); }));
  connections_.push_back(connect(remove, "clicked", [this] {
    const auto id = std::exchange(edited_, {});
    gtk_popover_popdown(popover_);
    if (id) commands_.remove(*id);
  }));
}

std::string BookmarkStar::address() const {
  const auto tab = place_.context->model->selected();
  if (!tab || tab->isStart() || !Bookmarks::canOpen(tab->url())) return {};
  return tab->url();
}

void BookmarkStar::followPage() {
  pageSubscriptions_.clear();
  if (auto* page = place_.pages.page()) {
    // The tab learns of it first.
    pageSubscriptions_.push_back(page->address().subscribe([this](const auto&) { show(); }));
  }
  show();
}

void BookmarkStar::show() {
  const auto shown = address();
  const bool known = !shown.empty() && bookmarks_.findAddress(shown);
  gtk_menu_button_set_icon_name(button_, known ? "starred-symbolic" : "non-starred-symbolic");
  nameControl(GTK_WIDGET(button_), known ? "Edit Bookmark (Ctrl+D)" : "Bookmark Page (Ctrl+D)");
  gtk_widget_set_sensitive(GTK_WIDGET(button_), !shown.empty());
  place_.actions.enable("bookmark-page", !shown.empty());
}

void BookmarkStar::opened() {
  const auto shown = address();
  const auto tab = place_.context->model->selected();
  if (shown.empty()) return gtk_popover_popdown(popover_);
  const auto& problem = bookmarks_.problem();
  gtk_label_set_text(problem_, problem ? problem->c_str() : "");
  gtk_widget_set_visible(GTK_WIDGET(problem_), problem.has_value());
  const auto* known = bookmarks_.findAddress(shown);
  gtk_label_set_text(heading_, known ? "Edit Bookmark" : "Bookmark Added");
  try {
    if (known) {
      edited_ = known->id;
    } else {
      const auto folder = place_.services.base.preferences.string(folderKey).value_or("");
      edited_ = bookmarks_.add(tab->title(), shown, bookmarks_.hasFolder(folder) ? folder : "");
    }
    form_.fill(*bookmarks_.find(*edited_));
    form_.focusName();
  } catch (const Error& error) {
    gtk_label_set_text(heading_, "Not Bookmarked");
    gtk_label_set_text(problem_, error.message.c_str());
    gtk_widget_set_visible(GTK_WIDGET(problem_), TRUE);
  }
}

void BookmarkStar::closed() {
  const auto id = std::exchange(edited_, {});
  if (!id || !form_.keep(*id)) return;
  const auto* bookmark = bookmarks_.find(*id);
  if (!bookmark) return;
  place_.services.base.preferences.set(folderKey, json::string(Bookmarks::folderOf(*bookmark)));
}

}  // namespace vale::gtk
