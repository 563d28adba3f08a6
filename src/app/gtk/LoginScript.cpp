#include "app/gtk/LoginScript.h"

#include <fmt/format.h>

#include <string_view>

namespace vale::gtk {

namespace {

/// A form's properties are taken from its class: a field that is named like one would stand in its place.
/// `self.origin` is null in a sandboxed frame, whose `location` still has the address.
constexpr std::string_view script = R"js((() => {{
  const browser = window.webkit.messageHandlers.{};
  const types = ['text', 'email', 'tel', 'url', 'number', 'password'];
  const most = 40, interval = 300, patience = 15000;
  const getter = (kind, name) => Object.getOwnPropertyDescriptor(kind.prototype, name).get;
  const elementsOf = getter(HTMLFormElement, 'elements'), actionOf = getter(HTMLFormElement, 'action');
  const formOf = getter(HTMLInputElement, 'form');
  let asked = 0, waiting = false, watched = 0;

  const served = () => self.origin !== 'null' && self.origin === location.origin
    && /^https?:$/.test(location.protocol) && [...location.ancestorOrigins].every(one => one === self.origin);
  const isField = one => one?.localName === 'input' && types.includes(one.type);
  const fieldsAround = (form, root) => {{
    const all = form ? elementsOf.call(form) : root.querySelectorAll('input');
    return [...all].filter(one => isField(one) && (form || !formOf.call(one))).slice(0, most);
  }};
  const seen = one => {{
    if (!one.isConnected) return false;
    const box = one.getBoundingClientRect(), style = getComputedStyle(one);
    return box.width > 4 && box.height > 4 && style.visibility === 'visible' && Number(style.opacity) > 0.1;
  }};
  const describe = (one, withValue) => ({{
    type: one.type, purpose: (one.getAttribute('autocomplete') ?? '').slice(0, 200), visible: seen(one),
    editable: !one.readOnly && !one.disabled, ...(withValue ? {{value: one.value.slice(0, 5000)}} : {{}})}});
  const actionFor = (form, submitter) => {{
    if (!form) return self.origin;
    try {{
      const own = submitter?.hasAttribute?.('formaction') ? submitter.formAction : '';
      return new URL(own || actionOf.call(form) || location.href, document.baseURI).origin;
    }} catch {{ return ''; }}
  }};
  const placeOf = one => {{
    const {{x, y, width, height}} = one.getBoundingClientRect();
    const place = {{x, y, width, height}};
    for (let inner = window; inner !== inner.parent; inner = inner.parent) {{
      const frame = inner.frameElement, box = frame.getBoundingClientRect();
      place.x += box.x + frame.clientLeft;
      place.y += box.y + frame.clientTop;
    }}
    return place;
  }};
  const tell = (kind, more = {{}}) => browser.postMessage(JSON.stringify(
    {{kind, origin: self.origin, action: '', fields: [], ...more}}));

  const ask = async field => {{
    if (!served()) return;
    const form = formOf.call(field), fields = fieldsAround(form, field.getRootNode());
    if (!fields.includes(field)) return;
    if (!fields.some(one => one.type === 'password' || /username/i.test(one.autocomplete))) return;
    const mine = ++asked, action = actionFor(form);
    waiting = true;
    let answer;
    try {{
      answer = await tell('ask', {{action, field: fields.indexOf(field), place: placeOf(field),
                                   fields: fields.map(one => describe(one, false))}});
    }} catch {{}}
    if (mine !== asked) return;
    waiting = false;
    // Meanwhile the page may have turned the form elsewhere.
    if (typeof answer !== 'string' || !served() || actionFor(form) !== action) return;
    for (const [index, text] of JSON.parse(answer)) {{
      const one = fields[index];
      if (!one?.isConnected || formOf.call(one) !== form) continue;
      one.value = text;
      for (const type of ['input', 'change']) one.dispatchEvent(new Event(type, {{bubbles: true, composed: true}}));
    }}
  }};
  const leave = () => {{
    if (!waiting) return;
    waiting = false;
    ++asked;
    tell('leave').catch(() => {{}});
  }};

