#pragma once

#include "common/OneShot.h"
#include "intelligence/IntelligenceClient.h"

#include <deque>
#include <exception>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace vale::test {

/// Stands for the intelligence: keeps what it is asked, and answers with what the test has laid out. A
/// question that nothing is laid out for waits until `answer` or `fail` is called, cancelled or not.
class ScriptedClient : public IntelligenceClient {
 public:
  struct Question {
    std::string prompt;
    std::string schema;
    IntelligenceOperation operation = IntelligenceOperation::general;
    Cancellation cancellation;
    std::optional<std::filesystem::path> directory;  ///< of an `explore`
  };
  struct Prewarmed {
    std::string schema;
    IntelligenceOperation operation;
  };

  /// Questions that still wait hold on to themselves: they are let go.
  ~ScriptedClient() override {
    for (const auto& one : waiting_) one.set({});
  }

  /// For the question that waits longest, or for the next one.
  void answer(std::string text) { give({.text = std::move(text)}); }
  template <typename Thrown> void fail(Thrown error) {
    give({.error = std::make_exception_ptr(std::move(error))});
  }

  std::vector<Question> questions;
  std::vector<Prewarmed> prewarmed;
  std::optional<std::string> missing;  ///< what `unavailability` says
  int availabilityChecks = 0;

  std::size_t calls() const { return questions.size() + prewarmed.size() + std::size_t(availabilityChecks); }

  Task<std::optional<std::string>> unavailability() override {
    ++availabilityChecks;
    co_return missing;
  }
  Task<std::string> classify(std::string prompt, std::string schema, IntelligenceOperation operation,
                             Cancellation cancellation) override {
    return ask({std::move(prompt), std::move(schema), operation, std::move(cancellation), std::nullopt});
  }
  Task<std::string> explore(std::string prompt, std::string schema, std::filesystem::path directory,
                            IntelligenceOperation operation, Cancellation cancellation) override {
    return ask(
        {std::move(prompt), std::move(schema), operation, std::move(cancellation), std::move(directory)});
  }
  void prewarm(const std::string& schema, IntelligenceOperation operation) override {
    prewarmed.push_back({schema, operation});
  }

 private:
  struct Answer {
    std::string text;
    std::exception_ptr error;
  };

  void give(Answer answer) {
    if (waiting_.empty()) {
      answers_.push_back(std::move(answer));
      return;
    }
    waiting_.front().set(std::move(answer));
    waiting_.pop_front();
  }

  Task<std::string> ask(Question question) {
    questions.push_back(std::move(question));
    const OneShot<Answer> result;
    if (answers_.empty()) {
      waiting_.push_back(result);
    } else {
      result.set(std::move(answers_.front()));
      answers_.pop_front();
    }
    Answer answer = co_await result.wait();
    if (answer.error) std::rethrow_exception(answer.error);
    co_return std::move(answer.text);
  }

  std::deque<Answer> answers_;
  std::deque<OneShot<Answer>> waiting_;
};

}  // namespace vale::test
