#include "app/gtk/DownloadList.h"

#include "app/gtk/FileLaunch.h"
#include "browser/DownloadWords.h"

#include <adwaita.h>
#include <fmt/format.h>

#include <algorithm>
#include <ranges>
#include <utility>

namespace vale::gtk {

namespace {

constexpr int listWidth = 440;
constexpr int highestList = 440;

}  // namespace

DownloadList::DownloadList(EngineDownloads& downloads, DownloadMemory memory,
                           std::function<WebKitWebView*()> view)
    : downloads_(downloads), memory_(memory), view_(std::move(view)),
      widget_(GObjectPointer<GtkWidget>::share(gtk_box_new(GTK_ORIENTATION_VERTICAL, 6))),
      bars_(GTK_BOX(gtk_box_new(GTK_ORIENTATION_VERTICAL, 0))), stack_(GTK_STACK(gtk_stack_new())),
      list_(GTK_LIST_BOX(gtk_list_box_new())), more_(GTK_LABEL(gtk_label_new(nullptr))) {
  gtk_widget_set_size_request(widget(), listWidth, -1);
  gtk_box_append(GTK_BOX(widget()), GTK_WIDGET(bars_));
  auto* empty = adw_status_page_new();
  gtk_widget_add_css_class(empty, "compact");
  adw_status_page_set_icon_name(ADW_STATUS_PAGE(empty), "folder-download-symbolic");
  adw_status_page_set_title(ADW_STATUS_PAGE(empty), "No Downloads");
  adw_status_page_set_description(
      ADW_STATUS_PAGE(empty),
      "Files that you save from pages are listed here. A click on a link to a file, or "
      "“Save Link As…” in its menu, saves it.");
  gtk_stack_set_vhomogeneous(stack_, FALSE);
  gtk_stack_add_named(stack_, empty, "empty");
  gtk_list_box_set_selection_mode(list_, GTK_SELECTION_NONE);
  gtk_widget_add_css_class(GTK_WIDGET(list_), "downloads");
  gtk_accessible_update_property(GTK_ACCESSIBLE(list_), GTK_ACCESSIBLE_PROPERTY_LABEL, "Downloads", -1);
  auto* scroller = gtk_scrolled_window_new();
  gtk_scrolled_window_set_policy(GTK_SCROLLED_WINDOW(scroller), GTK_POLICY_NEVER, GTK_POLICY_AUTOMATIC);
  gtk_scrolled_window_set_propagate_natural_height(GTK_SCROLLED_WINDOW(scroller), TRUE);
  gtk_scrolled_window_set_max_content_height(GTK_SCROLLED_WINDOW(scroller), highestList);
  gtk_scrolled_window_set_child(GTK_SCROLLED_WINDOW(scroller), GTK_WIDGET(list_));
  gtk_stack_add_named(stack_, scroller, "list");
  gtk_box_append(GTK_BOX(widget()), GTK_WIDGET(stack_));
  addFoot();
  connections_.push_back(connect(list_, "row-activated", [this](GtkListBoxRow* row) {
    const auto index = static_cast<std::size_t>(gtk_list_box_row_get_index(row));
    if (index < rows_.size()) withDownload(rows_[index]->id(), [this](const Download& one) { open(one); });
  }));
  connections_.push_back(connect(widget(), "map", [this] { follow(); }));
  connections_.push_back(connect(widget(), "unmap", [this] {
    subscriptions_.clear();
    bar_.reset();
  }));
}

void DownloadList::addFoot() {
  auto* foot = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, 6);
  auto* folder = gtk_button_new_with_mnemonic("_Open the Folder");
  gtk_widget_add_css_class(folder, "flat");
  connections_.push_back(connect(folder, "clicked", [this] {
    openFile(downloads_.list().directory(),
             [this, alive = std::weak_ptr(alive_)](const std::string& sentence) {
               if (!alive.expired()) tell(sentence);
             });
  }));
  gtk_box_append(GTK_BOX(foot), folder);
  gtk_label_set_ellipsize(more_, PANGO_ELLIPSIZE_END);
  gtk_widget_add_css_class(GTK_WIDGET(more_), "dim-label");
  gtk_widget_set_hexpand(GTK_WIDGET(more_), TRUE);
  gtk_box_append(GTK_BOX(foot), GTK_WIDGET(more_));
  clear_ = gtk_button_new_with_mnemonic("C_lear the List");
  gtk_widget_set_tooltip_text(clear_, "The files stay where they are");
  gtk_widget_add_css_class(clear_, "flat");
  connections_.push_back(connect(clear_, "clicked", [this] { downloads_.list().removeEnded(memory_); }));
  gtk_box_append(GTK_BOX(foot), clear_);
  gtk_box_append(GTK_BOX(widget()), foot);
}

