#include "app/ctl/RunOutput.h"

#include "app/ctl/Ctl.h"
#include "common/Text.h"

#include <fmt/format.h>

#include <cstdio>
#include <map>
#include <set>
#include <unistd.h>

namespace vale::ctl {
namespace {

template <typename... Handlers> struct Overloaded : Handlers... { using Handlers::operator()...; };

/// One of the standard streams, on which texts follow each other with a line between them.
class Stream {
 public:
  explicit Stream(std::FILE* file) : file_(file) {}

  /// The next piece of a text; pieces with the same id belong together.
  void piece(const std::string& id, std::string_view text) {
    if (text.empty()) return;
    if (id != open_) endText();
    open_ = id;
    write(text);
  }
  void endText() {
    if (!atLineStart_) write("\n");
    open_.clear();
  }
  void line(std::string_view text) {
    endText();
    write(text);
    write("\n");
  }

 private:
  void write(std::string_view text) {
    const std::string shown = forTerminal(text, ::fileno(file_));
    std::fwrite(shown.data(), 1, shown.size(), file_);
    std::fflush(file_);
    atLineStart_ = text.ends_with('\n');
  }

  std::FILE* file_;
  std::string open_;
  bool atLineStart_ = true;
};

class PlainOutput : public RunOutput {
 public:
  void show(const AgentRun& run, const std::vector<AgentStreamEvent>& events) override {
    for (; shownActivity_ < run.activity().size(); ++shownActivity_)
      errors_.line(run.activity()[shownActivity_]);
    for (const auto& event : events) {
      std::visit(Overloaded{
                     [&](const stream::Text& item) { showText(answer_, item); },
                     [&](const stream::Thinking& item) { showText(errors_, item); },
                     [&](const ToolCall& call) { showCall(call); },
                     [&](const stream::FinalText& final) {
                       // What was streamed already is the answer; only a structured one comes as a whole.
                       if (final.text != lastText_) answer_.piece("final", final.text);
                     },
                     [&](const stream::Notice& notice) { errors_.line(notice.message); },
                     [&](const stream::Error&) {},  // The run's message, printed at the end.
                     [&](const stream::Ended&) {},
                 },
                 event);
    }
  }

  void finish(const AgentRun& run) override {
    show(run, {});
    answer_.endText();
    errors_.endText();
    if (!run.message().empty()) errors_.line("valectl: " + singleLine(run.message()));
  }

 private:
  template <typename Item> void showText(Stream& stream, const Item& item) {
    std::string& shown = shownTexts_[item.id];
    if (item.append) {
      stream.piece(item.id, item.text);
      shown += item.text;
    } else {
      // The whole of what was streamed in pieces: only what is new of it, if it goes on.
      const bool goesOn = item.text.starts_with(shown);
      stream.piece(item.id,
                   goesOn ? std::string_view(item.text).substr(shown.size()) : std::string_view(item.text));
      shown = item.text;
    }
    if (&stream == &answer_) lastText_ = shown;
  }

  void showCall(const ToolCall& call) {
    if (call.status == ToolStatus::running || !endedCalls_.insert(call.id).second) return;
    errors_.line(fmt::format("{} {}", call.status == ToolStatus::completed ? "✓" : "✗", call.summary));
  }

  Stream answer_{stdout};
  Stream errors_{stderr};
  std::size_t shownActivity_ = 0;
  std::map<std::string, std::string> shownTexts_;
  std::set<std::string> endedCalls_;
  std::string lastText_;
};

class EventOutput : public RunOutput {
 public:
  void show(const AgentRun&, const std::vector<AgentStreamEvent>& events) override {
    for (const auto& event : events) {
      std::visit(Overloaded{
                     [](const stream::Text& item) { printText("text", item); },
                     [](const stream::Thinking& item) { printText("thinking", item); },
                     [](const ToolCall& call) {
                       auto tool = encode(call).as_object();
                       if (call.startedAt) tool["startedAt"] = iso8601(*call.startedAt);
                       printJson({{"event", "tool"}, {"tool", std::move(tool)}});
                     },
                     [](const stream::FinalText& final) {
                       printJson({{"event", "finalText"}, {"text", final.text}});
                     },
                     [](const stream::Notice& notice) {
                       printJson({{"event", "notice"}, {"message", notice.message}});
                     },
                     [](const stream::Error& error) {
                       printJson({{"event", "error"}, {"message", error.message}});
                     },
                     [](const stream::Ended& end) {
                       printJson({{"event", "ended"}, {"success", end.success}});
                     },
                 },
                 event);
    }
  }

  void finish(const AgentRun& run) override {
    json::object line{{"event", "finished"}, {"status", encode(run.status())}};
    if (run.sessionID()) line["sessionID"] = *run.sessionID();
    if (run.model()) line["model"] = *run.model();
    if (run.exitCode()) line["exitCode"] = *run.exitCode();
    if (run.usage()) line["usage"] = encode(*run.usage());
    line["activity"] = encode(run.activity());
    if (!run.message().empty()) line["message"] = run.message();
    printJson(line);
  }

 private:
  template <typename Item> static void printText(std::string_view event, const Item& item) {
    printJson(
        {{"event", json::string(event)}, {"id", item.id}, {"text", item.text}, {"append", item.append}});
  }
};

}  // namespace

bool RunOutput::isBroken() const { return std::ferror(stdout) != 0; }

std::unique_ptr<RunOutput> makeRunOutput(RunFormat format) {
  if (format == RunFormat::events) return std::make_unique<EventOutput>();
  return std::make_unique<PlainOutput>();
}

}  // namespace vale::ctl
