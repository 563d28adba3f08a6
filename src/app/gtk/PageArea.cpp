#include "app/gtk/PageArea.h"

#include <memory>

namespace vale::gtk {

namespace {

constexpr Seconds unnoticed{0.3};

/// A status page takes its description as markup; what is told to the user is text.
std::string escaped(const std::string& text) {
  const std::unique_ptr<char, decltype(&g_free)> markup(g_markup_escape_text(text.c_str(), -1), g_free);
  return markup.get();
}

}  // namespace

GtkWidget* emptyTabState(BrowsingMode mode) {
  const bool isPrivate = mode == BrowsingMode::isPrivate;
  auto* status = adw_status_page_new();
  adw_status_page_set_icon_name(ADW_STATUS_PAGE(status),
                                isPrivate ? "view-conceal-symbolic" : "system-search-symbolic");
  adw_status_page_set_title(ADW_STATUS_PAGE(status), isPrivate ? "Private Window" : "Where to?");
  adw_status_page_set_description(
      ADW_STATUS_PAGE(status),
      isPrivate ? "Nothing of what is opened here is kept once the window is closed. Sites, and whoever runs "
                  "the network, can still see the visits."
                : "Type an address or a few words above. The page will appear here.");
  return status;
}

PageArea::PageArea(WebKitPage& page, BrowsingMode mode, Clock& clock)
    : page_(page), clock_(clock), view_(GTK_WIDGET(page.view())),
      overlay_(GObjectPointer<GtkOverlay>::share(GTK_OVERLAY(gtk_overlay_new()))),
      column_(gtk_box_new(GTK_ORIENTATION_VERTICAL, 0)), stack_(GTK_STACK(gtk_stack_new())),
      failure_(ADW_STATUS_PAGE(adw_status_page_new())), certificate_(page),
      progress_(GTK_PROGRESS_BAR(gtk_progress_bar_new())) {
  retryButton_ = gtk_button_new_with_mnemonic("_Retry");
  gtk_widget_add_css_class(retryButton_, "pill");
  gtk_widget_add_css_class(retryButton_, "suggested-action");
  gtk_widget_set_halign(retryButton_, GTK_ALIGN_CENTER);
  retry_ = connect(retryButton_, "clicked", [this] { page_.reload(); });
  adw_status_page_set_icon_name(failure_, "computer-fail-symbolic");
  auto* next = gtk_box_new(GTK_ORIENTATION_VERTICAL, 0);
  gtk_box_append(GTK_BOX(next), retryButton_);
  gtk_box_append(GTK_BOX(next), certificate_.widget());
  adw_status_page_set_child(failure_, next);

  gtk_stack_add_named(stack_, emptyTabState(mode), "empty");
  gtk_stack_add_named(stack_, gtk_box_new(GTK_ORIENTATION_VERTICAL, 0), "waiting");
  gtk_stack_add_named(stack_, view_, "page");
  gtk_stack_add_named(stack_, GTK_WIDGET(failure_), "failure");
  gtk_widget_set_vexpand(GTK_WIDGET(stack_), TRUE);

  gtk_widget_add_css_class(GTK_WIDGET(progress_), "osd");
  gtk_widget_set_valign(GTK_WIDGET(progress_), GTK_ALIGN_START);
  gtk_widget_set_visible(GTK_WIDGET(progress_), FALSE);
  gtk_widget_set_can_target(GTK_WIDGET(progress_), FALSE);
  gtk_box_append(GTK_BOX(column_), GTK_WIDGET(page_.bars()));
  gtk_box_append(GTK_BOX(column_), GTK_WIDGET(stack_));
  gtk_overlay_set_child(overlay_.get(), column_);
  gtk_overlay_add_overlay(overlay_.get(), GTK_WIDGET(progress_));
  gtk_overlay_add_overlay(overlay_.get(), GTK_WIDGET(page_.cover()));

  subscriptions_.push_back(page_.address().subscribe([this](const auto&) { showState(); }));
  subscriptions_.push_back(page_.hasContent().subscribe([this](bool) { showState(); }));
  subscriptions_.push_back(page_.failure().observe([this](const auto&) { showState(); }));
  subscriptions_.push_back(page_.isLoading().observe([this](bool loading) { showProgress(loading); }));
  subscriptions_.push_back(
      page_.progress().observe([this](double done) { gtk_progress_bar_set_fraction(progress_, done); }));
}

PageArea::~PageArea() {
  gtk_stack_remove(stack_, view_);
  gtk_box_remove(GTK_BOX(column_), GTK_WIDGET(page_.bars()));
  gtk_overlay_remove_overlay(overlay_.get(), GTK_WIDGET(page_.cover()));
}

void PageArea::showState() {
  const auto& failure = page_.failure().value();
  if (failure) {
    adw_status_page_set_title(failure_, failure->title.c_str());
    adw_status_page_set_description(failure_, escaped(failure->message).c_str());
    const auto& refused = page_.refusedCertificate();
    if (refused) certificate_.show(*refused);
    gtk_widget_set_visible(certificate_.widget(), refused.has_value());
    gtk_widget_set_visible(retryButton_, !refused);
  }
  const char* shown = "empty";
  if (failure) {
    shown = "failure";
  } else if (page_.hasContent().value()) {
    shown = "page";
  } else if (!page_.address().value().empty()) {
    shown = "waiting";
  }
  // The keyboard stays with what is shown, wherever it was in here; an address being typed keeps it.
  GtkRoot* root = gtk_widget_get_root(widget());
  GtkWidget* focus = root ? gtk_root_get_focus(root) : nullptr;
  const bool focused = focus && gtk_widget_is_ancestor(focus, widget());
  gtk_stack_set_visible_child_name(stack_, shown);
  if (!focused) return;
  gtk_widget_grab_focus(!failure                     ? view_
                        : page_.refusedCertificate() ? certificate_.backButton()
                                                     : retryButton_);
}

void PageArea::showProgress(bool loading) {
  if (loading) {
    progressDelay_ =
        clock_.schedule(unnoticed, [this] { gtk_widget_set_visible(GTK_WIDGET(progress_), TRUE); });
  } else {
    progressDelay_.cancel();
    gtk_widget_set_visible(GTK_WIDGET(progress_), FALSE);
  }
}

}  // namespace vale::gtk