  const submit = (form, root, submitter) => {{
    if (!served()) return;
    const fields = fieldsAround(form, root);
    const secret = fields.find(one => one.type === 'password' && one.value !== '');
    if (!secret && !fields.some(one => /username/i.test(one.autocomplete) && one.value !== '')) return;
    tell('submitted', {{action: actionFor(form, submitter), fields: fields.map(one => describe(one, true))}})
      .catch(() => {{}});
    if (secret) watch(secret);
  }};
  const watch = secret => {{
    const mine = ++watched, end = Date.now() + patience;
    const look = () => {{
      if (mine !== watched || Date.now() > end) return;
      if (seen(secret)) return setTimeout(look, interval);
      ++watched;
      tell('gone').catch(() => {{}});
    }};
    setTimeout(look, interval);
    addEventListener('pagehide', () => {{
      if (mine === watched && window !== window.top) tell('gone').catch(() => {{}});
    }}, {{once: true}});
  }};

  const target = event => event.composedPath()[0];
  const clicked = event => {{
    if (!event.isTrusted) return;
    const at = target(event);
    if (isField(at)) {{
      if (at.value === '') ask(at);
      return;
    }}
    // Not links that lead elsewhere, such as to a forgotten password.
    const button = at.closest?.('button, input, [role=button], a:not([href]), a[href^="#"], a[href^="javascript:"]');
    if (button && (button.localName !== 'input' || ['submit', 'image', 'button'].includes(button.type))) {{
      submit(button.form ?? button.closest('form'), button.getRootNode(), button);
    }}
  }};
  const pressed = event => {{
    const at = target(event);
    if (!event.isTrusted || !isField(at) || event.isComposing) return;
    if (event.key === 'Enter') {{
      submit(formOf.call(at), at.getRootNode());
    }} else if (event.key === 'Escape') {{
      leave();
    }} else if (event.key === 'ArrowDown' && !event.altKey && !event.ctrlKey) {{
      if (waiting) tell('enter').catch(() => {{}});
      else if (at.value === '') ask(at);
    }}
  }};
  const released = event => {{
    const at = target(event);
    if (event.isTrusted && event.key === 'Tab' && isField(at) && at.value === '') ask(at);
  }};
  const submitted = event => {{
    if (event.isTrusted) submit(event.target, document, event.submitter);
  }};
  // The list itself takes the keyboard from the page as a whole.
  const unfocused = () => {{
    if (document.hasFocus()) leave();
  }};
  const listen = () => {{
    addEventListener('click', clicked, true);
    addEventListener('keydown', pressed, true);
    addEventListener('keyup', released, true);
    addEventListener('submit', submitted, true);
    for (const event of ['input', 'scroll', 'resize', 'pagehide']) addEventListener(event, leave, true);
    addEventListener('focusout', unfocused, true);
  }};
  listen();
  // A page that writes itself anew (document.open) loses every listener, these too.
  new MutationObserver(listen).observe(document, {{childList: true}});
}})();)js";

constexpr const char* isAsking = R"js(
  const seen = one => {
    const box = one.getBoundingClientRect();
    return box.width > 4 && box.height > 4 && getComputedStyle(one).visibility === 'visible';
  };
  const asks = root => {
    for (const one of root.querySelectorAll('input[type=password]')) if (seen(one)) return true;
    for (const frame of root.querySelectorAll('iframe, frame')) {
      if (frame.contentDocument && seen(frame) && asks(frame.contentDocument)) return true;
    }
    return false;
  };
  return asks(document);
)js";

}  // namespace

const std::string& loginScript() {
  static const std::string text = fmt::format(script, loginMessages);
  return text;
}

const char* isAskingBody() { return isAsking; }

}  // namespace vale::gtk
