#pragma once

#include "app/gtk/GObjectPointer.h"
#include "app/gtk/Signal.h"
#include "common/Clock.h"

#include <gtk/gtk.h>

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

namespace vale::gtk {

/// The list of accounts under a login field, in the browser's own hands: the page neither sees it nor chooses
/// from it. It leaves the keyboard where it is until it is asked to take it. A click in its first moments
/// does not count: it may have been meant for what the page had there. Main thread only.
class AccountChooser {
 public:
  struct Row {
    std::string title;
    const char* icon;
  };

  /// `warning` stands below the rows, unless it is empty. The list stands under `place` of the widget `at`,
  /// which must be in a browser window; it is there until this goes.
  AccountChooser(GtkWidget* at, const GdkRectangle& place, const std::vector<Row>& rows,
                 const std::string& warning, Clock& clock);
  ~AccountChooser();
  AccountChooser(const AccountChooser&) = delete;
  AccountChooser& operator=(const AccountChooser&) = delete;

  /// The keyboard to the first row.
  void focus();

  /// Either may take the list along.
  std::function<void(std::size_t row)> onChosen = [](std::size_t) {};
  std::function<void()> onDismissed = [] {};

 private:
  GObjectPointer<GtkWidget> popover_;
  GtkListBox* list_;
  Timer unready_;
  Connections connections_;
};

}  // namespace vale::gtk
