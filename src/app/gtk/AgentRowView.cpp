#include "app/gtk/AgentRowView.h"

#include "agents/PreviewText.h"
#include "common/Text.h"

#include <fmt/format.h>

#include <algorithm>
#include <string_view>
#include <utility>

namespace vale::gtk {

namespace {

using Kind = AgentRow::Kind;
using State = AgentRow::State;
using Remedy = AgentRow::Remedy;

/// What is laid out of one detail without a pause.
constexpr std::size_t longestShown = 20'000;

GtkLabel* caption(const std::string& text) {
  auto* label = newTextLabel();
  gtk_label_set_text(label, text.c_str());
  gtk_widget_add_css_class(GTK_WIDGET(label), "caption");
  gtk_widget_add_css_class(GTK_WIDGET(label), "dim-label");
  return label;
}

/// One that the keyboard passes over on its way through the conversation.
GtkLabel* plainCaption() {
  auto* label = caption({});
  gtk_label_set_selectable(label, FALSE);
  return label;
}

void nameExpander(GtkExpander* expander, const std::string& name) {
  gtk_accessible_update_property(GTK_ACCESSIBLE(expander), GTK_ACCESSIBLE_PROPERTY_LABEL, name.c_str(), -1);
}

void clear(GtkWidget* box) {
  while (auto* child = gtk_widget_get_first_child(box)) gtk_box_remove(GTK_BOX(box), child);
}

/// Lines that came in green, those that went in red.
void colour(GtkLabel* label, const std::string& diff) {
  auto* attributes = pango_attr_list_new();
  std::size_t from = 0;
  while (from < diff.size()) {
    const auto end = std::min(diff.find('\n', from), diff.size());
    const char first = diff[from];
    PangoAttribute* attribute = nullptr;
    if (first == '+')
      attribute = pango_attr_foreground_new(0x2600, 0xa200, 0x6900);
    else if (first == '-')
      attribute = pango_attr_foreground_new(0xe000, 0x3a00, 0x3f00);
    else if (first == '@')
      attribute = pango_attr_foreground_alpha_new(0x9000);
    if (attribute) {
      attribute->start_index = static_cast<guint>(from);
      attribute->end_index = static_cast<guint>(end);
      pango_attr_list_insert(attributes, attribute);
    }
    from = end + 1;
  }
  gtk_label_set_attributes(label, attributes);
  pango_attr_list_unref(attributes);
}

GtkWidget* codeBox(const std::string& text, AgentRowDetail::Form form) {
  GtkWidget* scroller = nullptr;
  auto* label = newCodeLabel(scroller);
  const auto shown = previewText(text, longestShown);
  gtk_label_set_text(label, shown.c_str());
  if (form == AgentRowDetail::Form::diff) colour(label, shown);
  return scroller;
}

/// Gives what the mark means.
const char* showMark(GtkImage* image, State state) {
  const char* icon = nullptr;
  const char* meaning = "";
  const char* style = nullptr;
  switch (state) {
  case State::none:
    break;
  case State::running:
    icon = "content-loading-symbolic";
    meaning = "Running";
    break;
  case State::done:
    icon = "object-select-symbolic";
    meaning = "Done";
    style = "dim-label";
    break;
  case State::failed:
    icon = "window-close-symbolic";
    meaning = "Failed";
    style = "error";
    break;
  case State::denied:
    icon = "action-unavailable-symbolic";
    meaning = "Not allowed";
    style = "warning";
    break;
  }
  for (const char* one : {"dim-label", "error", "warning"})
    gtk_widget_remove_css_class(GTK_WIDGET(image), one);
  if (style) gtk_widget_add_css_class(GTK_WIDGET(image), style);
  gtk_image_set_from_icon_name(image, icon);
  gtk_widget_set_tooltip_text(GTK_WIDGET(image), meaning);
  gtk_accessible_update_property(GTK_ACCESSIBLE(image), GTK_ACCESSIBLE_PROPERTY_LABEL, meaning, -1);
  return meaning;
}

const char* remedyLabel(Remedy remedy) {
  switch (remedy) {
  case Remedy::allowWriting:
    return "Send Again, May _Write";
  case Remedy::sendAgain:
    return "Send _Again";
  case Remedy::sendInFreshSession:
    return "Send in a _New Session";
  case Remedy::none:
    break;
  }
  return "";
}

std::string changeTitle(const FileChange& change) {
  auto title = singleLine(validUtf8(change.path.native()));
  if (change.additions && change.deletions)
    title += fmt::format("  +{} −{}", *change.additions, *change.deletions);
  if (change.kind == FileChangeKind::added) title += "  new";
  if (change.kind == FileChangeKind::deleted) title += "  deleted";
  return title;
}

}  // namespace

AgentRowView::AgentRowView(const AgentRow& row, const Uuid& turn, const AgentRowHost& host)
    : row_(row), turn_(turn), host_(host),
      widget_(GObjectPointer<GtkWidget>::share(gtk_box_new(GTK_ORIENTATION_VERTICAL, 4))) {
  build();
  fill();
}

AgentRowView::~AgentRowView() {
  changing_.clear();
  connections_.clear();
}

void AgentRowView::update(const AgentRow& row) {
  if (row == row_) return;
  row_ = row;
  fill();
}

void AgentRowView::build() {
  auto* box = GTK_BOX(widget());
  switch (row_.kind) {
  case Kind::request:
    gtk_widget_add_css_class(widget(), "agent-request");
    text_ = newTextLabel();
    gtk_box_append(box, GTK_WIDGET(text_));
    title_ = plainCaption();
    gtk_box_append(box, GTK_WIDGET(title_));
    break;
  case Kind::message:
    markdown_ = std::make_unique<MarkdownView>([this](const std::string& link) { host_.openLink(link); });
    gtk_box_append(box, markdown_->widget());
    break;
  case Kind::thinking:
  case Kind::call:
  case Kind::changes:
    buildCard();
    break;
  case Kind::notice:
    text_ = caption({});
    gtk_box_append(box, GTK_WIDGET(text_));
    break;
  case Kind::error:
    gtk_widget_add_css_class(widget(), "agent-error");
    text_ = newTextLabel();
    gtk_box_append(box, GTK_WIDGET(text_));
    break;
  case Kind::facts:
    title_ = plainCaption();
    gtk_box_append(box, GTK_WIDGET(title_));
    break;
  }
}

/// One line that unfolds.
void AgentRowView::buildCard() {
  gtk_widget_add_css_class(widget(), "agent-card");
  if (row_.kind == Kind::thinking) gtk_widget_add_css_class(widget(), "thinking");
  expander_ = GTK_EXPANDER(gtk_expander_new(nullptr));
  auto* line = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, 6);
  title_ = GTK_LABEL(gtk_label_new(nullptr));
  gtk_label_set_ellipsize(title_, PANGO_ELLIPSIZE_END);
  gtk_label_set_xalign(title_, 0);
  gtk_widget_set_hexpand(GTK_WIDGET(title_), TRUE);
  gtk_box_append(GTK_BOX(line), GTK_WIDGET(title_));
  mark_ = GTK_IMAGE(gtk_image_new());
  gtk_widget_set_visible(GTK_WIDGET(mark_), row_.kind == Kind::call);
  gtk_box_append(GTK_BOX(line), GTK_WIDGET(mark_));
  gtk_expander_set_label_widget(expander_, line);
  gtk_widget_set_hexpand(line, TRUE);
  details_ = gtk_box_new(GTK_ORIENTATION_VERTICAL, 4);
  gtk_widget_add_css_class(details_, "details");
  gtk_expander_set_child(expander_, details_);
  gtk_box_append(GTK_BOX(widget()), GTK_WIDGET(expander_));
  if (row_.kind == Kind::changes) gtk_expander_set_expanded(expander_, TRUE);
  // Its content is made once someone looks at it.
  connections_.push_back(connect(expander_, "notify::expanded", [this](GParamSpec*) {
    if (row_.kind == Kind::changes) {
      if (gtk_expander_get_expanded(expander_) && row_.changes->state == AgentTurnChanges::State::unknown)
        host_.readChanges(turn_);
    } else {
      fillDetails();
    }
  }));
}

