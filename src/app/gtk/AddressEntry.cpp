#include "app/gtk/AddressEntry.h"

#include "browser/AddressDisplay.h"
#include "common/WebAddress.h"

#include <adwaita.h>

#include <memory>
#include <optional>
#include <utility>

namespace vale::gtk {

namespace {

/// What Pango lays out without a noticeable pause; a longer address is shown, not edited.
constexpr std::size_t longestEdited = 16 * 1024;

/// What is not the host, unless the user needs all of it to stand out.
guint16 faintness() {
  return adw_style_manager_get_high_contrast(adw_style_manager_get_default()) ? 0xd000 : 0x9000;
}

struct FreeAttributes {
  void operator()(PangoAttrList* list) const { pango_attr_list_unref(list); }
};

void add(PangoAttrList* list, PangoAttribute* attribute, std::size_t begin, std::size_t end) {
  attribute->start_index = static_cast<guint>(begin);
  attribute->end_index = static_cast<guint>(end);
  pango_attr_list_insert(list, attribute);
}

}  // namespace

AddressEntry::AddressEntry(Host host)
    : host_(std::move(host)), entry_(GObjectPointer<GtkEntry>::share(GTK_ENTRY(gtk_entry_new()))),
      completions_(widget(),
                   [this](const AddressSuggestion& one, OpenPlace place) { host_.chosen(one, place); }) {
  gtk_entry_set_placeholder_text(entry_.get(), "Search the web or enter an address");
  gtk_entry_set_input_purpose(entry_.get(), GTK_INPUT_PURPOSE_URL);
  gtk_entry_set_input_hints(entry_.get(), GTK_INPUT_HINT_NO_SPELLCHECK);
  gtk_widget_set_hexpand(widget(), TRUE);
  gtk_accessible_update_property(GTK_ACCESSIBLE(entry_.get()), GTK_ACCESSIBLE_PROPERTY_LABEL, "Address",
                                 GTK_ACCESSIBLE_PROPERTY_AUTOCOMPLETE, GTK_ACCESSIBLE_AUTOCOMPLETE_LIST, -1);

  const auto on = [this](gpointer object, const char* signal, auto handler) {
    connections_.push_back(connect(object, signal, std::move(handler)));
  };
  on(entry_.get(), "activate", [this] { enter(OpenPlace::here); });
  on(entry_.get(), "changed", [this] { typed(); });
  // Until an input method is done, its keys are its own.
  on(gtk_editable_get_delegate(GTK_EDITABLE(entry_.get())), "preedit-changed", [this](const char* text) {
    if (text && *text) completions_.hide();
  });

  on(entry_.get(), "icon-press", [this](GtkEntryIconPosition) {
    if (onIcon) onIcon();
  });

  auto* focus = gtk_event_controller_focus_new();
  on(focus, "enter", [this] { entered(); });
  on(focus, "leave", [this] {
    completions_.hide();
    // The focus of another window is no reason to forget what was typed in this one.
    if (!hasFocus()) showDisplayed();
  });
  gtk_widget_add_controller(widget(), focus);

  auto* keys = gtk_event_controller_key_new();
  gtk_event_controller_set_propagation_phase(keys, GTK_PHASE_CAPTURE);
  on(keys, "key-pressed",
     [this](guint key, guint, GdkModifierType modifiers) -> gboolean { return keyPressed(key, modifiers); });
  gtk_widget_add_controller(widget(), keys);

  // The first click selects the whole address; only a later one places the cursor.
  auto* click = gtk_gesture_click_new();
  gtk_event_controller_set_propagation_phase(GTK_EVENT_CONTROLLER(click), GTK_PHASE_CAPTURE);
  on(click, "pressed", [this, click](int, double x, double y) {
    const bool atIcon = gtk_entry_get_icon_at_pos(entry_.get(), static_cast<int>(x), static_cast<int>(y)) ==
                        GTK_ENTRY_ICON_PRIMARY;
    if (editing_ || atIcon) return;
    gtk_gesture_set_state(click, GTK_EVENT_SEQUENCE_CLAIMED);
    edit();
  });
  gtk_widget_add_controller(widget(), GTK_EVENT_CONTROLLER(click));
}

void AddressEntry::showAddress(const std::string& address) {
  address_ = address;
  showIcon();
  if (!editing_) showDisplayed();
}

void AddressEntry::showSecurity(PageSecurity security) {
  security_ = security;
  showIcon();
}

GdkRectangle AddressEntry::iconArea() const {
  GdkRectangle area{};
  gtk_entry_get_icon_area(entry_.get(), GTK_ENTRY_ICON_PRIMARY, &area);
  return area;
}

void AddressEntry::showIcon() {
  const char* icon = nullptr;
  const char* meaning = nullptr;
  switch (security_) {
  case PageSecurity::local:
    if (!isWebAddress(address_) || !isLoopback(address_)) break;
    icon = "computer-symbolic";
    meaning = "This page comes from a server on this computer.";
    break;
  case PageSecurity::secure:
    icon = "channel-secure-symbolic";
    meaning = "The connection is encrypted, and the server has proved its name.";
    break;
  case PageSecurity::insecure:
    icon = "channel-insecure-symbolic";
    meaning = "The connection is not secure: others may read or change what is sent.";
    break;
  }
  // Once there has been an icon, even none takes its place.
  if (!icon && gtk_entry_get_icon_storage_type(entry_.get(), GTK_ENTRY_ICON_PRIMARY) == GTK_IMAGE_EMPTY)
    return;
  gtk_entry_set_icon_from_icon_name(entry_.get(), GTK_ENTRY_ICON_PRIMARY, icon);
  if (!icon) return;
  gtk_entry_set_icon_activatable(entry_.get(), GTK_ENTRY_ICON_PRIMARY, TRUE);
  gtk_entry_set_icon_tooltip_text(entry_.get(), GTK_ENTRY_ICON_PRIMARY, meaning);
}

void AddressEntry::showRefusal(const std::string& message) {
  gtk_widget_add_css_class(widget(), "error");
  gtk_widget_set_tooltip_text(widget(), message.c_str());
}

void AddressEntry::clearRefusal() {
  gtk_widget_remove_css_class(widget(), "error");
  gtk_widget_set_tooltip_text(widget(), nullptr);
}

void AddressEntry::edit() {
  completions_.hide();
  gtk_widget_grab_focus(widget());
  entered();
  gtk_editable_select_region(GTK_EDITABLE(entry_.get()), 0, -1);
}

void AddressEntry::restore() {
  if (editing_) showWhole();
}

bool AddressEntry::hasFocus() const {
  GtkRoot* root = gtk_widget_get_root(widget());
  GtkWidget* focus = root ? gtk_root_get_focus(root) : nullptr;
  return focus && (focus == widget() || gtk_widget_is_ancestor(focus, widget()));
}

void AddressEntry::entered() {
  if (!std::exchange(editing_, true)) showWhole();
}

void AddressEntry::showWhole() {
  const auto text = address_.size() <= longestEdited ? address_ : displayedAddress(address_).text;
  gtk_entry_set_attributes(entry_.get(), nullptr);
  setText(text);
  gtk_editable_select_region(GTK_EDITABLE(entry_.get()), 0, -1);
}

void AddressEntry::showDisplayed() {
  editing_ = false;
  const auto shown = displayedAddress(address_);
  setText(shown.text);
  gtk_editable_select_region(GTK_EDITABLE(entry_.get()), 0, 0);
  const std::unique_ptr<PangoAttrList, FreeAttributes> attributes(pango_attr_list_new());
  if (!shown.host.empty()) {
    const auto faint = faintness();
    add(attributes.get(), pango_attr_foreground_alpha_new(faint), 0, shown.host.begin);
    add(attributes.get(), pango_attr_weight_new(PANGO_WEIGHT_MEDIUM), shown.host.begin, shown.host.end);
    add(attributes.get(), pango_attr_foreground_alpha_new(faint), shown.host.end, shown.text.size());
  }
  gtk_entry_set_attributes(entry_.get(), attributes.get());
}

void AddressEntry::setText(const std::string& text) {
  completions_.hide();
  setting_ = true;
  gtk_editable_set_text(GTK_EDITABLE(entry_.get()), text.c_str());
  setting_ = false;
}

void AddressEntry::typed() {
  clearRefusal();
  if (setting_ || !editing_) return;
  completions_.show(host_.suggestions(gtk_editable_get_text(GTK_EDITABLE(entry_.get()))));
}

void AddressEntry::enter(OpenPlace place) {
  using Kind = AddressSuggestion::Kind;
  const std::string text = gtk_editable_get_text(GTK_EDITABLE(entry_.get()));
  const auto* selected = completions_.selected();
  const auto suggestion = selected ? std::optional(*selected) : std::nullopt;
  completions_.hide();
  if (suggestion && suggestion->kind != Kind::address) return host_.chosen(*suggestion, place);
  host_.submitted(text, place);
}

bool AddressEntry::keyPressed(guint key, GdkModifierType modifiers) {
  const auto held = modifiers & gtk_accelerator_get_default_mod_mask();
  const bool open = completions_.isOpen();
  switch (key) {
  case GDK_KEY_Escape:
    if (open) {
      completions_.hide();
    } else {
      showDisplayed();
      host_.left();
    }
    return true;
  case GDK_KEY_Down:
  case GDK_KEY_KP_Down:
  case GDK_KEY_Up:
  case GDK_KEY_KP_Up:
    if (!open || held) return false;
    completions_.move(key == GDK_KEY_Down || key == GDK_KEY_KP_Down ? 1 : -1);
    return true;
  case GDK_KEY_Return:
  case GDK_KEY_KP_Enter:
  case GDK_KEY_ISO_Enter:
    if (held == GDK_CONTROL_MASK) {
      completions_.hide();
      host_.asked(gtk_editable_get_text(GTK_EDITABLE(entry_.get())));
      return true;
    }
    // Without these the entry itself knows whether the key is an input method's.
    if (held != GDK_ALT_MASK && held != GDK_SHIFT_MASK) return false;
    enter(held == GDK_ALT_MASK ? OpenPlace::newTab : OpenPlace::newWindow);
    return true;
  default:
    return false;
  }
}

}  // namespace vale::gtk
