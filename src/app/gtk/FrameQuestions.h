#pragma once

#include "app/gtk/FrameScript.h"
#include "app/gtk/GObjectPointer.h"
#include "app/gtk/Signal.h"
#include "common/OneShot.h"

#include <webkit/webkit.h>

#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>

namespace vale::gtk {

/// Puts questions to every frame of a page, those of other origins included, one question at a time. The main
/// frame is asked by a script; the others leave a message whose answer is their next question, because no
/// script of the main frame reaches them. Whatever does not answer, or wrongly, counts as a yes. Main thread
/// only.
class FrameQuestions {
 public:
  /// How long a page may take for an answer.
  static constexpr guint patience = 3000;  // milliseconds

  /// Installs the frames' script: call before the view's first load.
  explicit FrameQuestions(WebKitWebView* view);

  /// Answers what is still being asked with true.
  ~FrameQuestions();
  FrameQuestions(const FrameQuestions&) = delete;
  FrameQuestions& operator=(const FrameQuestions&) = delete;

  /// True when one frame says so, or fails to say no. The object may go while the answer is awaited.
  Task<bool> ask(FrameQuestion question);

  /// A new document is in the main frame: the frames of the old one are gone.
  void forgetFrames();

 private:
  struct Unref {
    void operator()(WebKitScriptMessageReply* reply) const { webkit_script_message_reply_unref(reply); }
  };
  /// The way to put the next question to a frame; null while the frame is at one.
  using Reply = std::unique_ptr<WebKitScriptMessageReply, Unref>;

  struct Round {
    std::uint64_t number;
    FrameQuestion question;
    OneShot<bool> answer;
    std::set<std::string> open;  ///< frames that have yet to answer
    bool mainFrameOpen = true;
    guint timeout = 0;
  };

  void receive(JSCValue* message, WebKitScriptMessageReply* reply);
  void begin();
  void put(Reply& frame);
  void finish(bool answer);
  void finishWhenAllSaidNo();

  GObjectPointer<WebKitWebView> view_;
  GObjectPointer<GCancellable> gone_;
  GObjectPointer<JSCContext> values_;
  std::map<std::string, Reply> frames_;
  std::deque<std::pair<FrameQuestion, OneShot<bool>>> waiting_;
  std::optional<Round> round_;
  std::uint64_t rounds_ = 0;
  Connection messages_;
};

}  // namespace vale::gtk
