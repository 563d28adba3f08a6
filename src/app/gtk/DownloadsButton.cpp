#include "app/gtk/DownloadsButton.h"

#include "app/gtk/Controls.h"
#include "browser/DownloadWords.h"

#include <fmt/format.h>

#include <algorithm>
#include <string>
#include <utility>

namespace vale::gtk {

namespace {

constexpr Seconds noteTime{4};

}  // namespace

DownloadsButton::DownloadsButton(const WindowPlace& place, EngineDownloads& downloads)
    : downloads_(downloads),
      memory_(place.context->model->isPrivate() ? DownloadMemory::thisRun : DownloadMemory::lasting),
      clock_(place.clock), list_(downloads, memory_,
                                 [&pages = place.pages]() -> WebKitWebView* {
                                   return pages.page() ? pages.page()->view() : nullptr;
                                 }),
      button_(GTK_MENU_BUTTON(gtk_menu_button_new())), progress_(GTK_PROGRESS_BAR(gtk_progress_bar_new())),
      note_(GTK_LABEL(gtk_label_new(nullptr))) {
  auto* face = gtk_overlay_new();
  gtk_overlay_set_child(GTK_OVERLAY(face), gtk_image_new_from_icon_name("folder-download-symbolic"));
  gtk_widget_add_css_class(GTK_WIDGET(progress_), "download-progress");
  gtk_widget_set_valign(GTK_WIDGET(progress_), GTK_ALIGN_END);
  gtk_widget_set_can_target(GTK_WIDGET(progress_), FALSE);
  gtk_overlay_add_overlay(GTK_OVERLAY(face), GTK_WIDGET(progress_));
  gtk_menu_button_set_child(button_, face);
  auto* popover = gtk_popover_new();
  gtk_popover_set_child(GTK_POPOVER(popover), list_.widget());
  gtk_widget_add_css_class(popover, "download-list");
  gtk_menu_button_set_popover(button_, popover);
  adw_header_bar_pack_end(place.header, GTK_WIDGET(button_));
  addNote(place.over);
  place.actions.add("downloads", [this] { open(); });
  subscriptions_.push_back(
      Subscription(downloads_.begun().connect([this](const Download& one) { tellBegun(one); })));
  subscriptions_.push_back(downloads_.list().downloads().observe([this](const auto&) { update(); }));
}

DownloadsButton::~DownloadsButton() {
  noteEnd_.cancel();
  subscriptions_.clear();
  gtk_menu_button_set_popover(button_, nullptr);
}

void DownloadsButton::addNote(GtkOverlay* over) {
  gtk_widget_add_css_class(GTK_WIDGET(note_), "osd");
  gtk_widget_add_css_class(GTK_WIDGET(note_), "download-note");
  gtk_label_set_ellipsize(note_, PANGO_ELLIPSIZE_MIDDLE);
  gtk_widget_set_halign(GTK_WIDGET(note_), GTK_ALIGN_END);
  gtk_widget_set_valign(GTK_WIDGET(note_), GTK_ALIGN_END);
  gtk_widget_set_can_target(GTK_WIDGET(note_), FALSE);
  gtk_widget_set_visible(GTK_WIDGET(note_), FALSE);
  gtk_overlay_add_overlay(over, GTK_WIDGET(note_));
}

void DownloadsButton::update() {
  const auto all = list_.downloads();
  const auto running = std::ranges::count_if(all, [](const Download& one) { return !one.hasEnded(); });
  const bool ofThisRun =
      std::ranges::any_of(all, [&](const Download& one) { return downloads_.beganInThisRun(one); });
  gtk_widget_set_visible(GTK_WIDGET(button_), asked_ || running > 0 || ofThisRun);
  const auto fraction = downloadedFraction(all);
  gtk_widget_set_visible(GTK_WIDGET(progress_), running > 0);
  gtk_progress_bar_set_fraction(progress_, fraction.value_or(1));
  if (fraction || running == 0) {
    gtk_widget_remove_css_class(GTK_WIDGET(progress_), "unknown");
  } else {
    gtk_widget_add_css_class(GTK_WIDGET(progress_), "unknown");
  }
  auto meaning = std::string("Downloads");
  if (running > 0) meaning += fmt::format(" ({} under way)", running);
  nameControl(GTK_WIDGET(button_), meaning.c_str());
}

void DownloadsButton::tellBegun(const Download& download) {
  if (downloads_.list().memory(download.id) != memory_) return;
  gtk_label_set_text(note_, fmt::format("Downloading “{}”", downloadName(download)).c_str());
  gtk_widget_set_visible(GTK_WIDGET(note_), TRUE);
  noteEnd_ = clock_.schedule(noteTime, [this] { gtk_widget_set_visible(GTK_WIDGET(note_), FALSE); });
}

void DownloadsButton::open() {
  asked_ = true;
  update();
  gtk_menu_button_popup(button_);
}

}  // namespace vale::gtk
