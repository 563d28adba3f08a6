#include "app/gtk/PageDialog.h"

#include <adwaita.h>

#include <algorithm>
#include <utility>

namespace vale::gtk {

namespace {

constexpr int widest = 460;
/// Longer texts are scrolled.
constexpr std::size_t shortText = 500;
constexpr std::ptrdiff_t fewLines = 8;
constexpr int scrolledHeight = 200;

/// A copy: the work may take the dialog along, and with it the one that it is called from.
void run(const std::function<void()>& work) {
  const auto held = work;
  if (held) held();
}

}  // namespace

PageDialog::PageDialog(WebKitPage& page, Content content)
    : page_(page), cover_(GObjectPointer<GtkWidget>::share(GTK_WIDGET(page.cover()))),
      frame_(GObjectPointer<GtkWidget>::share(adw_clamp_new())),
      card_(GTK_WIDGET(g_object_new(GTK_TYPE_BOX, "orientation", GTK_ORIENTATION_VERTICAL, "spacing", 12,
                                    "accessible-role", GTK_ACCESSIBLE_ROLE_DIALOG, nullptr))) {
  gtk_widget_add_css_class(card_, "page-dialog");
  gtk_accessible_update_property(GTK_ACCESSIBLE(card_), GTK_ACCESSIBLE_PROPERTY_LABEL, content.title.c_str(),
                                 -1);
  gtk_widget_set_valign(card_, GTK_ALIGN_CENTER);
  adw_clamp_set_maximum_size(ADW_CLAMP(frame_.get()), widest);
  adw_clamp_set_child(ADW_CLAMP(frame_.get()), card_);
  gtk_widget_set_vexpand(frame_.get(), TRUE);
  auto* title = gtk_label_new(content.title.c_str());
  gtk_widget_add_css_class(title, "heading");
  gtk_label_set_wrap(GTK_LABEL(title), TRUE);
  gtk_label_set_wrap_mode(GTK_LABEL(title), PANGO_WRAP_WORD_CHAR);
  gtk_label_set_xalign(GTK_LABEL(title), 0);
  gtk_box_append(GTK_BOX(card_), title);
  if (!content.text.empty()) addText(content.text);
  for (const auto& field : content.fields) addField(field);
  if (!content.check.empty()) {
    check_ = gtk_check_button_new_with_mnemonic(content.check.c_str());
    gtk_box_append(GTK_BOX(card_), check_);
  }
  addAnswers(std::move(content.answers));
  auto* keys = gtk_event_controller_key_new();
  connections_.push_back(connect(keys, "key-pressed", [this](guint key, guint, GdkModifierType) -> gboolean {
    if (key != GDK_KEY_Escape) return FALSE;
    run(cancel_);
    return TRUE;
  }));
  gtk_widget_add_controller(card_, keys);
  gtk_box_append(GTK_BOX(cover_.get()), frame_.get());
  showFirst(page_);
  connections_.push_back(connect(card_, "map", [this] { takeFocus(); }));
  if (gtk_widget_get_mapped(card_)) takeFocus();
}

PageDialog::~PageDialog() {
  connections_.clear();
  gtk_box_remove(GTK_BOX(cover_.get()), frame_.get());
  showFirst(page_);
  if (gtk_widget_get_first_child(cover_.get())) return;
  GtkRoot* root = gtk_widget_get_root(GTK_WIDGET(page_.view()));
  if (root && gtk_widget_get_mapped(GTK_WIDGET(page_.view())) && !gtk_root_get_focus(root)) {
    gtk_widget_grab_focus(GTK_WIDGET(page_.view()));
  }
}

/// The page below gets no key and no click while there is one.
void PageDialog::showFirst(const WebKitPage& page) {
  auto* cover = GTK_WIDGET(page.cover());
  auto* first = gtk_widget_get_first_child(cover);
  for (auto* one = first; one; one = gtk_widget_get_next_sibling(one))
    gtk_widget_set_visible(one, one == first);
  gtk_widget_add_css_class(cover, "page-cover");
  gtk_widget_set_visible(cover, first != nullptr);
  gtk_widget_set_can_focus(GTK_WIDGET(page.view()), first == nullptr);
}

void PageDialog::addText(const std::string& text) {
  auto* label = gtk_label_new(text.c_str());
  gtk_label_set_wrap(GTK_LABEL(label), TRUE);
  gtk_label_set_wrap_mode(GTK_LABEL(label), PANGO_WRAP_WORD_CHAR);
  gtk_label_set_xalign(GTK_LABEL(label), 0);
  gtk_label_set_selectable(GTK_LABEL(label), TRUE);
  gtk_widget_set_valign(label, GTK_ALIGN_START);
  if (text.size() <= shortText && std::ranges::count(text, '\n') <= fewLines) {
    gtk_box_append(GTK_BOX(card_), label);
    return;
  }
  auto* scroller = gtk_scrolled_window_new();
  gtk_scrolled_window_set_policy(GTK_SCROLLED_WINDOW(scroller), GTK_POLICY_NEVER, GTK_POLICY_AUTOMATIC);
  gtk_scrolled_window_set_min_content_height(GTK_SCROLLED_WINDOW(scroller), scrolledHeight);
  gtk_scrolled_window_set_child(GTK_SCROLLED_WINDOW(scroller), label);
  gtk_box_append(GTK_BOX(card_), scroller);
}

void PageDialog::addField(const Field& field) {
  auto* entry = field.hidden ? gtk_password_entry_new() : gtk_entry_new();
  if (field.hidden) gtk_password_entry_set_show_peek_icon(GTK_PASSWORD_ENTRY(entry), TRUE);
  gtk_editable_set_text(GTK_EDITABLE(entry), field.text.c_str());
  if (!field.label.empty()) {
    auto* label = gtk_label_new(field.label.c_str());
    gtk_label_set_xalign(GTK_LABEL(label), 0);
    gtk_box_append(GTK_BOX(card_), label);
    gtk_accessible_update_property(GTK_ACCESSIBLE(entry), GTK_ACCESSIBLE_PROPERTY_LABEL, field.label.c_str(),
                                   -1);
  } else {
    gtk_accessible_update_property(GTK_ACCESSIBLE(entry), GTK_ACCESSIBLE_PROPERTY_LABEL, "Answer", -1);
  }
  gtk_box_append(GTK_BOX(card_), entry);
  connections_.push_back(connect(entry, "activate", [this, at = fields_.size()] {
    if (at + 1 < fields_.size()) {
      gtk_widget_grab_focus(fields_[at + 1]);
    } else {
      run(accept_);
    }
  }));
  fields_.push_back(entry);
}

void PageDialog::addAnswers(std::vector<Answer> answers) {
  auto* row = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, 8);
  gtk_widget_set_halign(row, GTK_ALIGN_END);
  gtk_widget_set_margin_top(row, 6);
  for (auto& answer : answers) {
    auto* button = gtk_button_new_with_mnemonic(answer.label.c_str());
    if (answer.look) gtk_widget_add_css_class(button, answer.look);
    gtk_box_append(GTK_BOX(row), button);
    connections_.push_back(connect(button, "clicked", [chosen = answer.chosen] { run(chosen); }));
    default_ = button;
  }
  if (!answers.empty()) {
    cancel_ = answers.front().chosen;
    accept_ = answers.back().chosen;
  }
  gtk_box_append(GTK_BOX(card_), row);
}

/// Not away from what the user is doing elsewhere in the window.
void PageDialog::takeFocus() {
  GtkRoot* root = gtk_widget_get_root(card_);
  GtkWidget* focus = root ? gtk_root_get_focus(root) : nullptr;
  auto* area = gtk_widget_get_parent(cover_.get());
  const bool elsewhere = focus && focus != GTK_WIDGET(page_.view()) && !gtk_widget_is_ancestor(focus, area);
  if (elsewhere) return;
  gtk_widget_grab_focus(fields_.empty() ? default_ : fields_.front());
}

std::string PageDialog::text(std::size_t field) const {
  return gtk_editable_get_text(GTK_EDITABLE(fields_.at(field)));
}

void PageDialog::setText(std::size_t field, const std::string& text) {
  gtk_editable_set_text(GTK_EDITABLE(fields_.at(field)), text.c_str());
}

bool PageDialog::checked() const { return check_ && gtk_check_button_get_active(GTK_CHECK_BUTTON(check_)); }

}  // namespace vale::gtk
