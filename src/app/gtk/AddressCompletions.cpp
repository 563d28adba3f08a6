#include "app/gtk/AddressCompletions.h"

#include <memory>
#include <string>
#include <utility>

namespace vale::gtk {

namespace {

using Kind = AddressSuggestion::Kind;

const char* iconOf(Kind kind) {
  switch (kind) {
  case Kind::openTab:
    return "focus-windows-symbolic";
  case Kind::page:
    return "document-open-recent-symbolic";
  case Kind::bookmark:
    return "user-bookmarks-symbolic";
  case Kind::search:
    return "system-search-symbolic";
  case Kind::address:
    return "go-jump-symbolic";
  case Kind::agent:
    return "chat-message-new-symbolic";
  }
  return nullptr;
}

GtkLabel* newLabel() {
  auto* label = gtk_label_new(nullptr);
  gtk_label_set_ellipsize(GTK_LABEL(label), PANGO_ELLIPSIZE_END);
  gtk_label_set_xalign(GTK_LABEL(label), 0);
  gtk_label_set_single_line_mode(GTK_LABEL(label), TRUE);
  return GTK_LABEL(label);
}

/// The text as text, with the ranges bold.
void setText(GtkLabel* label, const std::string& text, const std::vector<MatchRange>& ranges) {
  const std::unique_ptr<PangoAttrList, decltype(&pango_attr_list_unref)> bold(pango_attr_list_new(),
                                                                              pango_attr_list_unref);
  for (const auto& [begin, length] : ranges) {
    auto* weight = pango_attr_weight_new(PANGO_WEIGHT_BOLD);
    weight->start_index = static_cast<guint>(begin);
    weight->end_index = static_cast<guint>(begin + length);
    pango_attr_list_insert(bold.get(), weight);
  }
  gtk_label_set_text(label, text.c_str());
  gtk_label_set_attributes(label, bold.get());
  gtk_widget_set_visible(GTK_WIDGET(label), !text.empty());
}

}  // namespace

AddressCompletions::AddressCompletions(GtkWidget* entry,
                                       std::function<void(const AddressSuggestion&, OpenPlace)> chosen)
    : entry_(entry), chosen_(std::move(chosen)),
      popover_(GObjectPointer<GtkWidget>::share(gtk_popover_new())), list_(GTK_LIST_BOX(gtk_list_box_new())) {
  auto* popover = GTK_POPOVER(popover_.get());
  gtk_popover_set_autohide(popover, FALSE);
  gtk_popover_set_has_arrow(popover, FALSE);
  gtk_popover_set_position(popover, GTK_POS_BOTTOM);
  gtk_widget_set_can_focus(popover_.get(), FALSE);
  gtk_widget_add_css_class(popover_.get(), "suggestions");
  // Where shadows are not see-through, this one would lie over the entry.
  if (!gdk_display_is_composited(gtk_widget_get_display(entry_))) {
    gtk_widget_add_css_class(popover_.get(), "solid");
  }
  gtk_list_box_set_selection_mode(list_, GTK_SELECTION_BROWSE);
  gtk_accessible_update_property(GTK_ACCESSIBLE(list_), GTK_ACCESSIBLE_PROPERTY_LABEL, "Suggestions", -1);
  gtk_popover_set_child(popover, GTK_WIDGET(list_));
  gtk_widget_set_parent(popover_.get(), entry_);

  const auto on = [this](gpointer object, const char* signal, auto handler) {
    connections_.push_back(connect(object, signal, std::move(handler)));
  };
  // A closed window's list must not outlive it on the screen.
  on(entry_, "unmap", [this] { hide(); });
  // By assistive technology; clicks are answered below.
  on(list_, "row-activated", [this](GtkListBoxRow* row) { choose(row, OpenPlace::here); });
  auto* click = gtk_gesture_click_new();
  gtk_gesture_single_set_button(GTK_GESTURE_SINGLE(click), 0);
  gtk_event_controller_set_propagation_phase(GTK_EVENT_CONTROLLER(click), GTK_PHASE_CAPTURE);
  on(click, "pressed",
     [click](int, double, double) { gtk_gesture_set_state(click, GTK_EVENT_SEQUENCE_CLAIMED); });
  on(click, "released", [this, click](int, double, double y) {
    const auto button = gtk_gesture_single_get_current_button(GTK_GESTURE_SINGLE(click));
    const auto keys = gtk_event_controller_get_current_event_state(GTK_EVENT_CONTROLLER(click));
    auto* row = gtk_list_box_get_row_at_y(list_, static_cast<int>(y));
    if (!row || (button != GDK_BUTTON_PRIMARY && button != GDK_BUTTON_MIDDLE)) return;
    const bool aside = button == GDK_BUTTON_MIDDLE || (keys & GDK_CONTROL_MASK);
    choose(row, aside ? OpenPlace::newTab : (keys & GDK_SHIFT_MASK) ? OpenPlace::newWindow : OpenPlace::here);
  });
  gtk_widget_add_controller(GTK_WIDGET(list_), GTK_EVENT_CONTROLLER(click));
}

AddressCompletions::~AddressCompletions() {
  connections_.clear();
  gtk_widget_unparent(popover_.get());
}

void AddressCompletions::addRow() {
  Row row{.widget = gtk_list_box_row_new(),
          .icon = GTK_IMAGE(gtk_image_new()),
          .title = newLabel(),
          .address = newLabel(),
          .wish = GTK_LABEL(gtk_label_new("Switch to tab"))};
  auto* box = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, 8);
  gtk_box_append(GTK_BOX(box), GTK_WIDGET(row.icon));
  gtk_box_append(GTK_BOX(box), GTK_WIDGET(row.title));
  gtk_widget_add_css_class(GTK_WIDGET(row.address), "dim-label");
  gtk_box_append(GTK_BOX(box), GTK_WIDGET(row.address));
  gtk_widget_add_css_class(GTK_WIDGET(row.wish), "wish");
  gtk_widget_set_hexpand(GTK_WIDGET(row.wish), TRUE);
  gtk_widget_set_halign(GTK_WIDGET(row.wish), GTK_ALIGN_END);
  gtk_box_append(GTK_BOX(box), GTK_WIDGET(row.wish));
  gtk_list_box_row_set_child(GTK_LIST_BOX_ROW(row.widget), box);
  gtk_list_box_append(list_, row.widget);
  rows_.push_back(row);
}

