#include "app/gtk/WebKitPage.h"
#include "common/Sha256.h"

#include <string_view>

/// What a page is asked before it goes, and what brings it back.
namespace vale::gtk {

namespace {

/// A state begins with this and the digest of the rest. The engine takes a damaged state for a good one and
/// crashes on it, so it must see none but its own.
constexpr std::string_view stateMark = "webkit-1 ";
constexpr std::size_t digestSize = 64;

}  // namespace

Task<std::string> WebKitPage::sessionState() {
  stateTaken_ = true;
  if (!webkit_back_forward_list_get_current_item(webkit_web_view_get_back_forward_list(view_.get()))) {
    co_return std::string();
  }
  // The page's process keeps the place scrolled to up to date in here by itself, a moment after the
  // scrolling.
  auto* state = webkit_web_view_get_session_state(view_.get());
  auto* bytes = webkit_web_view_session_state_serialize(state);
  webkit_web_view_session_state_unref(state);
  gsize size = 0;
  const auto* data = static_cast<const char*>(g_bytes_get_data(bytes, &size));
  const std::string_view content(data, size);
  std::string result(stateMark);
  result.append(sha256Hex(content)).append(content);
  g_bytes_unref(bytes);
  co_return result;
}

void WebKitPage::restore(const std::string& state, const std::string& address) {
  if (!takeUp(state, address)) return open(address, PageTransition::restored);
  clearFailure();
  told_ = PageTransition::restored;
  restoring_ = true;
  updateAddress();
  updateHistory();
}

bool WebKitPage::takeUp(const std::string& state, const std::string& address) {
  std::string_view content = state;
  if (!content.starts_with(stateMark)) return false;
  content.remove_prefix(stateMark.size());
  const auto digest = content.substr(0, digestSize);
  content.remove_prefix(digest.size());
  if (sha256Hex(content) != digest) return false;
  auto* bytes = g_bytes_new(content.data(), content.size());
  auto* restored = webkit_web_view_session_state_new(bytes);
  g_bytes_unref(bytes);
  if (!restored) return false;
  webkit_web_view_restore_session_state(view_.get(), restored);
  webkit_web_view_session_state_unref(restored);
  auto* item = webkit_back_forward_list_get_current_item(webkit_web_view_get_back_forward_list(view_.get()));
  // Another address was on its way when the state was taken, or had failed: it follows the restored entries.
  const char* current = item ? webkit_back_forward_list_item_get_uri(item) : nullptr;
  if (!current || address != current) return false;
  webkit_web_view_go_to_back_forward_list_item(view_.get(), item);
  return true;
}

Task<bool> WebKitPage::hasTypedText() { return ask(FrameQuestion::typedText); }

Task<bool> WebKitPage::isPlayingMedia() { return ask(FrameQuestion::playingMedia); }

Task<bool> WebKitPage::ask(FrameQuestion question) {
  // Its process has ended, or never had a page.
  if (failure_.value() && !hasContent_.value()) co_return false;
  co_return co_await questions_.ask(question);
}

}  // namespace vale::gtk
