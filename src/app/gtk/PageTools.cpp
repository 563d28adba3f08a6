#include "app/gtk/PageTools.h"

#include "app/gtk/BrowserServices.h"
#include "browser/AddressDisplay.h"
#include "browser/BuiltInAddresses.h"
#include "browser/DownloadDestination.h"

#include <fmt/format.h>

#include <string>
#include <string_view>
#include <utility>

namespace vale::gtk {

namespace {

constexpr std::string_view archive = ".mhtml";

std::string text(const char* value) { return value ? value : ""; }

bool isArchive(std::string_view name) { return name.ends_with(archive) || name.ends_with(".mht"); }

/// HTML comes with what belongs to it, anything else as it is.
bool isHypertext(WebKitWebView* view) {
  auto* resource = webkit_web_view_get_main_resource(view);
  auto* response = resource ? webkit_web_resource_get_response(resource) : nullptr;
  const auto type = text(response ? webkit_uri_response_get_mime_type(response) : nullptr);
  return type.empty() || type == "text/html" || type == "application/xhtml+xml";
}

std::string suggestedName(WebKitPage& page, bool hypertext) {
  const auto& address = page.address().value();
  const auto path = std::string_view(address).substr(0, address.find_first_of("?#"));
  if (!hypertext) return safeFileName(path.substr(path.rfind('/') + 1));
  return safeFileName(windowTitle(page.title().value(), address) + std::string(archive));
}

std::string nameOf(GFile* file) {
  const std::unique_ptr<char, decltype(&g_free)> name(g_file_get_parse_name(file), g_free);
  return name.get();
}

GtkFileFilter* filter(const char* name, std::string_view pattern) {
  auto* made = gtk_file_filter_new();
  gtk_file_filter_set_name(made, name);
  gtk_file_filter_add_pattern(made, std::string(pattern).c_str());
  return made;
}

}  // namespace

PageTools::PageTools(const WindowPlace& place, PageSources& sources)
    : place_(place), sources_(sources), notice_(place.above) {
  const auto add = [this](const char* name, void (PageTools::*work)()) {
    place_.actions.add(name, [this, work] {
      if (place_.pages.page()) (this->*work)();
    });
  };
  add("print", &PageTools::print);
  add("save-page", &PageTools::savePage);
  add("source", &PageTools::showSource);
  add("inspect", &PageTools::inspect);
  add("reload-anew", &PageTools::reloadAnew);
  place_.actions.add("start-page", [this] { goToStart(); });
  place_.actions.enable("start-page", !place_.context->model->isPrivate());
  subscriptions_.push_back(place_.pages.onShown([this] { followPage(); }));
  followPage();
}

void PageTools::followPage() {
  pageSubscriptions_.clear();
  const auto enable = [this] {
    const auto* page = place_.pages.page();
    const bool shown = page && page->hasContent().value() && !page->failure().value();
    for (const char* name : {"print", "save-page", "source", "inspect"}) place_.actions.enable(name, shown);
    place_.actions.enable("reload-anew", page && !page->address().value().empty());
  };
  if (auto* page = place_.pages.page()) {
    pageSubscriptions_.push_back(page->hasContent().subscribe([enable](bool) { enable(); }));
    pageSubscriptions_.push_back(page->failure().subscribe([enable](const auto&) { enable(); }));
    pageSubscriptions_.push_back(page->address().subscribe([enable](const auto&) { enable(); }));
  }
  enable();
}

void PageTools::tellFailure(const char* what, const GError* error) {
  notice_.tell(fmt::format("{}: {}.", what, error ? error->message : "no reason was given"));
}

void PageTools::print() {
  auto& page = *place_.pages.page();
  printing_ = GObjectPointer<WebKitPrintOperation>::adopt(webkit_print_operation_new(page.view()));
  const auto operation = printing_;
  // Where a file goes: the toolkit would take whatever folder Vale was started in.
  const auto settings = GObjectPointer<GtkPrintSettings>::adopt(gtk_print_settings_new());
  const auto name = safeFileName(windowTitle(page.title().value(), page.address().value()));
  gtk_print_settings_set(settings.get(), GTK_PRINT_SETTINGS_OUTPUT_BASENAME, name.c_str());
  try {
    gtk_print_settings_set(settings.get(), GTK_PRINT_SETTINGS_OUTPUT_DIR, userDownloadsDirectory().c_str());
  } catch (const Error&) {
    // The toolkit's own choice will do.
  }
  webkit_print_operation_set_print_settings(operation.get(), settings.get());
  connections_.push_back(connect(operation.get(), "failed", [this](GError* error) {
    tellFailure("The page could not be printed", error);
  }));
  webkit_print_operation_run_dialog(operation.get(), GTK_WINDOW(place_.window));
}

// ---------------------------------------------------------------------------------------------------------
// Saving

void PageTools::savePage() {
  auto& page = *place_.pages.page();
  const bool hypertext = isHypertext(page.view());
  chooser_ = GObjectPointer<GtkFileChooserNative>::adopt(gtk_file_chooser_native_new(
      "Save Page", GTK_WINDOW(place_.window), GTK_FILE_CHOOSER_ACTION_SAVE, "_Save", nullptr));
  auto* chooser = GTK_FILE_CHOOSER(chooser_.get());
  gtk_native_dialog_set_modal(GTK_NATIVE_DIALOG(chooser_.get()), TRUE);
  if (hypertext) {
    gtk_file_chooser_add_filter(chooser,
                                filter("The page with its pictures, in one file (.mhtml)", "*.mhtml"));
    gtk_file_chooser_add_filter(chooser,
                                filter("The document alone, as the server sent it (.html)", "*.html"));
    connections_.push_back(connect(chooser, "notify::filter", [chooser](GParamSpec*) {
      // The name's ending decides; the choice of a kind is only a way to it.
      const std::unique_ptr<char, decltype(&g_free)> now(gtk_file_chooser_get_current_name(chooser), g_free);
      auto* chosen = gtk_file_chooser_get_filter(chooser);
      const auto kind = text(chosen ? gtk_file_filter_get_name(chosen) : nullptr);
      auto name = text(now.get());
      if (name.empty() || kind.empty()) return;
      if (const auto dot = name.rfind('.'); dot != std::string::npos && dot > 0) name.resize(dot);
      name += kind.ends_with("(.html)") ? ".html" : archive;
      if (name != text(now.get())) gtk_file_chooser_set_current_name(chooser, name.c_str());
    }));
  }
  gtk_file_chooser_set_current_name(chooser, suggestedName(page, hypertext).c_str());
  try {
    const auto folder = GObjectPointer<GFile>::adopt(g_file_new_for_path(userDownloadsDirectory().c_str()));
    gtk_file_chooser_set_current_folder(chooser, folder.get(), nullptr);
  } catch (const Error&) {
    // The toolkit's own choice will do.
  }
  connections_.push_back(connect(chooser, "response", [this, chooser](int response) {
    const auto file = GObjectPointer<GFile>::adopt(
        response == GTK_RESPONSE_ACCEPT ? gtk_file_chooser_get_file(chooser) : nullptr);
    gtk_native_dialog_hide(GTK_NATIVE_DIALOG(chooser));
    if (file) saveTo(file.get());
  }));
  gtk_native_dialog_show(GTK_NATIVE_DIALOG(chooser_.get()));
}

void PageTools::saveTo(GFile* file) {
  auto* page = place_.pages.page();
  if (!page) return notice_.tell("The page has gone meanwhile, so nothing was saved.");
  if (isArchive(nameOf(file))) return saveWhole(page->view(), file);
  saveDocument(page->view(), file);
}

void PageTools::saveWhole(WebKitWebView* view, GFile* file) {
  webkit_web_view_save_to_file(view, file, WEBKIT_SAVE_MODE_MHTML, nullptr, LateAnswer::call,
                               LateAnswer(alive_, [this, kept = GObjectPointer<GFile>::share(file)](
                                                      GObject* view, GAsyncResult* result) {
                                 GError* error = nullptr;
                                 webkit_web_view_save_to_file_finish(WEBKIT_WEB_VIEW(view), result, &error);
                                 tellSaved(kept.get(), error);
                                 g_clear_error(&error);
                               }).data());
}

void PageTools::saveDocument(WebKitWebView* view, GFile* file) {
  auto* resource = webkit_web_view_get_main_resource(view);
  if (!resource) return tellFailure("The page could not be saved", nullptr);
  webkit_web_resource_get_data(resource, nullptr, LateAnswer::call,
                               LateAnswer(alive_, [this, kept = GObjectPointer<GFile>::share(file)](
                                                      GObject* resource, GAsyncResult* result) {
                                 GError* error = nullptr;
                                 gsize size = 0;
                                 auto* data = webkit_web_resource_get_data_finish(
                                     WEBKIT_WEB_RESOURCE(resource), result, &size, &error);
                                 if (error) tellFailure("The page could not be saved", error);
                                 g_clear_error(&error);
                                 if (!data) return;
                                 auto* bytes = g_bytes_new_take(data, size);
                                 write(kept.get(), bytes);
                                 g_bytes_unref(bytes);
                               }).data());
}

void PageTools::write(GFile* file, GBytes* bytes) {
  g_file_replace_contents_bytes_async(file, bytes, nullptr, FALSE, G_FILE_CREATE_REPLACE_DESTINATION, nullptr,
                                      LateAnswer::call,
                                      LateAnswer(alive_, [this](GObject* file, GAsyncResult* result) {
                                        GError* error = nullptr;
                                        g_file_replace_contents_finish(G_FILE(file), result, nullptr, &error);
                                        tellSaved(G_FILE(file), error);
                                        g_clear_error(&error);
                                      }).data());
}

void PageTools::tellSaved(GFile* file, const GError* error) {
  if (error) return tellFailure("The page could not be saved", error);
  notice_.inform(fmt::format("The page was saved as {}.", nameOf(file)));
}

// ---------------------------------------------------------------------------------------------------------
// Looking behind it

void PageTools::showSource() {
  auto& page = *place_.pages.page();
  auto* resource = webkit_web_view_get_main_resource(page.view());
  if (!resource || page.address().value().starts_with("view-source:")) return;
  webkit_web_resource_get_data(
      resource, nullptr, LateAnswer::call,
      LateAnswer(alive_, [this, address = page.address().value()](GObject* resource, GAsyncResult* result) {
        GError* error = nullptr;
        gsize size = 0;
        const std::unique_ptr<guchar, decltype(&g_free)> data(
            webkit_web_resource_get_data_finish(WEBKIT_WEB_RESOURCE(resource), result, &size, &error),
            g_free);
        if (error) tellFailure("The source of the page is not to be had", error);
        g_clear_error(&error);
        if (!data) return;
        sources_.show(*place_.context->model, address,
                      std::string(reinterpret_cast<const char*>(data.get()), size));
      }).data());
}

void PageTools::inspect() {
  auto* inspector = webkit_web_view_get_inspector(place_.pages.page()->view());
  // In a window of their own the tools are closed with it.
  const auto act =
      webkit_web_inspector_is_attached(inspector) ? webkit_web_inspector_close : webkit_web_inspector_show;
  act(inspector);
}

void PageTools::reloadAnew() {
  auto& page = *place_.pages.page();
  if (page.failure().value()) return page.reload();
  webkit_web_view_reload_bypass_cache(page.view());
}

void PageTools::goToStart() {
  auto& model = *place_.context->model;
  if (const auto tab = model.selected()) tab->open(std::string(startAddress), model.engine());
}

}  // namespace vale::gtk
