#pragma once

#include <string>

namespace vale {

/// Which downloads of one page go ahead: one for each thing that the user does, and no more without being
/// allowed to. Main thread only.
class AutomaticDownloads {
 public:
  enum class Answer { goAhead, ask, refused };

  /// The user pressed a key or a button in the page, or opened it. Acts do not add up.
  void noteUserAct() { acted_ = true; }

  /// The page shows a document of this site now. What was answered holds for the site it was answered for.
  void noteSite(const std::string& site);

  /// The page begins a download.
  Answer request();

  /// What the user answers to the question: for as long as the page stays at the site.
  void allow() { answer_ = Answer::goAhead; }
  void refuse() { answer_ = Answer::refused; }

 private:
  std::string site_;
  bool acted_ = true;
  Answer answer_ = Answer::ask;
};

}  // namespace vale