std::vector<Download> DownloadList::downloads() const {
  std::vector<Download> found;
  const auto& list = downloads_.list();
  std::ranges::copy_if(list.downloads().value(), std::back_inserter(found),
                       [&](const Download& one) { return list.memory(one.id) == memory_; });
  return found;
}

void DownloadList::follow() {
  subscriptions_.clear();
  subscriptions_.push_back(downloads_.list().downloads().subscribe([this](const auto&) { update(); }));
  subscriptions_.push_back(Subscription(downloads_.progressed().connect([this] { update(); })));
  update();
}

void DownloadList::update() {
  auto all = downloads();
  const auto older = all.size() - std::min(all.size(), mostShown);
  gtk_label_set_text(more_, older == 0 ? "" : fmt::format("{} older ones are not shown", older).c_str());
  gtk_widget_set_sensitive(clear_, std::ranges::any_of(all, &Download::hasEnded));
  gtk_stack_set_visible_child_name(stack_, all.empty() ? "empty" : "list");
  std::ranges::reverse(all);
  all.resize(all.size() - older);
  const auto same = [](const auto& row, const Download& download) { return row->id() == download.id; };
  if (!std::ranges::equal(rows_, all, same)) rebuild(all);
  for (std::size_t i = 0; i < all.size(); ++i) {
    rows_[i]->show(all[i],
                   {.rate = downloads_.rate(all[i].id), .triedAgain = downloads_.isTriedAgain(all[i].id)});
  }
}

void DownloadList::rebuild(const std::vector<Download>& shown) {
  for (const auto& row : rows_) gtk_list_box_remove(list_, row->widget());
  rows_.clear();
  for (const auto& download : shown) {
    rows_.push_back(std::make_unique<DownloadRow>(download, host()));
    gtk_list_box_append(list_, rows_.back()->widget());
  }
}

DownloadRow::Host DownloadList::host() {
  const auto with = [this](auto work) { return [this, work](const Uuid& id) { withDownload(id, work); }; };
  return {.open = with([this](const Download& one) { open(one); }),
          .show = with([this](const Download& one) { showFolder(one.destination); }),
          .cancel = [this](const Uuid& id) { downloads_.cancel(id); },
          .retry = with([this](const Download& one) {
            if (auto* view = view_()) return downloads_.retry(one, view);
            tell("Open a page first: the download is asked for by way of it.");
          }),
          .copyAddress = with([this](const Download& one) {
            gdk_clipboard_set_text(gtk_widget_get_clipboard(widget()), one.url.c_str());
          }),
          .remove = [this](const Uuid& id) { downloads_.list().remove(id); }};
}

/// Hands over a copy: what is done may change the list.
void DownloadList::withDownload(const Uuid& id, const std::function<void(const Download&)>& work) const {
  const auto all = downloads();
  const auto found = std::ranges::find(all, id, &Download::id);
  if (found != all.end()) work(*found);
}

void DownloadList::open(const Download& download) {
  if (download.state != DownloadState::finished) return;
  const auto examined = [this, download, alive = std::weak_ptr(alive_)](DownloadedFile file) {
    if (alive.expired()) return;
    const auto show = [this, path = download.destination] {
      bar_.reset();
      showFolder(path);
    };
    switch (file) {
    case DownloadedFile::missing:
      return tell(
          fmt::format("“{}” is not there any more. It was moved or deleted.", downloadName(download)));
    case DownloadedFile::program:
      return tell(fmt::format("“{}” could be a program, and Vale runs none.", downloadName(download)),
                  {{.label = "_Show in Folder", .chosen = show}});
    case DownloadedFile::document:
      openFile(download.destination, [this, alive, show](const std::string& sentence) {
        if (!alive.expired()) tell(sentence, {{.label = "_Show in Folder", .chosen = show}});
      });
    }
  };
  downloads_.list().examine(download, examined);
}

void DownloadList::showFolder(const std::filesystem::path& file) {
  showInFolder(file, [this, alive = std::weak_ptr(alive_)](const std::string& sentence) {
    if (!alive.expired()) tell(sentence);
  });
}

void DownloadList::tell(const std::string& sentence, std::vector<QuestionBar::Answer> answers) {
  bar_ = std::make_unique<QuestionBar>(bars_, sentence, std::move(answers), [this] { bar_.reset(); });
}

}  // namespace vale::gtk
