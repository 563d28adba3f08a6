#include "app/gtk/SecretClipboard.h"

#include <memory>
#include <string_view>

namespace vale::gtk {

namespace {

GdkContentProvider* bytesOf(const char* type, std::string_view text) {
  const std::unique_ptr<GBytes, decltype(&g_bytes_unref)> bytes(g_bytes_new(text.data(), text.size()),
                                                                g_bytes_unref);
  return gdk_content_provider_new_for_bytes(type, bytes.get());
}

}  // namespace

void SecretClipboard::copy(GdkClipboard* clipboard, const Secret& password) {
  clear();
  // By this type clipboard histories know what they must not keep.
  GdkContentProvider* forms[] = {gdk_content_provider_new_typed(G_TYPE_STRING, password.text().c_str()),
                                 bytesOf("x-kde-passwordManagerHint", "secret")};
  content_ = GObjectPointer<GdkContentProvider>::adopt(gdk_content_provider_new_union(forms, 2));
  clipboard_ = GObjectPointer<GdkClipboard>::share(clipboard);
  gdk_clipboard_set_content(clipboard, content_.get());
  timer_ = clock_.schedule(stay, [this] { clear(); });
}

void SecretClipboard::clear() {
  timer_.cancel();
  if (clipboard_ && gdk_clipboard_get_content(clipboard_.get()) == content_.get()) {
    gdk_clipboard_set_content(clipboard_.get(), nullptr);
  }
  content_.reset();
  clipboard_.reset();
}

}  // namespace vale::gtk