void AgentRowView::fill() {
  switch (row_.kind) {
  case Kind::request:
    gtk_label_set_text(text_, previewText(row_.text, longestShown).c_str());
    gtk_label_set_text(title_, row_.title.c_str());
    break;
  case Kind::message:
    markdown_->show(row_.text);
    break;
  case Kind::thinking:
  case Kind::call:
    fillCard();
    break;
  case Kind::changes:
    fillChanges();
    break;
  case Kind::notice:
  case Kind::error:
    gtk_label_set_text(text_, previewText(row_.text, longestShown).c_str());
    break;
  case Kind::facts:
    gtk_label_set_text(title_, row_.title.c_str());
    break;
  }
  setHint(row_.hint);
  setRemedy();
}

void AgentRowView::fillCard() {
  gtk_label_set_text(title_, row_.title.c_str());
  gtk_widget_set_tooltip_text(GTK_WIDGET(title_), row_.title.c_str());
  auto name = row_.title;
  if (row_.kind == Kind::call) name += fmt::format(": {}", showMark(mark_, row_.state));
  nameExpander(expander_, name);
  fillDetails();
}

void AgentRowView::fillDetails() {
  clear(details_);
  if (!gtk_expander_get_expanded(expander_)) return;
  for (const auto& detail : row_.details) {
    if (!detail.label.empty()) gtk_box_append(GTK_BOX(details_), GTK_WIDGET(caption(detail.label)));
    if (detail.text.empty()) continue;
    if (row_.kind == Kind::thinking) {
      auto* thoughts = caption(previewText(detail.text, longestShown));
      gtk_box_append(GTK_BOX(details_), GTK_WIDGET(thoughts));
    } else {
      gtk_box_append(GTK_BOX(details_), codeBox(detail.text, detail.form));
    }
  }
  if (!gtk_widget_get_first_child(details_))
    gtk_box_append(GTK_BOX(details_), GTK_WIDGET(caption("There is nothing more to show.")));
}

