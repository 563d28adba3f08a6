#include "app/gtk/FrameScript.h"

#include <fmt/format.h>

#include <string_view>

namespace vale::gtk {

namespace {

/// True when an element that was typed into holds text that its document did not come with. An element
/// without an inside that scripts may see (a closed shadow root) may hold anything.
constexpr std::string_view typedText = R"js(() => {
  const typed = window.__valeTyped;
  if (!typed) return false;
  const withoutText = ['checkbox', 'radio', 'range', 'color', 'file', 'submit', 'button', 'hidden'];
  for (const element of typed) {
    if (!element.isConnected) {
      typed.delete(element);
    } else if (element.localName === 'input' || element.localName === 'textarea') {
      if (withoutText.includes(element.type)) continue;
      if (element.value.trim() !== '' && element.value !== element.defaultValue) return true;
    } else if (element.isContentEditable) {
      let editor = element;
      while (editor.parentElement?.isContentEditable) editor = editor.parentElement;
      if (editor.innerText.trim() !== '') return true;
    } else if (window.__valeClosed?.has(element)) {
      return true;
    }
  }
  return false;
})js";

constexpr std::string_view playingMedia = R"js(() => {
  const plays = root => {
    for (const media of root.querySelectorAll('audio, video')) {
      if (!media.paused && !media.ended && media.readyState > 2) return true;
    }
    const elements = document.createTreeWalker(root, NodeFilter.SHOW_ELEMENT);
    while (elements.nextNode()) {
      const inside = elements.currentNode.shadowRoot;
      if (inside && plays(inside)) return true;
    }
    return false;
  };
  return plays(document);
})js";

/// By the type, or by what the field is for (HTML, "Autofill detail tokens").
constexpr std::string_view sensitiveFields = R"js(() => {
  const holds = root => {
    for (const field of root.querySelectorAll('input, select, textarea')) {
      if (field.type === 'password') return true;
      const purposes = (field.getAttribute('autocomplete') ?? '').toLowerCase().split(/\s+/);
      const secret = ['current-password', 'new-password', 'one-time-code'];
      if (purposes.some(purpose => purpose.startsWith('cc-') || secret.includes(purpose))) return true;
    }
    const elements = document.createTreeWalker(root, NodeFilter.SHOW_ELEMENT);
    while (elements.nextNode()) {
      const inside = elements.currentNode.shadowRoot;
      if (inside && holds(inside)) return true;
    }
    return false;
  };
  return holds(document);
})js";

/// `visit` tells the loops of a document's earlier stays on screen from the present one's: a document that
/// comes back out of the engine's page cache reports itself anew.
constexpr std::string_view watch = R"js((() => {{
  const questions = {{typedText: {}, playingMedia: {}, sensitiveFields: {}}};
  const browser = window.webkit.messageHandlers.{};
  const frame = String(Math.random()).slice(2);
  let visit = 0, reported = false;

  const report = async () => {{
    if (reported || window === window.top) return;
    reported = true;
    const mine = visit;
    let message = `${{frame}} here`;
    try {{
      while (mine === visit) {{
        const question = await browser.postMessage(message);
        if (mine !== visit || !question) break;
        const [name, round] = question.split(' ');
        let answer = true;
        try {{ answer = questions[name](); }} catch {{}}
        message = `${{frame}} answer ${{round}} ${{answer}}`;
      }}
    }} catch {{}}
    if (mine === visit) reported = false;
  }};

  const typing = event => {{
    if (!event.isTrusted) return;
    const element = event.composedPath()[0];
    (window.__valeTyped ??= new Set()).add(element);
    if (!['input', 'textarea', 'select'].includes(element.localName) && !element.isContentEditable) {{
      (window.__valeClosed ??= new WeakSet()).add(element);
    }}
    report();
  }};
  const looking = () => {{
    if (!reported && window !== window.top && questions.sensitiveFields()) report();
  }};
  const leaving = () => {{
    if (reported) browser.postMessage(`${{frame}} gone`).catch(() => {{}});
    reported = false;
    ++visit;
  }};
  const returning = event => {{
    if (event.persisted && (window.__valeTyped || questions.playingMedia())) report();
    looking();
  }};
  const listen = () => {{
    addEventListener('input', typing, true);
    addEventListener('play', report, true);
    addEventListener('playing', report, true);
    addEventListener('DOMContentLoaded', looking);
    addEventListener('focusin', looking, true);
    addEventListener('pagehide', leaving);
    addEventListener('pageshow', returning);
  }};
  listen();
  // A page that writes itself anew (document.open) loses every listener, these too.
  new MutationObserver(listen).observe(document, {{childList: true}});
}})();)js";

constexpr std::string_view source(FrameQuestion question) {
  switch (question) {
  case FrameQuestion::typedText:
    return typedText;
  case FrameQuestion::playingMedia:
    return playingMedia;
  case FrameQuestion::sensitiveFields:
    break;
  }
  return sensitiveFields;
}

}  // namespace

const std::string& frameScript() {
  static const std::string script =
      fmt::format(watch, typedText, playingMedia, sensitiveFields, frameMessages);
  return script;
}

std::string questionBody(FrameQuestion question) { return fmt::format("return ({})();", source(question)); }

const char* questionName(FrameQuestion question) {
  switch (question) {
  case FrameQuestion::typedText:
    return "typedText";
  case FrameQuestion::playingMedia:
    return "playingMedia";
  case FrameQuestion::sensitiveFields:
    break;
  }
  return "sensitiveFields";
}

}  // namespace vale::gtk
