#include "app/gtk/AgentPanel.h"
#include "app/gtk/IsolatedWorld.h"
#include "common/OneShot.h"
#include "common/Text.h"
#include "common/WebAddress.h"

#include <utility>

namespace vale::gtk {

namespace {

constexpr Seconds selectionPatience{2};
constexpr const char* selectionScript = "return String(getSelection()).slice(0, 20000);";

}  // namespace

/// Where a request is still looking for its project, it comes back to be changed.
void AgentPanel::stop() {
  auto& conversation = content_->conversation;
  if (conversation.activity().step != AgentActivity::Step::routing) return conversation.stop();
  takeBack(conversation.takeBack());
}

void AgentPanel::takeBack(const std::string& words) {
  auto& composer = content_->composer;
  // What was being written meanwhile stays.
  const auto written = composer.words();
  composer.setWords(onlyWhiteSpace(written) ? words : words + "\n\n" + written);
  composer.focus();
}

void AgentPanel::leaveEditing() {
  if (std::exchange(editing_, std::nullopt)) content_->composer.endEditing();
}

/// From the address entry: a new conversation, whatever the panel shows.
void AgentPanel::ask(const std::string& words) {
  if (onlyWhiteSpace(words)) return;
  if (!gtk_widget_get_visible(frame_)) open(true);
  content_->composer.focus();
  showThread(std::nullopt);
  const auto* page = place_.pages.page();
  const bool web = page && isWebAddress(page->address().value()) && !page->failure().value();
  const bool sends = web && sendsPage(PageChoice::usual, place_.context->model->mode, true);
  // Seen until it is on its way; what was being written stays.
  if (onlyWhiteSpace(content_->composer.words())) content_->composer.setWords(words);
  send({.words = words}, {.page = sends, .attachments = false});
}

void AgentPanel::sendFromComposer() {
  auto& composer = content_->composer;
  if (editing_) {
    if (desk_.hub().edit(*std::exchange(editing_, std::nullopt), composer.words(), composer.access()))
      return composer.endEditing();
    composer.endEditingKeepingWords();
    return composer.showProblem(
        "The request has begun or is gone meanwhile. Send the words as a new one, or clear them.");
  }
  if (composer.attachments().isReading())
    return composer.showProblem("A file is still being read. Send the request in a moment.");
  auto question = composer.question();
  if (const auto* thread = content_->conversation.summary()) question.destination = ToThread{thread->id};
  const bool page = composer.attachments().sendsPage();
  send(std::move(question), {.page = page, .attachments = true});
}

void AgentPanel::send(AgentQuestion question, Sending sending) {
  if (onlyWhiteSpace(question.words) || std::exchange(sending_, true)) return;
  content_->composer.setSending(true);
  spawn(carry(std::move(question), sending));
}

Task<> AgentPanel::carry(AgentQuestion question, Sending sending) {
  const Weak self = self_;
  const auto words = question.words;
  std::string problem;
  try {
    if (sending.page) {
      question.page = co_await readPage();
      if (self.expired()) co_return;
    }
    co_await content_->conversation.ask(std::move(question));
  } catch (const Error& error) {
    problem = error.message;
  }
  if (self.expired()) co_return;
  sending_ = false;
  auto& composer = content_->composer;
  composer.setSending(false);
  if (!problem.empty()) {
    // What was typed is never lost.
    if (onlyWhiteSpace(composer.words())) composer.setWords(words);
    composer.showProblem(problem);
  } else {
    if (composer.words() == words) composer.setWords({});
    // The conversation has taken their files.
    if (sending.attachments) composer.attachments().clear();
  }
  refresh();
}

/// The shown page as it is now; what of it may be sent is decided later.
Task<std::optional<PageContext>> AgentPanel::readPage() {
  const Weak self = self_;
  // Keeps the page until it has answered.
  const auto tab = place_.context->model->selected();
  auto* page = place_.pages.page();
  if (!tab || !page) co_return std::nullopt;
  PageContext context{.url = page->address().value(), .title = page->title().value()};
  auto text = co_await page->readText();
  if (self.expired()) co_return std::nullopt;
  context.responded = !text.address.empty();
  context.sensitive = text.sensitive;
  if (context.responded) context.url = text.address;
  context.text = validUtf8(std::move(text.text));
  co_return context;
}

// What is selected.

/// `selected` is what is known of it already: a frame inside the page is not asked.
void AgentPanel::askAboutSelection(const std::string& selected) {
  if (!gtk_widget_get_visible(frame_)) open(true);
  content_->composer.focus();
  spawn(attachSelection(selected));
}

Task<> AgentPanel::attachSelection(std::string selected) {
  const Weak self = self_;
  auto words = co_await readSelection();
  if (self.expired()) co_return;
  if (onlyWhiteSpace(words)) words = std::move(selected);
  auto page = co_await readPage();
  if (self.expired()) co_return;
  auto& composer = content_->composer;
  if (!page || onlyWhiteSpace(words)) co_return composer.showProblem("Nothing is selected on this page.");
  if (!isWebAddress(page->url))
    co_return composer.showProblem("Only what is selected on a web page can be attached.");
  if (page->sensitive) {
    co_return composer.showProblem(
        "This page has fields for passwords or payment. Nothing that stands on it is sent.");
  }
  page->selection = std::move(words);
  page->text.clear();
  composer.attachments().attachSelection(std::move(*page));
}

Task<std::string> AgentPanel::readSelection() {
  // Keeps the page until it has answered.
  const auto tab = place_.context->model->selected();
  auto* page = place_.pages.page();
  if (!tab || !page) co_return std::string();
  const OneShot<std::string> selected;
  auto limit = place_.clock.schedule(selectionPatience, [selected] { selected.set({}); });
  runInPage(page->view(), selectionScript, gone_.get(), [selected](JSCValue* result) {
    char* text = result && jsc_value_is_string(result) ? jsc_value_to_string(result) : nullptr;
    selected.set(text ? text : "");
    g_free(text);
  });
  auto words = co_await selected.wait();
  co_return validUtf8(std::move(words));
}

}  // namespace vale::gtk
