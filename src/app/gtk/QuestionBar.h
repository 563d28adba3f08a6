#pragma once

#include "app/gtk/GObjectPointer.h"
#include "app/gtk/Signal.h"

#include <gtk/gtk.h>

#include <functional>
#include <string>
#include <vector>

namespace vale::gtk {

/// A bar with a sentence and what can be done about it, for a page or a window. It stands in its box until an
/// answer is given, it is dismissed, or this object goes. Main thread only.
class QuestionBar {
 public:
  struct Answer {
    std::string label;  ///< with a mnemonic
    std::function<void()> chosen;
    bool suggested = false;
  };

  /// `dismissed` runs for the close button, which is there when it is given. The box must outlive the bar;
  /// the bar may be destroyed by what an answer calls.
  QuestionBar(GtkBox* box, const std::string& sentence, std::vector<Answer> answers,
              std::function<void()> dismissed = {});
  ~QuestionBar();
  QuestionBar(const QuestionBar&) = delete;
  QuestionBar& operator=(const QuestionBar&) = delete;

  /// Another widget before the answers, such as a check button. The bar takes it.
  void addControl(GtkWidget* control);

  GtkWidget* widget() const { return widget_.get(); }

 private:
  GObjectPointer<GtkWidget> widget_;
  GtkBox* box_;
  GtkWidget* sentence_;
  Connections connections_;
};

}  // namespace vale::gtk
