#include "app/gtk/ProjectFolderDialog.h"

#include "common/Error.h"

#include <boost/asio/co_spawn.hpp>

#include <utility>

namespace vale::gtk {

ProjectFolderDialog::ProjectFolderDialog(AgentDesk& desk, Answer answer)
    : desk_(desk), answer_(std::move(answer)) {}

void ProjectFolderDialog::show(GtkWidget* widget) {
  chooser_ = GObjectPointer<GtkFileChooserNative>::adopt(
      gtk_file_chooser_native_new("Choose a Project", GTK_WINDOW(gtk_widget_get_root(widget)),
                                  GTK_FILE_CHOOSER_ACTION_SELECT_FOLDER, "_Choose", "_Cancel"));
  gtk_native_dialog_set_modal(GTK_NATIVE_DIALOG(chooser_.get()), TRUE);
  chosen_ = connect(chooser_.get(), "response", [this](int response) {
    if (response != GTK_RESPONSE_ACCEPT) return;
    const auto file =
        GObjectPointer<GFile>::adopt(gtk_file_chooser_get_file(GTK_FILE_CHOOSER(chooser_.get())));
    char* path = file ? g_file_get_path(file.get()) : nullptr;
    if (!path) return answer_.failed("Only a folder of this machine can be a project.");
    const std::filesystem::path folder = path;
    g_free(path);
    take(folder);
  });
  gtk_native_dialog_show(GTK_NATIVE_DIALOG(chooser_.get()));
}

void ProjectFolderDialog::take(const std::filesystem::path& folder) {
  asio::co_spawn(
      desk_.surroundings().main.executor(), desk_.addProject(folder),
      [this, alive = std::weak_ptr(alive_)](const std::exception_ptr& error, const ProjectOffer& offer) {
        if (alive.expired()) return;
        try {
          if (error) std::rethrow_exception(error);
        } catch (const Error& problem) {
          return answer_.failed(problem.message);
        }
        answer_.chosen(offer);
      });
}

}  // namespace vale::gtk
