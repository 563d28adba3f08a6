#include "app/gtk/TabRow.h"

#include "app/gtk/Controls.h"
#include "app/gtk/Style.h"
#include "browser/AddressDisplay.h"
#include "common/Text.h"

#include <fmt/format.h>

#include <memory>
#include <utility>

namespace vale::gtk {

namespace {

constexpr const char* rowKey = "vale-tab-row";
constexpr std::size_t longestTooltipAddress = 500;
constexpr int chipWidth = 190;        // logical pixels
constexpr int longestGroupName = 24;  // of a chip, in characters

/// A small button without a frame at the end of a row.
GtkWidget* rowButton(const char* icon) {
  auto* button = gtk_button_new_from_icon_name(icon);
  gtk_widget_add_css_class(button, "flat");
  gtk_widget_add_css_class(button, "row-button");
  gtk_widget_set_valign(button, GTK_ALIGN_CENTER);
  gtk_widget_set_focusable(button, FALSE);
  return button;
}

GObjectPointer<GdkTexture> textureOf(const PageIcon& icon) {
  if (!icon) return {};
  const std::unique_ptr<GBytes, decltype(&g_bytes_unref)> bytes(g_bytes_new(icon->data(), icon->size()),
                                                                g_bytes_unref);
  // A broken picture is no icon.
  return GObjectPointer<GdkTexture>::adopt(gdk_texture_new_from_bytes(bytes.get(), nullptr));
}

}  // namespace

TabRow* TabRow::make(Shape shape, SharedContext context) {
  auto* row = new TabRow(shape, std::move(context));
  g_object_set_data_full(G_OBJECT(row->widget_), rowKey, row,
                         [](gpointer data) { delete static_cast<TabRow*>(data); });
  return row;
}

TabRow* TabRow::around(GtkWidget* widget) {
  for (; widget; widget = gtk_widget_get_parent(widget)) {
    if (auto* row = g_object_get_data(G_OBJECT(widget), rowKey)) return static_cast<TabRow*>(row);
    // The list's own row around ours.
    if (g_str_equal(gtk_widget_get_css_name(widget), "row") ||
        g_str_equal(gtk_widget_get_css_name(widget), "child")) {
      auto* child = gtk_widget_get_first_child(widget);
      return child ? static_cast<TabRow*>(g_object_get_data(G_OBJECT(child), rowKey)) : nullptr;
    }
  }
  return nullptr;
}

TabRow::TabRow(Shape shape, SharedContext context)
    : shape_(shape), context_(std::move(context)), widget_(gtk_box_new(GTK_ORIENTATION_HORIZONTAL, 8)),
      icon_(GTK_IMAGE(gtk_image_new())), label_(GTK_LABEL(gtk_label_new(nullptr))) {
  gtk_widget_add_css_class(widget_, "tab");
  gtk_label_set_ellipsize(label_, PANGO_ELLIPSIZE_END);
  gtk_widget_set_hexpand(GTK_WIDGET(label_), TRUE);
  gtk_box_append(GTK_BOX(widget_), GTK_WIDGET(icon_));
  gtk_box_append(GTK_BOX(widget_), GTK_WIDGET(label_));
}

void TabRow::bind(GObject* item, bool selected) {
  item_ = GObjectPointer<GObject>::share(item);
  if (const auto& tab = this->item()->tab) changes_ = tab->onChange([this] { refresh(); });
  selected_ = !selected;
  showSelected(selected);
  refresh();
}

void TabRow::unbind() {
  changes_ = {};
  showPointed(false);
  showDrop(std::nullopt);
  item_.reset();
}

bool TabRow::onlyIcon() const {
  return shape_ == Shape::icon || (shape_ == Shape::chip && item()->line.kind == TabLine::Kind::pinnedTab);
}

void TabRow::refresh() {
  if (!item()) return;
  const auto& line = item()->line;
  setClass("group", !line.isTab());
  setClass("grouped", line.kind == TabLine::Kind::groupTab);
  showColor(context_->model->group(line.groupID));
  if (shape_ == Shape::chip) {
    const bool wide = line.isTab() && !onlyIcon();
    gtk_widget_set_size_request(widget_, wide ? chipWidth : -1, -1);
    gtk_label_set_max_width_chars(label_, wide ? 1 : longestGroupName);
  }
  if (line.isTab()) {
    refreshTab(*item()->tab);
  } else {
    refreshHeader();
  }
  showClose();
}

void TabRow::refreshTab(const BrowserTab& tab) {
  const auto title = tab.title();
  const auto address = singleLine(validUtf8(clampedText(tab.url(), longestTooltipAddress)));
  const bool sleeps = !tab.page() && !tab.isStart();
  setClass("sleeping", sleeps);
  // What has only room for an icon shows its first letter while it has none.
  const bool letter = onlyIcon() && !tab.icon() && !tab.isStart();
  gtk_label_set_text(label_, letter ? std::string(firstCharacters(title, 1)).c_str() : title.c_str());
  gtk_label_set_xalign(label_, letter ? 0.5F : 0.0F);
  gtk_widget_set_visible(GTK_WIDGET(label_), (!onlyIcon() || letter) && !(letter && tab.isLoading()));
  if (dot_) gtk_widget_set_visible(dot_, FALSE);
  if (count_) gtk_widget_set_visible(count_, FALSE);
  showIcon(tab);
  showMute(tab);
  const char* state = tab.isCapturing()      ? "uses the camera, the microphone or the screen"
                      : tab.isPlayingAudio() ? (tab.isMuted() ? "plays sound, muted" : "plays sound")
                      : sleeps               ? "sleeping"
                                             : nullptr;
  describe(state ? fmt::format("{}, {}", title, state) : title,
           address.empty() || address == title ? title : fmt::format("{}\n{}", title, address));
}

void TabRow::refreshHeader() {
  const auto* group = context_->model->group(item()->line.groupID);
  setClass("sleeping", false);
  for (auto* part : {spinner_, capture_, mute_}) {
    if (part) gtk_widget_set_visible(part, FALSE);
  }
  gtk_widget_set_visible(GTK_WIDGET(label_), TRUE);
  gtk_label_set_xalign(label_, 0);
  if (dot_) gtk_widget_set_visible(dot_, group != nullptr);
  if (count_) gtk_widget_set_visible(count_, group != nullptr);
  if (item()->line.kind == TabLine::Kind::agentsHeader) {
    gtk_widget_set_visible(GTK_WIDGET(icon_), FALSE);
    gtk_label_set_text(label_, "Agents");
    return describe("Agents", "Tabs that agents work in");
  }
  if (!group) return;
  shownIcon_.reset();
  gtk_widget_set_visible(GTK_WIDGET(icon_), TRUE);
  gtk_image_set_from_icon_name(icon_, group->collapsed ? "pan-end-symbolic" : "pan-down-symbolic");
  if (!dot_) {
    dot_ = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, 0);
    gtk_widget_add_css_class(dot_, "dot");
    gtk_widget_set_valign(dot_, GTK_ALIGN_CENTER);
    gtk_box_insert_child_after(GTK_BOX(widget_), dot_, GTK_WIDGET(icon_));
    count_ = gtk_label_new(nullptr);
    gtk_widget_add_css_class(count_, "dim-label");
    gtk_widget_add_css_class(count_, "numeric");
    gtk_box_insert_child_after(GTK_BOX(widget_), count_, GTK_WIDGET(label_));
  }
  const auto name = windowTitle(group->name, defaultGroupName);
  const auto count = group->tabIDs.size();
  gtk_label_set_text(label_, name.c_str());
  gtk_label_set_text(GTK_LABEL(count_), fmt::to_string(count).c_str());
  const auto tabs = fmt::format("{} {}", count, count == 1 ? "tab" : "tabs");
  describe(fmt::format("Group {}, {}, {}", name, tabs, group->collapsed ? "collapsed" : "expanded"),
           fmt::format("{}\n{}", name, tabs));
}

