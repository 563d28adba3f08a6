// Asks Claude Code one question twice through the intelligence service, the second time by a process that was
// started ahead: SCHEMA_FILE PROMPT. Prints for each the answer and the call's record, a JSON line each, as
// `valectl ask --json` does; or the sentence on standard error and exits 1.
#include "app/ConsoleApplication.h"
#include "common/FileDescriptor.h"
#include "common/SupportFolder.h"

#include <boost/asio/steady_timer.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <fmt/format.h>

#include <cstdio>

namespace vale {
namespace {

void print(const IntelligenceService::Answer& answer) {
  fmt::print("{}\n", jsonText({{"answer", parseJson(answer.text)}, {"call", encode(answer.call)}}));
}

Task<bool> askTwice(ConsoleApplication& application, IntelligenceService::Question question) {
  auto& service = application.intelligence().service();
  const auto& pool = application.agents().classifierPool();
  const auto cold = co_await service.ask(question);
  print(cold);
  service.prewarm(question.schema, question.operation);
  // A CLI that waits for its request has been up for a moment.
  asio::steady_timer pause(co_await asio::this_coro::executor, std::chrono::seconds(2));
  co_await pause.async_wait(asio::use_awaitable);
  if (!pool.hasIdle()) throw Error("No process was started ahead.");
  const auto warm = co_await service.ask(question);
  if (pool.hasIdle() || pool.launchCount() != 1)
    throw Error("The process that was started ahead was not used.");
  print(warm);
  co_return true;
}

int run(const std::filesystem::path& schemaFile, const std::string& prompt) {
  ConsoleApplication application(supportFolder());
  application.intelligence().preferences().set(IntelligenceSettings::intelligenceProviderKey, "claude");
  auto schema = readFile(schemaFile);
  if (!schema) throw schema.error();
  application.run(askTwice(application, {.prompt = prompt, .schema = *schema}));
  return 0;
}

}  // namespace
}  // namespace vale

int main(int count, char** words) {
  if (count != 3) return 2;
  try {
    return vale::run(words[1], words[2]);
  } catch (const std::exception& error) {
    fmt::print(stderr, "{}\n", error.what());
    return 1;
  }
}
