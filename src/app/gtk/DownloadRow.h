#pragma once

#include "app/gtk/GObjectPointer.h"
#include "app/gtk/Signal.h"
#include "browser/Downloads.h"

#include <gtk/gtk.h>

#include <functional>
#include <optional>

namespace vale::gtk {

/// One download in the list: its name, how it goes, and what can be done with it. Main thread only.
class DownloadRow {
 public:
  /// What the user may ask for, by the download's identity.
  struct Host {
    std::function<void(const Uuid&)> open, show, cancel, retry, copyAddress, remove;
  };

  /// How it goes besides what the list says.
  struct Course {
    std::optional<double> rate;  ///< bytes a second
    bool triedAgain = false;
  };

  DownloadRow(const Download& download, const Host& host);
  DownloadRow(const DownloadRow&) = delete;
  DownloadRow& operator=(const DownloadRow&) = delete;

  GtkWidget* widget() const { return widget_.get(); }
  const Uuid& id() const { return id_; }
  void show(const Download& download, const Course& course);

 private:
  GtkWidget* addButton(const char* icon, const char* meaning, std::function<void(const Uuid&)> work);

  Uuid id_;
  GObjectPointer<GtkWidget> widget_;
  GtkBox* box_;
  GtkImage* icon_;
  GtkLabel *name_, *status_;
  GtkProgressBar* progress_;
  GtkWidget *cancel_, *retry_, *folder_, *copy_, *remove_;
  Connections connections_;
};

}  // namespace vale::gtk
