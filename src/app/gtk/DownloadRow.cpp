#include "app/gtk/DownloadRow.h"

#include "app/gtk/Controls.h"
#include "browser/DownloadWords.h"

#include <memory>
#include <string>
#include <utility>

namespace vale::gtk {

namespace {

GtkLabel* lineLabel() {
  auto* label = GTK_LABEL(gtk_label_new(nullptr));
  gtk_label_set_xalign(label, 0);
  return label;
}

/// What the desktop shows for files of this name.
GObjectPointer<GIcon> iconOf(const std::string& name) {
  const std::unique_ptr<char, decltype(&g_free)> type(g_content_type_guess(name.c_str(), nullptr, 0, nullptr),
                                                      g_free);
  return GObjectPointer<GIcon>::adopt(g_content_type_get_symbolic_icon(type.get()));
}

}  // namespace

DownloadRow::DownloadRow(const Download& download, const Host& host)
    : id_(download.id), widget_(GObjectPointer<GtkWidget>::share(gtk_list_box_row_new())),
      box_(GTK_BOX(gtk_box_new(GTK_ORIENTATION_HORIZONTAL, 6))), icon_(GTK_IMAGE(gtk_image_new())),
      name_(lineLabel()), status_(lineLabel()), progress_(GTK_PROGRESS_BAR(gtk_progress_bar_new())) {
  gtk_list_box_row_set_child(GTK_LIST_BOX_ROW(widget()), GTK_WIDGET(box_));
  gtk_box_append(box_, GTK_WIDGET(icon_));
  gtk_widget_set_margin_end(GTK_WIDGET(icon_), 4);
  auto* column = gtk_box_new(GTK_ORIENTATION_VERTICAL, 2);
  gtk_widget_set_hexpand(column, TRUE);
  gtk_widget_set_valign(column, GTK_ALIGN_CENTER);
  gtk_label_set_ellipsize(name_, PANGO_ELLIPSIZE_MIDDLE);
  gtk_label_set_wrap_mode(status_, PANGO_WRAP_WORD_CHAR);
  gtk_label_set_width_chars(status_, 30);
  // The list asks for no width when it asks how high a row is.
  gtk_label_set_max_width_chars(status_, 30);
  gtk_widget_add_css_class(GTK_WIDGET(status_), "caption");
  gtk_widget_add_css_class(GTK_WIDGET(status_), "dim-label");
  gtk_box_append(GTK_BOX(column), GTK_WIDGET(name_));
  gtk_box_append(GTK_BOX(column), GTK_WIDGET(progress_));
  gtk_box_append(GTK_BOX(column), GTK_WIDGET(status_));
  gtk_box_append(box_, column);
  cancel_ = addButton("window-close-symbolic", "Cancel", host.cancel);
  retry_ = addButton("view-refresh-symbolic", "Retry", host.retry);
  folder_ = addButton("folder-symbolic", "Show in Folder", host.show);
  copy_ = addButton("edit-copy-symbolic", "Copy the Address", host.copyAddress);
  remove_ = addButton("list-remove-symbolic", "Remove from the List", host.remove);
}

GtkWidget* DownloadRow::addButton(const char* icon, const char* meaning,
                                  std::function<void(const Uuid&)> work) {
  auto* button = gtk_button_new_from_icon_name(icon);
  gtk_widget_add_css_class(button, "flat");
  gtk_widget_set_valign(button, GTK_ALIGN_CENTER);
  nameControl(button, meaning);
  gtk_box_append(box_, button);
  // Copies: what is done may take this row along.
  connections_.push_back(connect(button, "clicked", [id = id_, work = std::move(work)] {
    const auto doWork = work;
    const auto which = id;
    doWork(which);
  }));
  return button;
}

void DownloadRow::show(const Download& download, const Course& course) {
  const auto name = downloadName(download);
  const bool ended = download.hasEnded();
  const bool finished = download.state == DownloadState::finished;
  gtk_image_set_from_gicon(icon_, iconOf(name).get());
  gtk_label_set_text(name_, name.c_str());
  gtk_widget_set_tooltip_text(GTK_WIDGET(name_), name.c_str());
  const auto status = course.triedAgain ? "Asking the server again…" : downloadStatus(download, course.rate);
  gtk_label_set_text(status_, status.c_str());
  // Only a sentence needs more than a line.
  const bool failed = download.state == DownloadState::failed;
  gtk_label_set_wrap(status_, failed);
  gtk_label_set_ellipsize(status_, failed ? PANGO_ELLIPSIZE_NONE : PANGO_ELLIPSIZE_END);
  const auto fraction = downloadedFraction(download);
  gtk_widget_set_visible(GTK_WIDGET(progress_), !ended && fraction.has_value());
  gtk_progress_bar_set_fraction(progress_, fraction.value_or(0));
  gtk_widget_set_visible(cancel_, !ended || course.triedAgain);
  gtk_widget_set_visible(retry_, !course.triedAgain && canRetry(download));
  gtk_widget_set_visible(folder_, finished);
  gtk_widget_set_visible(copy_, !download.url.empty());
  gtk_widget_set_visible(remove_, ended && !course.triedAgain);
  gtk_list_box_row_set_activatable(GTK_LIST_BOX_ROW(widget()), finished);
  gtk_accessible_update_property(GTK_ACCESSIBLE(widget()), GTK_ACCESSIBLE_PROPERTY_LABEL,
                                 (name + ", " + status).c_str(), -1);
}

}  // namespace vale::gtk
