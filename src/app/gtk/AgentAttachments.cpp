#include "app/gtk/AgentAttachments.h"

#include "agents/PreviewText.h"
#include "app/gtk/Controls.h"
#include "common/Error.h"
#include "common/PrivateFiles.h"
#include "common/Text.h"

#include <fmt/format.h>

#include <algorithm>
#include <system_error>
#include <utility>

namespace vale::gtk {

struct AgentAttachments::Loaded {
  std::variant<std::monostate, AttachedText, std::filesystem::path> content;
  std::string problem;
};

namespace {

constexpr std::size_t longestChip = 60, longestTip = 400;  // characters

std::filesystem::path savedImage(GdkTexture* texture, const std::filesystem::path& folder) {
  const auto place = folder / (Uuid::random().text() + ".png");
  auto* bytes = gdk_texture_save_to_png_bytes(texture);
  gsize size = 0;
  const auto* data = static_cast<const char*>(g_bytes_get_data(bytes, &size));
  try {
    if (size > longestAttachedImage) {
      throw Error(fmt::format("The image cannot be attached: as PNG it has {} MB, and an agent takes {} MB.",
                              size >> 20, longestAttachedImage >> 20));
    }
    PrivateFiles::write({data, size}, place);
  } catch (...) {
    g_bytes_unref(bytes);
    throw;
  }
  g_bytes_unref(bytes);
  return place;
}

/// Null for what is no image.
GObjectPointer<GdkTexture> imageIn(const std::filesystem::path& file) {
  GError* error = nullptr;
  const auto texture = GObjectPointer<GdkTexture>::adopt(gdk_texture_new_from_filename(file.c_str(), &error));
  g_clear_error(&error);
  return texture;
}

GtkWidget* menuItem(const char* icon, const char* label) {
  auto* button = gtk_button_new();
  auto* line = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, 8);
  gtk_box_append(GTK_BOX(line), gtk_image_new_from_icon_name(icon));
  auto* text = gtk_label_new_with_mnemonic(label);
  gtk_label_set_mnemonic_widget(GTK_LABEL(text), button);
  gtk_box_append(GTK_BOX(line), text);
  gtk_button_set_child(GTK_BUTTON(button), line);
  gtk_widget_add_css_class(button, "flat");
  return button;
}

}  // namespace

AgentAttachments::AgentAttachments(AgentDesk& desk, BrowsingMode mode, Host host)
    : desk_(desk), mode_(mode), host_(std::move(host)),
      box_(GObjectPointer<GtkWidget>::share(gtk_flow_box_new())), button_(gtk_menu_button_new()),
      queue_(desk.surroundings().workers, "Vale.attachments"),
      self_(std::make_shared<AgentAttachments*>(this)) {
  auto* flow = GTK_FLOW_BOX(box_.get());
  gtk_flow_box_set_selection_mode(flow, GTK_SELECTION_NONE);
  gtk_flow_box_set_max_children_per_line(flow, 4);
  gtk_flow_box_set_column_spacing(flow, 4);
  gtk_flow_box_set_row_spacing(flow, 4);
  gtk_accessible_update_property(GTK_ACCESSIBLE(flow), GTK_ACCESSIBLE_PROPERTY_LABEL, "Attached", -1);
  addMenu();
  refresh();
}

AgentAttachments::~AgentAttachments() {
  clear();
  chips_.clear();
  connections_.clear();
}

void AgentAttachments::addMenu() {
  gtk_menu_button_set_icon_name(GTK_MENU_BUTTON(button_), "list-add-symbolic");
  nameControl(button_, "Attach");
  gtk_widget_add_css_class(button_, "flat");
  popover_ = GTK_POPOVER(gtk_popover_new());
  auto* list = gtk_box_new(GTK_ORIENTATION_VERTICAL, 0);
  const auto add = [&](const char* icon, const char* label, std::function<void()> work) {
    auto* item = menuItem(icon, label);
    connections_.push_back(connect(item, "clicked", [this, work = std::move(work)] {
      gtk_popover_popdown(popover_);
      work();
    }));
    gtk_box_append(GTK_BOX(list), item);
    return item;
  };
  pageItem_ = add("web-browser-symbolic", "_This Page", [this] { attachPage(); });
  selectionItem_ =
      add("edit-select-all-symbolic", "_Selection of This Page", [this] { host_.wantsSelection(); });
  add("document-open-symbolic", "_Files…", [this] { chooseFiles(); });
  gtk_popover_set_child(popover_, list);
  gtk_menu_button_set_popover(GTK_MENU_BUTTON(button_), GTK_WIDGET(popover_));
}

