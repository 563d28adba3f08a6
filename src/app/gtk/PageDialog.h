#pragma once

#include "app/gtk/GObjectPointer.h"
#include "app/gtk/Signal.h"
#include "app/gtk/WebKitPage.h"

#include <gtk/gtk.h>

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

namespace vale::gtk {

/// A question over one page, which holds up that page and no other. All its texts are text. Several wait one
/// behind the other; a page out of sight shows its own when it is shown. Main thread only.
class PageDialog {
 public:
  struct Field {
    std::string label;
    std::string text;
    bool hidden = false;
  };
  struct Answer {
    std::string label;  ///< with a mnemonic
    std::function<void()> chosen;
    const char* look = nullptr;  ///< a style class
  };
  struct Content {
    std::string title;
    std::string text;
    std::vector<Field> fields;
    std::string check;            ///< of a check button, with a mnemonic; none when empty
    std::vector<Answer> answers;  ///< Escape gives the first, Enter the last
  };

  /// The dialog may be destroyed by what an answer calls.
  PageDialog(WebKitPage& page, Content content);
  ~PageDialog();
  PageDialog(const PageDialog&) = delete;
  PageDialog& operator=(const PageDialog&) = delete;

  std::string text(std::size_t field) const;
  void setText(std::size_t field, const std::string& text);
  bool checked() const;

 private:
  void addText(const std::string& text);
  void addField(const Field& field);
  void addAnswers(std::vector<Answer> answers);
  void takeFocus();
  static void showFirst(const WebKitPage& page);

  WebKitPage& page_;
  GObjectPointer<GtkWidget> cover_;
  GObjectPointer<GtkWidget> frame_;
  GtkWidget* card_;
  std::vector<GtkWidget*> fields_;
  GtkWidget* check_ = nullptr;
  GtkWidget* default_ = nullptr;
  std::function<void()> cancel_;
  std::function<void()> accept_;
  Connections connections_;
};

}  // namespace vale::gtk