void AddressCompletions::show(std::vector<AddressSuggestion> suggestions) {
  if (suggestions.empty() && suggestions_.empty()) return;
  suggestions_ = std::move(suggestions);
  if (suggestions_.empty()) return gtk_popover_popdown(GTK_POPOVER(popover_.get()));
  while (rows_.size() < suggestions_.size()) addRow();
  for (std::size_t i = 0; i < rows_.size(); ++i) {
    gtk_widget_set_visible(rows_[i].widget, i < suggestions_.size());
    if (i < suggestions_.size()) fill(rows_[i], suggestions_[i]);
  }
  gtk_list_box_select_row(list_, GTK_LIST_BOX_ROW(rows_.front().widget));
  graphene_rect_t bounds;
  if (gtk_widget_compute_bounds(entry_, entry_, &bounds))
    gtk_widget_set_size_request(popover_.get(), static_cast<int>(bounds.size.width), -1);
  gtk_popover_popup(GTK_POPOVER(popover_.get()));
  // One that is open already does not become smaller by itself.
  gtk_popover_present(GTK_POPOVER(popover_.get()));
}

void AddressCompletions::fill(const Row& row, const AddressSuggestion& suggestion) {
  const bool switches = suggestion.kind == Kind::openTab;
  gtk_image_set_from_icon_name(row.icon, iconOf(suggestion.kind));
  setText(row.title, suggestion.title, suggestion.inTitle);
  setText(row.address, suggestion.shownAddress, suggestion.inAddress);
  gtk_widget_set_visible(GTK_WIDGET(row.wish), switches);
  auto name = suggestion.title;
  if (!suggestion.shownAddress.empty()) name += ", " + suggestion.shownAddress;
  if (switches) name += ", Switch to tab";
  gtk_accessible_update_property(GTK_ACCESSIBLE(row.widget), GTK_ACCESSIBLE_PROPERTY_LABEL, name.c_str(), -1);
}

void AddressCompletions::move(int steps) {
  if (!isOpen()) return;
  const auto* row = gtk_list_box_get_selected_row(list_);
  const int count = static_cast<int>(suggestions_.size());
  const int from = row ? gtk_list_box_row_get_index(const_cast<GtkListBoxRow*>(row)) : 0;
  const auto to = static_cast<std::size_t>(((from + steps) % count + count) % count);
  gtk_list_box_select_row(list_, GTK_LIST_BOX_ROW(rows_[to].widget));
}

const AddressSuggestion* AddressCompletions::selected() const {
  auto* row = isOpen() ? gtk_list_box_get_selected_row(list_) : nullptr;
  return row ? &suggestions_.at(static_cast<std::size_t>(gtk_list_box_row_get_index(row))) : nullptr;
}

void AddressCompletions::choose(GtkListBoxRow* row, OpenPlace place) {
  const auto index = static_cast<std::size_t>(gtk_list_box_row_get_index(row));
  if (index >= suggestions_.size()) return;
  const auto suggestion = suggestions_[index];
  hide();
  chosen_(suggestion, place);
}

}  // namespace vale::gtk
