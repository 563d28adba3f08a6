#pragma once

#include "app/gtk/QuestionBar.h"

#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace vale::gtk {

/// A place for one sentence at a time, with what can be done about it; the next one takes its place, and the
/// user can put it away. Main thread only.
class NoticeBar {
 public:
  /// The box must outlive the notice.
  explicit NoticeBar(GtkBox* box) : box_(box) {}

  /// What was done, as the user wanted it.
  void inform(const std::string& sentence, std::vector<QuestionBar::Answer> answers = {}) {
    tell(sentence, std::move(answers));
    gtk_widget_remove_css_class(bar_->widget(), "notice");
    gtk_widget_add_css_class(bar_->widget(), "information");
  }

  /// What did not go as it should.
  void tell(const std::string& sentence, std::vector<QuestionBar::Answer> answers = {}) {
    bar_.reset();
    bar_ = std::make_unique<QuestionBar>(box_, sentence, std::move(answers), [this] { bar_.reset(); });
  }
  void clear() { bar_.reset(); }

 private:
  GtkBox* box_;
  std::unique_ptr<QuestionBar> bar_;
};

}  // namespace vale::gtk