void TabRow::showColor(const ManualTabGroup* group) {
  const char* color = group ? colorClass(group->color) : nullptr;
  if (color == shownColor_) return;
  if (shownColor_) gtk_widget_remove_css_class(widget_, shownColor_);
  if (color) gtk_widget_add_css_class(widget_, color);
  shownColor_ = color;
}

void TabRow::showIcon(const BrowserTab& tab) {
  const bool loading = tab.isLoading();
  if (loading && !spinner_) {
    spinner_ = gtk_spinner_new();
    gtk_box_prepend(GTK_BOX(widget_), spinner_);
    gtk_widget_set_hexpand(spinner_, shape_ == Shape::icon);
  }
  if (spinner_) {
    gtk_widget_set_visible(spinner_, loading);
    gtk_spinner_set_spinning(GTK_SPINNER(spinner_), loading);
  }
  gtk_widget_set_visible(GTK_WIDGET(icon_), !loading && (!onlyIcon() || tab.icon() || tab.isStart()));
  gtk_widget_set_hexpand(GTK_WIDGET(icon_), shape_ == Shape::icon);
  const bool empty = gtk_image_get_storage_type(icon_) != GTK_IMAGE_PAINTABLE;
  if (tab.icon() && tab.icon() == shownIcon_ && !empty) return;
  shownIcon_ = tab.icon();
  if (const auto texture = textureOf(shownIcon_)) {
    gtk_image_set_from_paintable(icon_, GDK_PAINTABLE(texture.get()));
    gtk_image_set_pixel_size(icon_, 16);
  } else {
    gtk_image_set_from_icon_name(icon_, tab.isStart() ? "tab-new-symbolic" : "text-x-generic-symbolic");
  }
}

