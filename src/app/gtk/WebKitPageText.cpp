#include "app/gtk/IsolatedWorld.h"
#include "app/gtk/WebKitPage.h"

#include <fmt/format.h>

#include <memory>
#include <string>
#include <string_view>
#include <utility>

/// Reading what a page says.
namespace vale::gtk {

namespace {

/// No page can give `location` another meaning; `document.body` may be an element that a page named so, which
/// then has little text. A character cut in half is mended, so that what arrives is a text.
constexpr std::string_view readBody =
    "return location.href + '\\n' + String(document.body?.innerText ?? '').slice(0, {}).toWellFormed();";

PageText parse(JSCValue* result) {
  if (!result || !jsc_value_is_string(result)) return {};
  const std::unique_ptr<char, decltype(&g_free)> held(jsc_value_to_string(result), g_free);
  const std::string_view answer = held ? held.get() : "";
  const auto end = answer.find('\n');
  if (end == std::string_view::npos) return {};
  return {.address = std::string(answer.substr(0, end)), .text = std::string(answer.substr(end + 1))};
}

}  // namespace

Task<PageText> WebKitPage::readText() {
  if (failure_.value() || !hasContent_.value()) co_return PageText();
  const auto gone = gone_;
  const auto document = document_.value();
  // Both at once: a page that is being left answers only until the next one arrives.
  const auto answer = askForText();
  const bool sensitive = co_await questions_.ask(FrameQuestion::sensitiveFields);
  auto text = co_await answer.wait();
  // What a document answered that is no longer there counts for nothing.
  if (g_cancellable_is_cancelled(gone.get()) || document_.value() != document) co_return PageText();
  text.sensitive = sensitive || text.address.empty();
  if (text.sensitive) text.text.clear();
  co_return text;
}

OneShot<PageText> WebKitPage::askForText() {
  const auto reader = readers_.emplace(readers_.end());
  const OneShot<PageText> answer = *reader;
  runInPage(view_.get(), fmt::format(readBody, mostTextUnits), gone_.get(), [this, reader](JSCValue* result) {
    reader->set(parse(result));
    readers_.erase(reader);
  });
  g_timeout_add_full(
      G_PRIORITY_DEFAULT, FrameQuestions::patience,
      [](gpointer answer) -> gboolean {
        static_cast<OneShot<PageText>*>(answer)->set({});
        return G_SOURCE_REMOVE;
      },
      new OneShot<PageText>(answer), [](gpointer answer) { delete static_cast<OneShot<PageText>*>(answer); });
  return answer;
}

}  // namespace vale::gtk
