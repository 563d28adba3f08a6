#include "app/gtk/CertificatePanel.h"

#include <fmt/format.h>

#include <utility>

namespace vale::gtk {

namespace {

constexpr const char* blank = "about:blank";
constexpr int width = 440;

/// As wide as `characters` at least: a label that may be narrower asks for the height that it would need
/// then.
GtkWidget* newText(const std::string& text, int characters) {
  auto* label = gtk_label_new(text.c_str());
  gtk_label_set_wrap(GTK_LABEL(label), TRUE);
  gtk_label_set_wrap_mode(GTK_LABEL(label), PANGO_WRAP_WORD_CHAR);
  gtk_label_set_width_chars(GTK_LABEL(label), characters);
  gtk_label_set_max_width_chars(GTK_LABEL(label), characters);
  gtk_label_set_xalign(GTK_LABEL(label), 0);
  return label;
}

}  // namespace

GtkWidget* factsTable(const std::vector<std::pair<std::string, std::string>>& rows) {
  auto* grid = gtk_grid_new();
  gtk_grid_set_column_spacing(GTK_GRID(grid), 12);
  gtk_grid_set_row_spacing(GTK_GRID(grid), 4);
  int row = 0;
  for (const auto& [name, text] : rows) {
    auto* label = newText(name, 10);
    gtk_widget_add_css_class(label, "dim-label");
    gtk_widget_set_valign(label, GTK_ALIGN_START);
    auto* value = newText(text, 28);
    gtk_label_set_selectable(GTK_LABEL(value), TRUE);
    gtk_widget_set_hexpand(value, TRUE);
    gtk_grid_attach(GTK_GRID(grid), label, 0, row, 1, 1);
    gtk_grid_attach(GTK_GRID(grid), value, 1, row++, 1, 1);
  }
  return grid;
}

CertificatePanel::CertificatePanel(WebKitPage& page)
    : page_(page), box_(GObjectPointer<GtkWidget>::share(gtk_box_new(GTK_ORIENTATION_VERTICAL, 18))),
      back_(gtk_button_new_with_mnemonic("Go _Back")),
      advanced_(gtk_toggle_button_new_with_mnemonic("_Advanced")),
      details_(gtk_box_new(GTK_ORIENTATION_VERTICAL, 12)), verdict_(newText("", 48)),
      continue_(gtk_button_new_with_mnemonic("_Continue Anyway")) {
  gtk_widget_add_css_class(back_, "pill");
  gtk_widget_add_css_class(back_, "suggested-action");
  gtk_widget_set_halign(back_, GTK_ALIGN_CENTER);
  gtk_box_append(GTK_BOX(box_.get()), back_);
  auto* inside = gtk_box_new(GTK_ORIENTATION_VERTICAL, 12);
  gtk_widget_set_size_request(inside, width, -1);
  gtk_widget_set_halign(inside, GTK_ALIGN_CENTER);
  gtk_box_append(GTK_BOX(inside), details_);
  gtk_box_append(GTK_BOX(inside), verdict_);
  gtk_widget_add_css_class(continue_, "destructive-action");
  gtk_widget_set_halign(continue_, GTK_ALIGN_START);
  gtk_box_append(GTK_BOX(inside), continue_);
  gtk_widget_add_css_class(advanced_, "flat");
  gtk_widget_set_halign(advanced_, GTK_ALIGN_CENTER);
  gtk_box_append(GTK_BOX(box_.get()), advanced_);
  gtk_box_append(GTK_BOX(box_.get()), inside);
  gtk_widget_set_visible(inside, FALSE);
  connections_.push_back(connect(advanced_, "toggled", [this, inside] {
    gtk_widget_set_visible(inside, gtk_toggle_button_get_active(GTK_TOGGLE_BUTTON(advanced_)));
  }));
  connections_.push_back(connect(back_, "clicked", [this] { goBack(); }));
  connections_.push_back(connect(continue_, "clicked", [this] { goOn(); }));
}

void CertificatePanel::show(const RefusedCertificate& refused) {
  shown_ = std::make_shared<const int>(0);
  gtk_toggle_button_set_active(GTK_TOGGLE_BUTTON(advanced_), FALSE);
  const auto facts = factsOf(refused.certificate.get(), refused.problems, refused.address);
  while (auto* old = gtk_widget_get_first_child(details_)) gtk_box_remove(GTK_BOX(details_), old);
  gtk_box_append(GTK_BOX(details_), factsTable(describeCertificate(facts)));
  gtk_widget_set_visible(continue_, FALSE);
  gtk_label_set_text(GTK_LABEL(verdict_), "");
  auto* session = webkit_web_view_get_network_session(page_.view());
  CertificateExceptions::of(session).strictHosts([this, facts, shown = std::weak_ptr(shown_)](
                                                     const std::vector<std::string>& strict) {
    if (shown.expired()) return;
    const bool may = mayContinueTo(facts, strict);
    gtk_widget_set_visible(continue_, may);
    const auto text =
        may ? fmt::format("Whoever stands between you and “{}” could read and change what you send and see. "
                          "Continue only if you know why its certificate proves nothing. This holds until "
                          "Vale ends, for this server and this certificate only.",
                          facts.server)
            : fmt::format("“{}” cannot be opened with this certificate: it was taken back, or the site has "
                          "asked for secure connections only.",
                          facts.server);
    gtk_label_set_text(GTK_LABEL(verdict_), text.c_str());
  });
}

void CertificatePanel::goBack() {
  if (page_.canGoBack().value()) {
    page_.goBack();
  } else {
    page_.load(blank);
  }
}

void CertificatePanel::goOn() {
  const auto refused = page_.refusedCertificate();
  if (!refused) return;
  CertificateExceptions::of(webkit_web_view_get_network_session(page_.view())).allow(*refused);
  page_.load(refused->address);
}

}  // namespace vale::gtk
