#include "app/gtk/MarkdownView.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

namespace vale::gtk {

namespace {

constexpr int indent = 18;  // logical pixels
/// What is laid out at a time, bytes: some five pages, which a growing text may change without a pause.
constexpr std::size_t part = 16 * 1024;

const char* headingStyle(int level) {
  if (level <= 1) return "title-4";
  return level == 2 ? "heading" : "caption-heading";
}

}  // namespace

GtkLabel* newTextLabel() {
  auto* label = GTK_LABEL(gtk_label_new(nullptr));
  gtk_label_set_wrap(label, TRUE);
  gtk_label_set_wrap_mode(label, PANGO_WRAP_WORD_CHAR);
  gtk_label_set_natural_wrap_mode(label, GTK_NATURAL_WRAP_WORD);
  gtk_label_set_xalign(label, 0);
  gtk_label_set_selectable(label, TRUE);
  return label;
}

GtkLabel* newCodeLabel(GtkWidget*& scroller) {
  auto* label = GTK_LABEL(gtk_label_new(nullptr));
  gtk_label_set_xalign(label, 0);
  gtk_label_set_yalign(label, 0);
  gtk_label_set_selectable(label, TRUE);
  gtk_widget_add_css_class(GTK_WIDGET(label), "monospace");
  scroller = gtk_scrolled_window_new();
  gtk_scrolled_window_set_policy(GTK_SCROLLED_WINDOW(scroller), GTK_POLICY_AUTOMATIC, GTK_POLICY_AUTOMATIC);
  gtk_scrolled_window_set_propagate_natural_height(GTK_SCROLLED_WINDOW(scroller), TRUE);
  gtk_scrolled_window_set_max_content_height(GTK_SCROLLED_WINDOW(scroller), 320);
  gtk_scrolled_window_set_child(GTK_SCROLLED_WINDOW(scroller), GTK_WIDGET(label));
  gtk_widget_add_css_class(scroller, "code");
  return label;
}

MarkdownView::MarkdownView(std::function<void(const std::string&)> openLink)
    : openLink_(std::move(openLink)),
      box_(GObjectPointer<GtkWidget>::share(gtk_box_new(GTK_ORIENTATION_VERTICAL, 6))),
      blocks_(GTK_BOX(gtk_box_new(GTK_ORIENTATION_VERTICAL, 6))), most_(part) {
  gtk_box_append(GTK_BOX(widget()), GTK_WIDGET(blocks_));
}

MarkdownView::~MarkdownView() = default;

void MarkdownView::show(std::string_view text) {
  text_ = text;
  layOut();
}

void MarkdownView::offerMore(std::size_t shown) {
  const auto left = text_.size() - shown;
  if (more_) gtk_widget_set_visible(more_, left > 0);
  if (left == 0) return;
  if (!more_) {
    more_ = gtk_button_new();
    gtk_button_set_use_underline(GTK_BUTTON(more_), TRUE);
    gtk_widget_set_halign(more_, GTK_ALIGN_START);
    wants_ = connect(more_, "clicked", [this] {
      most_ += part;
      layOut();
    });
    gtk_box_append(GTK_BOX(widget()), more_);
  }
  const auto label = fmt::format("Show _More ({} kB)", (left + 999) / 1000);
  gtk_button_set_label(GTK_BUTTON(more_), label.c_str());
}

void MarkdownView::layOut() {
  const auto text = markdownBeginning(text_, most_);
  offerMore(text.size());
  if (std::exchange(laidOut_, text) == text) return;
  const auto blocks = markdownBlocks(text);
  std::size_t same = 0;
  while (same < std::min(blocks.size(), shown_.size()) && blocks[same] == shown_[same].block) ++same;
  // The block that grows keeps its widget, and with it what is selected in it.
  if (same < std::min(blocks.size(), shown_.size())) {
    auto grown = blocks[same];
    auto& last = shown_[same];
    grown.markup = last.block.markup;
    if (grown == last.block && last.label) {
      last.block.markup = blocks[same].markup;
      gtk_label_set_markup(last.label, last.block.markup.c_str());
      ++same;
    }
  }
  while (shown_.size() > same) {
    auto* widget = shown_.back().widget;
    shown_.pop_back();
    gtk_box_remove(blocks_, widget);
  }
  for (std::size_t i = same; i < blocks.size(); ++i) {
    shown_.push_back(make(blocks[i]));
    gtk_box_append(blocks_, shown_.back().widget);
  }
}

MarkdownView::Shown MarkdownView::make(const MarkdownBlock& block) {
  Shown shown{.block = block};
  using Kind = MarkdownBlock::Kind;
  GtkWidget* body = nullptr;
  if (block.kind == Kind::rule) {
    body = gtk_separator_new(GTK_ORIENTATION_HORIZONTAL);
  } else if (block.kind == Kind::code || block.kind == Kind::table) {
    shown.label = newCodeLabel(body);
    gtk_scrolled_window_set_policy(GTK_SCROLLED_WINDOW(body), GTK_POLICY_AUTOMATIC, GTK_POLICY_NEVER);
  } else {
    shown.label = newTextLabel();
    body = GTK_WIDGET(shown.label);
    if (block.kind == Kind::heading) gtk_widget_add_css_class(body, headingStyle(block.level));
  }
  if (shown.label) {
    // Escaped by the core, character by character.
    gtk_label_set_markup(shown.label, block.markup.c_str());
    shown.clicks = connect(shown.label, "activate-link", [this](const char* address) -> gboolean {
      if (isLinkToOpen(address)) openLink_(address);
      return TRUE;
    });
  }
  shown.widget = body;
  if (!block.marker.empty()) {
    shown.widget = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, 6);
    auto* marker = gtk_label_new(block.marker.c_str());
    gtk_widget_set_valign(marker, GTK_ALIGN_START);
    gtk_widget_set_size_request(marker, indent - 6, -1);
    gtk_box_append(GTK_BOX(shown.widget), marker);
    gtk_widget_set_hexpand(body, TRUE);
    gtk_box_append(GTK_BOX(shown.widget), body);
  }
  const int lists = block.lists - (block.marker.empty() ? 0 : 1);
  gtk_widget_set_margin_start(shown.widget, lists * indent + block.quotes * indent);
  if (block.quotes > 0) gtk_widget_add_css_class(shown.widget, "quote");
  return shown;
}

}  // namespace vale::gtk