void TabRow::showMute(const BrowserTab& tab) {
  const bool shown = tab.isPlayingAudio() && !onlyIcon();
  if (shown && !mute_) {
    mute_ = rowButton("audio-volume-high-symbolic");
    gtk_box_insert_child_after(GTK_BOX(widget_), mute_, GTK_WIDGET(label_));
    connections_.push_back(connect(mute_, "clicked", [this] {
      if (item() && item()->tab) item()->tab->setMuted(!item()->tab->isMuted());
    }));
  }
  if (mute_) {
    const char* meaning = tab.isMuted() ? "Unmute" : "Mute";
    gtk_widget_set_visible(mute_, shown);
    gtk_button_set_icon_name(GTK_BUTTON(mute_),
                             tab.isMuted() ? "audio-volume-muted-symbolic" : "audio-volume-high-symbolic");
    nameControl(mute_, meaning);
  }
  setClass("playing", tab.isPlayingAudio() && !tab.isMuted());
  if (tab.isCapturing() && !capture_) {
    capture_ = gtk_image_new_from_icon_name("media-record-symbolic");
    gtk_widget_add_css_class(capture_, "error");
    gtk_box_insert_child_after(GTK_BOX(widget_), capture_, GTK_WIDGET(label_));
  }
  if (capture_) gtk_widget_set_visible(capture_, tab.isCapturing());
}

void TabRow::showClose() {
  const bool shown = item() && item()->line.isTab() && !onlyIcon() && (pointed_ || selected_);
  if (shown && !close_) {
    close_ = rowButton("window-close-symbolic");
    gtk_widget_set_tooltip_text(close_, "Close");
    gtk_accessible_update_property(GTK_ACCESSIBLE(close_), GTK_ACCESSIBLE_PROPERTY_LABEL, "Close tab", -1);
    gtk_box_append(GTK_BOX(widget_), close_);
    connections_.push_back(connect(close_, "clicked", [this] {
      if (!item()) return;
      context_->later([id = item()->line.id](BrowserModel& model) { model.close(id); });
    }));
  }
  if (close_) gtk_widget_set_visible(close_, shown);
}

void TabRow::showSelected(bool selected) {
  if (selected == selected_) return;
  selected_ = selected;
  setClass("selected", selected);
  if (auto* parent = gtk_widget_get_parent(widget_)) {
    gtk_accessible_update_state(GTK_ACCESSIBLE(parent), GTK_ACCESSIBLE_STATE_SELECTED, selected, -1);
  }
  showClose();
}

void TabRow::showPointed(bool pointed) {
  if (std::exchange(pointed_, pointed) != pointed) showClose();
}

void TabRow::showDrop(std::optional<DropSide> side) {
  const bool header = item() && !item()->line.isTab();
  setClass("drop-into", side && header);
  setClass("drop-before", side == DropSide::before && !header);
  setClass("drop-after", side == DropSide::after && !header);
}

void TabRow::describe(const std::string& name, const std::string& tooltip) {
  gtk_widget_set_tooltip_text(widget_, tooltip.c_str());
  if (name == shownName_) return;
  shownName_ = name;
  auto* parent = gtk_widget_get_parent(widget_);
  gtk_accessible_update_property(GTK_ACCESSIBLE(parent ? parent : widget_), GTK_ACCESSIBLE_PROPERTY_LABEL,
                                 name.c_str(), -1);
}

void TabRow::setClass(const char* name, bool on) {
  if (on) {
    gtk_widget_add_css_class(widget_, name);
  } else {
    gtk_widget_remove_css_class(widget_, name);
  }
}

}  // namespace vale::gtk
