#pragma once

#include "app/gtk/GObjectPointer.h"
#include "app/gtk/Signal.h"
#include "app/gtk/WindowPart.h"
#include "browser/FindMatches.h"

#include <webkit/webkit.h>

namespace vale::gtk {

/// Looks for words in the shown page of a window. The words stay when the bar closes and when another page is
/// shown; there the matches are counted, and looked for once the user goes on.
class FindBar : public WindowPart {
 public:
  explicit FindBar(const WindowPlace& place);
  ~FindBar() override;

 private:
  void addControls();
  void followPage();
  void open();
  void openWith(const std::string& selection);
  void close();
  void changed();
  void step(FindMatches::Look look);
  void look(FindMatches::Look look);
  void search(FindMatches::Look look);
  void countMatches();
  void showMatches();
  bool isOpen() const { return gtk_widget_get_visible(bar_.get()); }
  std::string words() const;
  guint32 options() const;

  const WindowPlace place_;
  GObjectPointer<GtkWidget> bar_;
  GtkWidget *entry_, *count_, *previous_, *next_, *caseButton_;
  GObjectPointer<WebKitWebView> view_;  ///< that is searched in
  GObjectPointer<GCancellable> asked_;  ///< what its page was asked before
  bool searching_ = false;              ///< the engine knows the words
  std::string sought_;                  ///< the words that it knows
  guint32 soughtOptions_ = 0;
  FindMatches matches_;
  Connections connections_, pageConnections_;
  std::vector<Subscription> subscriptions_, pageSubscriptions_;
};

}  // namespace vale::gtk
