#include "app/gtk/PictureSaver.h"

#include "app/gtk/WindowPicture.h"
#include "common/Error.h"

#include <utility>

namespace vale::gtk {

PictureSaver::PictureSaver(BrowserWindow& window, std::filesystem::path file, Clock& clock, MainQueue main,
                           SerialQueue writing)
    : window_(window), file_(std::move(file)), main_(std::move(main)), writing_(std::move(writing)),
      watch_(
          window.window(), [&window] { return window.page(); }, clock) {
  // A still picture catches transitions half-way.
  g_object_set(gtk_settings_get_default(), "gtk-enable-animations", FALSE, nullptr);
}

void PictureSaver::save(std::function<void(Problem)> saved) {
  // It shows the window in use, even where nothing gives it the focus.
  gtk_widget_unset_state_flags(GTK_WIDGET(window_.window()), GTK_STATE_FLAG_BACKDROP);
  watch_.whenPainted([this, saved = std::move(saved)] {
    writing_.post([main = main_, file = file_, saved, picture = windowPicture(window_.window())] {
      Problem problem;
      try {
        writePicture(picture.get(), file);
      } catch (const Error& error) {
        problem = error.message;
      }
      main.post([saved, problem] { saved(problem); });
    });
  });
}

}  // namespace vale::gtk