void AgentAttachments::setPage(const std::string& title, const std::string& address) {
  // What was attached or left was the page that is gone.
  if (ModelInputFilter::withoutQuery(address) != ModelInputFilter::withoutQuery(address_))
    page_ = PageChoice::usual;
  title_ = title;
  address_ = address;
  refresh();
}

void AgentAttachments::setBegins(bool begins) {
  if (std::exchange(begins_, begins) != begins) refresh();
}

bool AgentAttachments::sendsPage() const {
  return !selection_ && !address_.empty() && vale::sendsPage(page_, mode_, begins_);
}

void AgentAttachments::attachPage() {
  page_ = PageChoice::attached;
  selection_.reset();
  refresh();
}

void AgentAttachments::attachSelection(PageContext selected) {
  selection_ = std::move(selected);
  refresh();
}

void AgentAttachments::chooseFiles() {
  auto* root = gtk_widget_get_root(button_);
  chooser_ = GObjectPointer<GtkFileChooserNative>::adopt(gtk_file_chooser_native_new(
      "Attach Files", GTK_WINDOW(root), GTK_FILE_CHOOSER_ACTION_OPEN, "_Attach", "_Cancel"));
  gtk_file_chooser_set_select_multiple(GTK_FILE_CHOOSER(chooser_.get()), TRUE);
  gtk_native_dialog_set_modal(GTK_NATIVE_DIALOG(chooser_.get()), TRUE);
  chosen_ = connect(chooser_.get(), "response", [this](int response) {
    if (response != GTK_RESPONSE_ACCEPT) return;
    const auto files =
        GObjectPointer<GListModel>::adopt(gtk_file_chooser_get_files(GTK_FILE_CHOOSER(chooser_.get())));
    addFiles(files.get());
  });
  gtk_native_dialog_show(GTK_NATIVE_DIALOG(chooser_.get()));
}

void AgentAttachments::addFiles(GListModel* files) {
  for (guint i = 0; i < g_list_model_get_n_items(files); ++i) {
    const auto file = GObjectPointer<GFile>::adopt(static_cast<GFile*>(g_list_model_get_item(files, i)));
    char* path = g_file_get_path(file.get());
    if (path)
      addFile(path);
    else
      host_.failed("Only files of this machine can be attached.");
    g_free(path);
  }
}

void AgentAttachments::addFile(const std::filesystem::path& file) {
  load(validUtf8(file.filename().string()), [file, folder = desk_.attachmentsFolder()]() -> Loaded {
    if (const auto texture = imageIn(file)) return {.content = savedImage(texture.get(), folder)};
    return {.content = readAttachedText(file)};
  });
}

void AgentAttachments::addTexture(GdkTexture* texture) {
  load("Image",
       [held = GObjectPointer<GdkTexture>::share(texture), folder = desk_.attachmentsFolder()]() -> Loaded {
         return {.content = savedImage(held.get(), folder)};
       });
}

bool AgentAttachments::isFull() {
  if (files_.size() < mostAttachedFiles) return false;
  host_.failed(fmt::format("A request takes {} files and images. Send the others with the next one.",
                           mostAttachedFiles));
  return true;
}

bool AgentAttachments::isReading() const {
  return std::ranges::any_of(
      files_, [](const File& file) { return std::holds_alternative<std::monostate>(file.content); });
}

void AgentAttachments::load(std::string name, std::function<Loaded()> read) {
  if (isFull()) return;
  files_.push_back({.id = Uuid::random(), .name = std::move(name)});
  refresh();
  queue_.post([read = std::move(read), id = files_.back().id, main = desk_.surroundings().main,
               weak = std::weak_ptr(self_)] {
    Loaded loaded;
    try {
      loaded = read();
    } catch (const Error& error) {
      loaded.problem = error.message;
    }
    main.post([weak, id, loaded = std::move(loaded)] {
      if (const auto self = weak.lock()) (*self)->settle(id, loaded);
    });
  });
}

