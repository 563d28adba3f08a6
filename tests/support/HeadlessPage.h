#pragma once

#include "browser/Page.h"

#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace vale::test {

/// A page without an engine: it is where it was told to go at once, and the test sets the rest.
class HeadlessPage : public Page {
 public:
  explicit HeadlessPage(std::uint64_t group) : group_(group) {}

  void load(const std::string& address) override {
    history.push_back(address);
    address_.set(address);
  }
  void reload() override {}
  void stop() override { ++stops; }
  void goBack() override {}
  void goForward() override {}
  Task<std::string> sessionState() override { co_return "state of " + address_.value(); }
  void restore(const std::string& state, const std::string& address) override {
    restoredFrom = state;
    load(address);
  }
  Task<bool> hasTypedText() override { co_return typedText; }
  Task<bool> isPlayingMedia() override { co_return playsMedia; }
  Task<PageText> readText() override { co_return shown; }
  void setMuted(bool muted) override { isMuted_.set(muted); }
  std::uint64_t processGroup() const override { return group_; }

  void setTitle(std::string title) { title_.set(std::move(title)); }
  void setPlayingAudio(bool plays) { isPlayingAudio_.set(plays); }
  void setCapture(PageCapture capture) { capture_.set(capture); }
  void askForPage(NewPageRequest& request) { newPage_.emit(request); }
  void askForLink(const std::string& address, bool selected) { linkInNewTab_.emit(address, selected); }
  void askForWindow(const std::string& address) { linkInNewWindow_.emit(address); }
  void askToClose() { closeRequested_.emit(); }

  /// A load of the address from its beginning to its end, with `shown` as the text of the new document.
  void finishLoad(PageTransition how, PageText text) {
    transition_ = how;
    startLoad(text.address);
    shown = std::move(text);
    document_.set(document_.value() + 1);
    isLoading_.set(false);
    loadEnded_.emit();
  }
  void startLoad(const std::string& address) {
    isLoading_.set(true);
    address_.set(address);
  }
  void failLoad(const std::string& address) {
    failure_.set(PageFailure{.address = address});
    loadEnded_.emit();
  }
  void moveTo(const std::string& address) { address_.set(address); }

  PageText shown;
  std::vector<std::string> history;
  std::string restoredFrom;
  int stops = 0;
  bool typedText = false;
  bool playsMedia = false;

 private:
  std::uint64_t group_;
};

/// Makes headless pages, each in a process of its own, and counts them.
class HeadlessEngine : public PageEngine {
 public:
  std::unique_ptr<Page> newPage() override { return std::make_unique<HeadlessPage>(++made); }

  std::uint64_t made = 0;
};

}  // namespace vale::test
