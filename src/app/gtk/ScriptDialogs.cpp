#include "app/gtk/ScriptDialogs.h"

#include "app/gtk/SiteName.h"
#include "browser/AddressDisplay.h"

#include <fmt/format.h>

#include <utility>

namespace vale::gtk {

namespace {

/// Enough for any message; what is longer would only take time to lay out.
constexpr std::size_t longestMessage = 20'000;

/// From this one on a page can be told to stop.
constexpr unsigned firstToBlock = 2;

std::string text(const char* value) { return value ? value : ""; }

}  // namespace

ScriptDialogs::ScriptDialogs(WebKitPage& page) : page_(page) {
  // A driver answers them itself.
  if (webkit_web_view_is_controlled_by_automation(page_.view())) return;
  connections_.push_back(
      connect(page_.view(), "script-dialog",
              [this](WebKitScriptDialog* dialog) -> gboolean { return requested(dialog); }));
  connections_.push_back(connect(page_.view(), "web-process-terminated",
                                 [this](WebKitWebProcessTerminationReason) { dismiss(); }));
  subscriptions_.push_back(page_.document().subscribe([this](auto) {
    count_ = 0;
    blocked_ = false;
  }));
  // Another address was asked for: the script that waits for its answer is on the way out.
  subscriptions_.push_back(page_.address().subscribe([this](const auto&) { dismiss(); }));
}

ScriptDialogs::~ScriptDialogs() {
  connections_.clear();
  subscriptions_.clear();
  dismiss();
}

bool ScriptDialogs::requested(WebKitScriptDialog* dialog) {
  dismiss();
  held_ = Held(webkit_script_dialog_ref(dialog), webkit_script_dialog_unref);
  const bool leaving =
      webkit_script_dialog_get_dialog_type(dialog) == WEBKIT_SCRIPT_DIALOG_BEFORE_UNLOAD_CONFIRM;
  if (blocked_) {
    finish(leaving);
    return true;
  }
  ++count_;
  shown_ = std::make_unique<PageDialog>(page_, contentOf(dialog));
  return true;
}

PageDialog::Content ScriptDialogs::contentOf(WebKitScriptDialog* dialog) {
  const auto site = siteName(text(webkit_web_view_get_uri(page_.view())));
  PageDialog::Content content{.title = site.starts_with("This ") ? fmt::format("{} says", site)
                                                                 : fmt::format("A page at {} says", site),
                              .text =
                                  clampedText(text(webkit_script_dialog_get_message(dialog)), longestMessage),
                              .fields = {},
                              .check = count_ >= firstToBlock ? "_Block more dialogs from this page" : "",
                              .answers = {}};
  const auto answer = [this](const char* label, bool confirmed, const char* look) {
    return PageDialog::Answer{
        .label = label, .chosen = [this, confirmed] { finish(confirmed); }, .look = look};
  };
  switch (webkit_script_dialog_get_dialog_type(dialog)) {
  case WEBKIT_SCRIPT_DIALOG_ALERT:
    content.answers = {answer("_OK", true, "suggested-action")};
    break;
  case WEBKIT_SCRIPT_DIALOG_PROMPT:
    content.fields = {{.label = "", .text = text(webkit_script_dialog_prompt_get_default_text(dialog))}};
    [[fallthrough]];
  case WEBKIT_SCRIPT_DIALOG_CONFIRM:
    content.answers = {answer("_Cancel", false, nullptr), answer("_OK", true, "suggested-action")};
    break;
  case WEBKIT_SCRIPT_DIALOG_BEFORE_UNLOAD_CONFIRM:
    // Its words are the browser's: a page could write anything to keep its visitors.
    content.title = fmt::format("Leave {}?", site.starts_with("This ") ? "this page" : site);
    content.text = "What you entered may not have been saved.";
    content.answers = {answer("_Stay", false, nullptr), answer("_Leave", true, "destructive-action")};
    break;
  }
  return content;
}

void ScriptDialogs::finish(bool confirmed) {
  const auto dialog = std::exchange(held_, nullptr);
  if (!dialog) return;
  const auto shown = std::move(shown_);
  if (shown && shown->checked()) blocked_ = true;
  const auto type = webkit_script_dialog_get_dialog_type(dialog.get());
  if (type == WEBKIT_SCRIPT_DIALOG_CONFIRM || type == WEBKIT_SCRIPT_DIALOG_BEFORE_UNLOAD_CONFIRM) {
    webkit_script_dialog_confirm_set_confirmed(dialog.get(), confirmed);
  } else if (type == WEBKIT_SCRIPT_DIALOG_PROMPT && confirmed && shown) {
    webkit_script_dialog_prompt_set_text(dialog.get(), shown->text(0).c_str());
  }
  webkit_script_dialog_close(dialog.get());
}

void ScriptDialogs::dismiss() {
  if (held_)
    finish(webkit_script_dialog_get_dialog_type(held_.get()) == WEBKIT_SCRIPT_DIALOG_BEFORE_UNLOAD_CONFIRM);
}

}  // namespace vale::gtk