void AgentAttachments::settle(const Uuid& id, Loaded loaded) {
  const auto file = std::ranges::find(files_, id, &File::id);
  if (file == files_.end()) return;
  if (loaded.problem.empty()) {
    file->content = std::move(loaded.content);
  } else {
    files_.erase(file);
    host_.failed(loaded.problem);
  }
  refresh();
}

void AgentAttachments::chip(const char* icon, const std::string& text, const std::string& tip,
                            std::function<void()> removed) {
  auto* box = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, 4);
  gtk_widget_add_css_class(box, "agent-chip");
  gtk_widget_set_halign(box, GTK_ALIGN_START);
  gtk_box_append(GTK_BOX(box), gtk_image_new_from_icon_name(icon));
  auto* label = gtk_label_new(text.c_str());
  gtk_label_set_ellipsize(GTK_LABEL(label), PANGO_ELLIPSIZE_END);
  gtk_label_set_max_width_chars(GTK_LABEL(label), 24);
  gtk_widget_set_tooltip_text(label, tip.c_str());
  gtk_box_append(GTK_BOX(box), label);
  auto* button = flatButton("window-close-symbolic", ("Leave out “" + text + "”").c_str());
  chips_.push_back(connect(button, "clicked", [this, removed = std::move(removed)] {
    // Later: the chip goes with the button that is being clicked.
    desk_.surroundings().main.post([weak = std::weak_ptr(self_), removed] {
      if (!weak.expired()) removed();
    });
  }));
  gtk_box_append(GTK_BOX(box), button);
  gtk_flow_box_insert(GTK_FLOW_BOX(box_.get()), box, -1);
}

void AgentAttachments::refresh() {
  chips_.clear();
  while (auto* child = gtk_widget_get_first_child(widget()))
    gtk_flow_box_remove(GTK_FLOW_BOX(widget()), child);
  if (sendsPage()) {
    chip("web-browser-symbolic", "This page", title_ + "\n" + address_, [this] {
      page_ = PageChoice::left;
      refresh();
    });
  }
  if (selection_) addSelectionChip();
  for (const auto& file : files_) addFileChip(file);
  gtk_widget_set_visible(widget(), gtk_widget_get_first_child(widget()) != nullptr);
  gtk_widget_set_sensitive(pageItem_, !address_.empty() && !sendsPage());
  gtk_widget_set_sensitive(selectionItem_, !address_.empty());
}

void AgentAttachments::addSelectionChip() {
  const auto words = previewLine(selection_->selection.value_or(""), longestChip);
  const bool isPrivate = mode_ == BrowsingMode::isPrivate;
  auto tip = previewText(selection_->selection.value_or(""), longestTip) +
             "\n\nThis text goes to the agent, with the address of its page:\n" + singleLine(selection_->url);
  if (isPrivate) tip += "\nIt is from a private window, and sent because you attached it.";
  chip("edit-select-all-symbolic", (isPrivate ? "Private selection: " : "Selection: ") + words, tip, [this] {
    selection_.reset();
    refresh();
  });
}

void AgentAttachments::addFileChip(const File& file) {
  const auto name = singleLine(file.name);
  auto text = name, tip = name;
  const auto* read = std::get_if<AttachedText>(&file.content);
  const bool image = std::holds_alternative<std::filesystem::path>(file.content);
  if (!read && !image) text += " (being read…)";
  if (read && read->cut) {
    text = "Beginning of " + name;
    tip += fmt::format("\nIts first {} kB are sent; the rest is left out.", longestAttachedText >> 10);
  }
  chip(image ? "image-x-generic-symbolic" : "text-x-generic-symbolic", text, tip, [this, id = file.id] {
    std::erase_if(files_, [&](const File& one) { return one.id == id; });
    refresh();
  });
}

void AgentAttachments::put(AgentQuestion& question) const {
  question.page = selection_;
  for (const auto& file : files_) {
    if (const auto* text = std::get_if<AttachedText>(&file.content)) question.texts.push_back(*text);
    if (const auto* image = std::get_if<std::filesystem::path>(&file.content))
      question.images.push_back(*image);
  }
}

void AgentAttachments::clear() {
  files_.clear();
  selection_.reset();
  page_ = PageChoice::usual;
  refresh();
}

}  // namespace vale::gtk
