#include "app/gtk/SiteInformation.h"

#include "app/PermissionQuestions.h"
#include "app/gtk/AddressEntry.h"
#include "app/gtk/CertificatePanel.h"
#include "app/gtk/Controls.h"
#include "app/gtk/SiteData.h"
#include "app/gtk/SiteName.h"
#include "browser/AddressDisplay.h"
#include "common/WebAddress.h"

#include <algorithm>
#include <array>
#include <utility>

namespace vale::gtk {

namespace {

constexpr int width = 380;
constexpr int tallest = 520;
constexpr int narrowestText = 38;

/// Always in the list; the others once the user has decided on them.
constexpr std::array usual = {PermissionKind::camera, PermissionKind::microphone, PermissionKind::location,
                              PermissionKind::notifications, PermissionKind::popups};
constexpr std::array decisions = {PermissionDecision::ask, PermissionDecision::allow,
                                  PermissionDecision::deny};

GtkWidget* newText(const std::string& text, const char* look = nullptr) {
  auto* label = gtk_label_new(text.c_str());
  gtk_label_set_wrap(GTK_LABEL(label), TRUE);
  gtk_label_set_wrap_mode(GTK_LABEL(label), PANGO_WRAP_WORD_CHAR);
  // The scroller asks for the height at the smallest width.
  gtk_label_set_width_chars(GTK_LABEL(label), narrowestText);
  gtk_label_set_xalign(GTK_LABEL(label), 0);
  if (look) gtk_widget_add_css_class(label, look);
  return label;
}

GtkWidget* newButton(const char* label) {
  auto* button = gtk_button_new_with_mnemonic(label);
  gtk_widget_set_halign(button, GTK_ALIGN_START);
  return button;
}

std::string connectionOf(const WebKitPage& page, bool excepted) {
  const auto& address = page.address().value();
  if (excepted) {
    return "The connection is encrypted, but the server did not prove its name. You went on all the same: "
           "whoever stands between could read and change what is sent.";
  }
  switch (page.security().value()) {
  case PageSecurity::secure:
    return "The connection is encrypted, and the server has proved its name.";
  case PageSecurity::insecure:
    return "The connection is not secure: others may read or change what is sent.";
  case PageSecurity::local:
    break;
  }
  return isLoopback(address) ? "This page comes from a server on this computer."
                             : "This page crossed no network.";
}

}  // namespace

SiteInformation::SiteInformation(const WindowPlace& place)
    : place_(place), popover_(GObjectPointer<GtkWidget>::share(gtk_popover_new())) {
  // Not the entry's own child: with the keyboard in here nobody is typing an address.
  gtk_widget_set_parent(popover_.get(), gtk_widget_get_parent(GTK_WIDGET(place_.header)));
  gtk_popover_set_position(GTK_POPOVER(popover_.get()), GTK_POS_BOTTOM);
  gtk_accessible_update_property(GTK_ACCESSIBLE(popover_.get()), GTK_ACCESSIBLE_PROPERTY_LABEL,
                                 "Site information", -1);
  place_.entry.onIcon = [this] { open(); };
  place_.actions.add("site-information", [this] { open(); });
  connections_.push_back(connect(popover_.get(), "closed", [this] { page_ = nullptr; }));
  shown_ = place_.pages.onShown([this] {
    page_ = nullptr;
    gtk_popover_popdown(GTK_POPOVER(popover_.get()));
  });
}

SiteInformation::~SiteInformation() {
  contentConnections_.clear();
  connections_.clear();
  place_.entry.onIcon = {};
  gtk_widget_unparent(popover_.get());
}

void SiteInformation::open() {
  auto* page = place_.pages.page();
  if (!page || !isWebAddress(page->address().value())) return;
  page_ = page;
  fill();
  auto area = place_.entry.iconArea();
  double x = 0, y = 0;
  gtk_widget_translate_coordinates(place_.entry.widget(), gtk_widget_get_parent(popover_.get()), area.x,
                                   area.y, &x, &y);
  area.x = static_cast<int>(x);
  area.y = static_cast<int>(y);
  gtk_popover_set_pointing_to(GTK_POPOVER(popover_.get()), &area);
  gtk_popover_popup(GTK_POPOVER(popover_.get()));
}

/// Later: what asks for it is in the content that goes.
void SiteInformation::fillAgain() {
  place_.context->main.post([this, current = std::weak_ptr(filled_)] {
    if (!current.expired() && page_) fill();
  });
}

void SiteInformation::fill() {
  contentConnections_.clear();
  filled_ = std::make_shared<const int>(0);
  address_ = page_->address().value();
  auto* box = GTK_BOX(gtk_box_new(GTK_ORIENTATION_VERTICAL, 12));
  for (const auto set : {gtk_widget_set_margin_top, gtk_widget_set_margin_bottom, gtk_widget_set_margin_start,
                         gtk_widget_set_margin_end}) {
    set(GTK_WIDGET(box), 12);
  }
  gtk_box_append(box, newText(siteName(address_), "heading"));
  addConnection(box);
  addPermissions(box);
  addData(box);
  auto* scroller = gtk_scrolled_window_new();
  gtk_scrolled_window_set_policy(GTK_SCROLLED_WINDOW(scroller), GTK_POLICY_NEVER, GTK_POLICY_AUTOMATIC);
  gtk_scrolled_window_set_propagate_natural_height(GTK_SCROLLED_WINDOW(scroller), TRUE);
  gtk_scrolled_window_set_max_content_height(GTK_SCROLLED_WINDOW(scroller), tallest);
  gtk_widget_set_size_request(scroller, width, -1);
  gtk_scrolled_window_set_child(GTK_SCROLLED_WINDOW(scroller), GTK_WIDGET(box));
  gtk_popover_set_child(GTK_POPOVER(popover_.get()), scroller);
}

void SiteInformation::addConnection(GtkBox* box) {
  auto& exceptions = CertificateExceptions::of(webkit_web_view_get_network_session(page_->view()));
  const bool excepted = exceptions.holdsFor(address_);
  gtk_box_append(box, newText(connectionOf(*page_, excepted)));
  if (excepted) {
    auto* forget = newButton("_Forget the Exception");
    gtk_box_append(box, forget);
    contentConnections_.push_back(connect(forget, "clicked", [this, &exceptions] {
      exceptions.forget(address_);
      if (page_) page_->reload();
      gtk_popover_popdown(GTK_POPOVER(popover_.get()));
    }));
  }
  GTlsCertificate* certificate = nullptr;
  GTlsCertificateFlags problems{};
  if (page_->failure().value() || !webkit_web_view_get_tls_info(page_->view(), &certificate, &problems) ||
      !certificate) {
    return;
  }
  auto* expander = gtk_expander_new_with_mnemonic("_Certificate");
  auto* table = factsTable(describeCertificate(factsOf(certificate, problems, address_)));
  gtk_widget_set_margin_top(table, 6);
  gtk_expander_set_child(GTK_EXPANDER(expander), table);
  gtk_box_append(box, expander);
}

void SiteInformation::addPermissions(GtkBox* box) {
  const auto& store = place_.context->model->permissions();
  gtk_box_append(box, newText("Permissions", "heading"));
  auto* grid = GTK_GRID(gtk_grid_new());
  gtk_grid_set_row_spacing(grid, 6);
  gtk_grid_set_column_spacing(grid, 12);
  int row = 0;
  bool any = false;
  for (const auto& [kind, name] : rawValues<PermissionKind>) {
    const auto decision = store->decision(address_, kind);
    any = any || decision != PermissionDecision::ask;
    if (decision == PermissionDecision::ask && std::ranges::find(usual, kind) == usual.end()) continue;
    const std::string label(nameOf(kind));
    auto* text = newText(label);
    gtk_label_set_width_chars(GTK_LABEL(text), -1);
    gtk_label_set_wrap(GTK_LABEL(text), FALSE);
    gtk_widget_set_hexpand(text, TRUE);
    const char* const choices[] = {"Ask", "Allow", "Block", nullptr};
    auto* choice = gtk_drop_down_new_from_strings(choices);
    nameChoice(GTK_DROP_DOWN(choice), label.c_str());
    const auto at = std::ranges::find(decisions, decision) - decisions.begin();
    gtk_drop_down_set_selected(GTK_DROP_DOWN(choice), static_cast<guint>(at));
    contentConnections_.push_back(
        connect(choice, "notify::selected", [this, store, choice, kind = kind](GParamSpec*) {
          const auto chosen = gtk_drop_down_get_selected(GTK_DROP_DOWN(choice));
          if (chosen < decisions.size()) store->decide(address_, kind, decisions[chosen]);
        }));
    gtk_grid_attach(grid, text, 0, row, 1, 1);
    gtk_grid_attach(grid, choice, 1, row++, 1, 1);
  }
  gtk_box_append(box, GTK_WIDGET(grid));
  auto* reset = newButton("_Reset Permissions");
  gtk_widget_set_sensitive(reset, any);
  gtk_box_append(box, reset);
  contentConnections_.push_back(connect(reset, "clicked", [this, store] {
    store->forget(address_);
    fillAgain();
  }));
}

void SiteInformation::addData(GtkBox* box) {
  gtk_box_append(box, newText("Cookies and Site Data", "heading"));
  auto* sentence = newText("Looking…");
  gtk_box_append(box, sentence);
  auto* clear = newButton("C_lear Data of This Site");
  gtk_widget_set_sensitive(clear, FALSE);
  gtk_box_append(box, clear);
  auto* session = webkit_web_view_get_network_session(page_->view());
  describeSiteData(session, address_,
                   [sentence, clear, current = std::weak_ptr(filled_)](const std::string& text, bool any) {
                     if (current.expired()) return;
                     gtk_label_set_text(GTK_LABEL(sentence), text.c_str());
                     gtk_widget_set_sensitive(clear, any);
                   });
  contentConnections_.push_back(connect(clear, "clicked", [this, clear, session] {
    gtk_widget_set_sensitive(clear, FALSE);
    clearSiteData(session, address_, [this, current = std::weak_ptr(filled_)] {
      if (!current.expired()) fillAgain();
    });
  }));
}

}  // namespace vale::gtk
