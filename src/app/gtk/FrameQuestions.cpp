#include "app/gtk/FrameQuestions.h"

#include "app/gtk/IsolatedWorld.h"

#include <fmt/format.h>

#include <sstream>
#include <utility>

namespace vale::gtk {

FrameQuestions::FrameQuestions(WebKitWebView* view)
    : view_(GObjectPointer<WebKitWebView>::share(view)),
      gone_(GObjectPointer<GCancellable>::adopt(g_cancellable_new())) {
  auto* content = webkit_web_view_get_user_content_manager(view);
  const auto signal = fmt::format("script-message-with-reply-received::{}", frameMessages);
  messages_ = connect(content, signal.c_str(),
                      [this](JSCValue* message, WebKitScriptMessageReply* reply) -> gboolean {
                        receive(message, reply);
                        return TRUE;
                      });
  webkit_user_content_manager_register_script_message_handler_with_reply(content, frameMessages,
                                                                         isolatedWorld);
  auto* script = webkit_user_script_new_for_world(
      frameScript().c_str(), WEBKIT_USER_CONTENT_INJECT_ALL_FRAMES,
      WEBKIT_USER_SCRIPT_INJECT_AT_DOCUMENT_START, isolatedWorld, nullptr, nullptr);
  webkit_user_content_manager_add_script(content, script);
  webkit_user_script_unref(script);
}

FrameQuestions::~FrameQuestions() {
  g_cancellable_cancel(gone_.get());
  for (const auto& [question, answer] : std::exchange(waiting_, {})) answer.set(true);
  if (round_) finish(true);
}

Task<bool> FrameQuestions::ask(FrameQuestion question) {
  const OneShot<bool> answer;
  waiting_.emplace_back(question, answer);
  if (!round_) begin();
  co_return co_await answer.wait();
}

void FrameQuestions::forgetFrames() {
  frames_.clear();
  // A page on the move is in use.
  if (round_) finish(true);
}

void FrameQuestions::begin() {
  auto [question, answer] = std::move(waiting_.front());
  waiting_.pop_front();
  round_.emplace(++rounds_, question, answer);
  round_->timeout = g_timeout_add(
      patience,
      [](gpointer self) -> gboolean {
        auto& questions = *static_cast<FrameQuestions*>(self);
        questions.round_->timeout = 0;
        questions.finish(true);
        return G_SOURCE_REMOVE;
      },
      this);
  for (auto& [id, reply] : frames_) {
    round_->open.insert(id);
    // A frame that is still at an earlier question gets this one as soon as it is through.
    if (reply) put(reply);
  }
  runInPage(view_.get(), questionBody(question), gone_.get(), [this, number = rounds_](JSCValue* result) {
    if (!round_ || round_->number != number) return;
    if (!result || !jsc_value_is_boolean(result) || jsc_value_to_boolean(result)) return finish(true);
    round_->mainFrameOpen = false;
    finishWhenAllSaidNo();
  });
}

void FrameQuestions::receive(JSCValue* message, WebKitScriptMessageReply* reply) {
  const std::unique_ptr<char, decltype(&g_free)> text(jsc_value_to_string(message), g_free);
  std::istringstream words(text.get());
  std::string id, kind, answer;
  std::uint64_t number = 0;
  words >> id >> kind >> number >> answer;
  if (kind == "gone") {
    frames_.erase(id);
    if (!round_) return;
    round_->open.erase(id);
    return finishWhenAllSaidNo();
  }
  values_ = GObjectPointer<JSCContext>::share(jsc_value_get_context(message));
  auto& frame = frames_[id];
  frame.reset(webkit_script_message_reply_ref(reply));
  if (!round_) return;
  if (kind == "answer" && number != round_->number) return put(frame);
  // Also when a frame reports itself only now: somebody is using it.
  if (answer != "false") return finish(true);
  round_->open.erase(id);
  finishWhenAllSaidNo();
}

void FrameQuestions::put(Reply& frame) {
  const auto text = fmt::format("{} {}", questionName(round_->question), round_->number);
  const auto value = GObjectPointer<JSCValue>::adopt(jsc_value_new_string(values_.get(), text.c_str()));
  webkit_script_message_reply_return_value(frame.get(), value.get());
  frame.reset();
}

void FrameQuestions::finishWhenAllSaidNo() {
  if (round_ && !round_->mainFrameOpen && round_->open.empty()) finish(false);
}

void FrameQuestions::finish(bool answer) {
  if (round_->timeout) g_source_remove(round_->timeout);
  const auto asked = round_->answer;
  round_.reset();
  asked.set(answer);
  if (!waiting_.empty()) begin();
}

}  // namespace vale::gtk