void AgentRowView::fillChanges() {
  changing_.clear();
  clear(details_);
  const auto changes = row_.changes;
  const auto& files = changes->changes.files;
  const bool reading = changes->state == AgentTurnChanges::State::reading;
  std::string title = "Changed files";
  if (reading)
    title = "Looking at the changed files…";
  else if (changes->state == AgentTurnChanges::State::known)
    title = files.empty() ? "No files were changed" : fmt::format("Changed files: {}", files.size());
  gtk_label_set_text(title_, title.c_str());
  nameExpander(expander_, title);
  const auto button = [this](const char* label, const char* meaning, std::function<void()> work) {
    auto* made = gtk_button_new_with_mnemonic(label);
    gtk_widget_set_tooltip_text(made, meaning);
    gtk_widget_set_halign(made, GTK_ALIGN_START);
    changing_.push_back(connect(made, "clicked", [work = std::move(work)] {
      const auto held = work;
      held();
    }));
    return made;
  };
  if (changes->state == AgentTurnChanges::State::unknown) {
    gtk_box_append(GTK_BOX(details_), button("_Show Them", "Look at what this turn changed",
                                             [this] { host_.readChanges(turn_); }));
    return;
  }
  for (const auto& file : files) {
    const auto about = changeTitle(file);
    auto* line = gtk_expander_new(about.c_str());
    nameExpander(GTK_EXPANDER(line), about);
    auto* body = gtk_box_new(GTK_ORIENTATION_VERTICAL, 4);
    if (file.diff) gtk_box_append(GTK_BOX(body), codeBox(*file.diff, AgentRowDetail::Form::diff));
    if (file.diffCut)
      gtk_box_append(GTK_BOX(body), GTK_WIDGET(caption("The rest of the difference is left out.")));
    if (!file.diff)
      gtk_box_append(GTK_BOX(body), GTK_WIDGET(caption("There is no difference to show as text.")));
    if (file.obstacle) {
      gtk_box_append(GTK_BOX(body), GTK_WIDGET(caption(*file.obstacle)));
    } else {
      auto* undo = button("_Undo This File", "Put this file back as it was before the turn",
                          [this, path = file.path] { host_.undo(turn_, std::vector{path}); });
      gtk_widget_set_sensitive(undo, !reading);
      gtk_box_append(GTK_BOX(body), undo);
    }
    gtk_expander_set_child(GTK_EXPANDER(line), body);
    gtk_box_append(GTK_BOX(details_), line);
  }
  for (const auto& note : changes->changes.notes)
    gtk_box_append(GTK_BOX(details_), GTK_WIDGET(caption(note)));
  if (!changes->message.empty()) gtk_box_append(GTK_BOX(details_), GTK_WIDGET(caption(changes->message)));
  auto* buttons = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, 6);
  if (!files.empty()) {
    gtk_box_append(GTK_BOX(buttons), button("Undo _All", "Put all files back as they were before the turn",
                                            [this] { host_.undo(turn_, std::nullopt); }));
  }
  if (changes->changes.undoneBy) {
    gtk_box_append(GTK_BOX(buttons),
                   button("_Redo", "Take the latest undo back", [this] { host_.redo(turn_); }));
  }
  gtk_widget_set_sensitive(buttons, !reading);
  gtk_box_append(GTK_BOX(details_), buttons);
}

void AgentRowView::setHint(const std::string& text) {
  if (text.empty() && !hint_) return;
  if (!hint_) {
    hint_ = caption({});
    gtk_box_append(GTK_BOX(widget()), GTK_WIDGET(hint_));
  }
  gtk_label_set_text(hint_, text.c_str());
  gtk_widget_set_visible(GTK_WIDGET(hint_), !text.empty());
}

void AgentRowView::setRemedy() {
  if (row_.remedy == Remedy::none && !remedy_) return;
  if (!remedy_) {
    remedy_ = gtk_button_new_with_mnemonic("");
    gtk_widget_set_halign(remedy_, GTK_ALIGN_START);
    gtk_box_append(GTK_BOX(widget()), remedy_);
    connections_.push_back(connect(remedy_, "clicked", [this] { host_.remedy(turn_, row_.remedy); }));
  }
  gtk_button_set_label(GTK_BUTTON(remedy_), remedyLabel(row_.remedy));
  gtk_widget_set_visible(remedy_, row_.remedy != Remedy::none);
}

}  // namespace vale::gtk
