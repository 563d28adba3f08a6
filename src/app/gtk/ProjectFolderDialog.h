#pragma once

#include "app/AgentDesk.h"
#include "app/gtk/GObjectPointer.h"
#include "app/gtk/Signal.h"

#include <gtk/gtk.h>

#include <functional>
#include <memory>
#include <string>

namespace vale::gtk {

/// Asks the user for a folder and takes it into the list of projects. Main thread only.
class ProjectFolderDialog {
 public:
  struct Answer {
    std::function<void(const ProjectOffer&)> chosen;
    std::function<void(const std::string&)> failed;  ///< a sentence why it can be no project
  };

  /// The desk must outlive the dialog.
  ProjectFolderDialog(AgentDesk& desk, Answer answer);
  ProjectFolderDialog(const ProjectFolderDialog&) = delete;
  ProjectFolderDialog& operator=(const ProjectFolderDialog&) = delete;

  /// Over the window that the widget is in.
  void show(GtkWidget* widget);

 private:
  void take(const std::filesystem::path& folder);

  AgentDesk& desk_;
  Answer answer_;
  GObjectPointer<GtkFileChooserNative> chooser_;
  Connection chosen_;
  std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
};

}  // namespace vale::gtk
