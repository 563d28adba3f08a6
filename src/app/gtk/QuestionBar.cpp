#include "app/gtk/QuestionBar.h"

#include "app/gtk/Controls.h"

#include <utility>

namespace vale::gtk {

QuestionBar::QuestionBar(GtkBox* box, const std::string& sentence, std::vector<Answer> answers,
                         std::function<void()> dismissed)
    : widget_(GObjectPointer<GtkWidget>::share(gtk_box_new(GTK_ORIENTATION_HORIZONTAL, 8))), box_(box),
      sentence_(gtk_label_new(sentence.c_str())) {
  gtk_widget_add_css_class(widget(), "notice");
  gtk_label_set_wrap(GTK_LABEL(sentence_), TRUE);
  gtk_label_set_wrap_mode(GTK_LABEL(sentence_), PANGO_WRAP_WORD_CHAR);
  gtk_label_set_xalign(GTK_LABEL(sentence_), 0);
  gtk_widget_set_hexpand(sentence_, TRUE);
  gtk_box_append(GTK_BOX(widget()), sentence_);
  const auto add = [this](GtkWidget* button, std::function<void()> chosen) {
    gtk_widget_set_valign(button, GTK_ALIGN_CENTER);
    // A box that is told its width lines its children up at their baselines, and then is higher than it said
    // without: an overlay has no baseline.
    auto* place = gtk_overlay_new();
    gtk_overlay_set_child(GTK_OVERLAY(place), button);
    gtk_box_append(GTK_BOX(widget()), place);
    // A copy: the answer may take the bar along.
    connections_.push_back(connect(button, "clicked", [chosen = std::move(chosen)] {
      const auto work = chosen;
      work();
    }));
  };
  for (auto& answer : answers) {
    auto* button = gtk_button_new_with_mnemonic(answer.label.c_str());
    if (answer.suggested) gtk_widget_add_css_class(button, "suggested-action");
    add(button, std::move(answer.chosen));
  }
  if (dismissed) {
    add(flatButton("window-close-symbolic", "Dismiss"), std::move(dismissed));
  }
  gtk_box_append(box_, widget());
}

QuestionBar::~QuestionBar() {
  connections_.clear();
  if (gtk_widget_get_parent(widget()) == GTK_WIDGET(box_)) gtk_box_remove(box_, widget());
}

void QuestionBar::addControl(GtkWidget* control) {
  gtk_widget_set_valign(control, GTK_ALIGN_CENTER);
  gtk_box_insert_child_after(GTK_BOX(widget()), control, sentence_);
}

}  // namespace vale::gtk
