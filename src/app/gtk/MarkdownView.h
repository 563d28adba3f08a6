#pragma once

#include "app/Markdown.h"
#include "app/gtk/GObjectPointer.h"
#include "app/gtk/Signal.h"

#include <gtk/gtk.h>

#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace vale::gtk {

/// Shows an agent's Markdown, block by block. A text that grows changes its last blocks only; of a very long
/// one the beginning is laid out, and more of it on demand. Main thread only.
class MarkdownView {
 public:
  /// `openLink` gets the address of a link that was clicked.
  explicit MarkdownView(std::function<void(const std::string&)> openLink);
  ~MarkdownView();
  MarkdownView(const MarkdownView&) = delete;
  MarkdownView& operator=(const MarkdownView&) = delete;

  GtkWidget* widget() const { return box_.get(); }
  void show(std::string_view text);

 private:
  struct Shown {
    MarkdownBlock block;
    GtkWidget* widget = nullptr;
    GtkLabel* label = nullptr;  ///< null for a rule
    Connection clicks;
  };

  void layOut();
  void offerMore(std::size_t shown);
  Shown make(const MarkdownBlock& block);

  std::function<void(const std::string&)> openLink_;
  GObjectPointer<GtkWidget> box_;
  GtkBox* blocks_;
  GtkWidget* more_ = nullptr;  ///< the button, where something is left out
  std::string text_;
  std::string laidOut_;  ///< as much of it as is shown
  std::size_t most_;
  std::vector<Shown> shown_;
  Connection wants_;
};

/// A label for text that wraps and can be selected.
GtkLabel* newTextLabel();

/// A label that stands in a line of its own that scrolls sideways; `scroller` gets that widget.
GtkLabel* newCodeLabel(GtkWidget*& scroller);

}  // namespace vale::gtk
