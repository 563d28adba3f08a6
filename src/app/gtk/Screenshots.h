#pragma once

#include "app/gtk/GObjectPointer.h"
#include "app/gtk/LateAnswer.h"
#include "app/gtk/NoticeBar.h"
#include "app/gtk/WindowPart.h"
#include "common/Queues.h"

#include <filesystem>
#include <string>

namespace vale::gtk {

/// Takes pictures of a window and of whole pages: into the user's folder for pictures, under a name that is
/// free, compressed and written on a queue of their own. What came of it is told above the page.
class Screenshots : public WindowPart {
 public:
  explicit Screenshots(const WindowPlace& place);

 private:
  void takePage();
  void takeWindow();
  void paintedWindow();
  void save(GObjectPointer<GdkTexture> picture, const std::string& title);
  void tell(GObjectPointer<GdkTexture> picture, const std::filesystem::path& file);

  const WindowPlace place_;
  SerialQueue writing_;
  NoticeBar notice_;
  Connection painted_;
  LateAnswer::Owner alive_ = std::make_shared<const bool>(true);
};

}  // namespace vale::gtk
