#include "app/gtk/FullscreenControl.h"

#include "browser/AddressDisplay.h"

#include <fmt/format.h>

namespace vale::gtk {

namespace {

constexpr Seconds noteDuration{4};

}  // namespace

FullscreenControl::FullscreenControl(const WindowPlace& place)
    : place_(place), note_(gtk_label_new(nullptr)) {
  gtk_widget_add_css_class(note_, "fullscreen-note");
  gtk_widget_set_valign(note_, GTK_ALIGN_START);
  gtk_widget_set_halign(note_, GTK_ALIGN_CENTER);
  gtk_widget_set_can_target(note_, FALSE);
  gtk_widget_set_visible(note_, FALSE);
  gtk_label_set_ellipsize(GTK_LABEL(note_), PANGO_ELLIPSIZE_MIDDLE);
  gtk_overlay_add_overlay(place_.over, note_);
  auto* window = GTK_WINDOW(place_.window);
  place_.actions.add("fullscreen", [window] {
    (gtk_window_is_fullscreen(window) ? gtk_window_unfullscreen : gtk_window_fullscreen)(window);
  });
  place_.actions.add("leave-fullscreen", [window] { gtk_window_unfullscreen(window); });
  connections_.push_back(connect(window, "notify::fullscreened", [this](GParamSpec*) { windowChanged(); }));
  shown_ = place_.pages.onShown([this] { followPage(); });
  followPage();
  windowChanged();
}

void FullscreenControl::followPage() {
  pageConnections_.clear();
  auto* page = place_.pages.page();
  if (!page) return;
  // The engine does the rest, and takes Escape itself.
  pageConnections_.push_back(connect(page->view(), "enter-fullscreen", [this, page]() -> gboolean {
    pageAsked_ = true;
    const auto& address = page->address().value();
    const auto host = hostRange(address);
    const auto who = address.substr(host.begin, host.end - host.begin);
    showNote(who.empty() ? "Press Escape to leave fullscreen"
                         : fmt::format("{} fills the screen · Press Escape to leave", clampedText(who, 100)));
    place_.actions.enable("leave-fullscreen", false);
    return FALSE;
  }));
  pageConnections_.push_back(connect(page->view(), "leave-fullscreen", [this]() -> gboolean {
    pageAsked_ = false;
    return FALSE;
  }));
}

void FullscreenControl::windowChanged() {
  const bool whole = gtk_window_is_fullscreen(GTK_WINDOW(place_.window));
  if (whole && !pageAsked_) showNote("Press F11 or Escape to leave fullscreen");
  place_.actions.enable("leave-fullscreen", whole && !pageAsked_);
  if (whole) return;
  noteTime_.cancel();
  gtk_widget_set_visible(note_, FALSE);
}

void FullscreenControl::showNote(const std::string& sentence) {
  gtk_label_set_text(GTK_LABEL(note_), sentence.c_str());
  gtk_widget_set_visible(note_, TRUE);
  noteTime_ = place_.clock.schedule(noteDuration, [this] { gtk_widget_set_visible(note_, FALSE); });
}

}  // namespace vale::gtk
