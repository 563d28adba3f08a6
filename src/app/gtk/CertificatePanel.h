#pragma once

#include "app/gtk/GObjectPointer.h"
#include "app/gtk/Signal.h"
#include "app/gtk/WebKitPage.h"

#include <gtk/gtk.h>

#include <memory>

namespace vale::gtk {

/// Below the sentence that a certificate was refused: the way back, and folded away what is wrong with the
/// certificate and how to go on all the same. It is the browser's own; no page can reach it. Main thread
/// only.
class CertificatePanel {
 public:
  /// The page must outlive the panel.
  explicit CertificatePanel(WebKitPage& page);
  CertificatePanel(const CertificatePanel&) = delete;
  CertificatePanel& operator=(const CertificatePanel&) = delete;

  GtkWidget* widget() const { return box_.get(); }
  GtkWidget* backButton() const { return back_; }

  void show(const RefusedCertificate& refused);

 private:
  void goBack();
  void goOn();

  WebKitPage& page_;
  GObjectPointer<GtkWidget> box_;
  GtkWidget* back_;
  GtkWidget* advanced_;
  GtkWidget* details_;
  GtkWidget* verdict_;
  GtkWidget* continue_;
  Connections connections_;
  std::shared_ptr<const int> shown_;  ///< another one for each certificate that is shown
};

/// A table of labels with their texts, which come from the web. Floating.
GtkWidget* factsTable(const std::vector<std::pair<std::string, std::string>>& rows);

}  // namespace vale::gtk
