#include "agents/ChildProcess.h"
#include "common/OneShot.h"

#include <boost/asio/steady_timer.hpp>
#include <boost/asio/strand.hpp>

namespace vale {
namespace {

constexpr Seconds captureGrace{0.5};

/// What a capture collects, all of it on one strand.
struct Collected {
  std::string output;
  bool timedOut = false;
};

}  // namespace

Task<std::expected<ChildProcess::Capture, ChildProcessError>>
ChildProcess::capture(Launch launch, Seconds timeout, WorkerPool& workers) {
  launch.label = "Vale.child.capture";
  const SerialQueue queue(workers, launch.label);
  std::shared_ptr<ChildProcess> child;
  try {
    child = ChildProcess::launch(launch, queue.executor(), workers);
  } catch (const ChildProcessError& error) {
    co_return std::unexpected(error);
  }
  child->closeInput();

  const auto collected = std::make_shared<Collected>();
  const OneShot<Exit> ended;
  const auto timer = std::make_shared<asio::steady_timer>(
      queue.executor(), std::chrono::duration_cast<std::chrono::steady_clock::duration>(timeout));
  queue.post([timer, collected, weak = std::weak_ptr(child)] {
    timer->async_wait([timer, collected, weak](const boost::system::error_code& error) {
      const auto child = weak.lock();
      if (error || !child) return;
      collected->timedOut = true;
      child->terminate(captureGrace);
    });
  });
  child->attach(
      [collected, weak = std::weak_ptr(child)](const LineBatch& lines) {
        for (std::size_t i = 0; i < lines.size(); ++i) {
          if (collected->output.size() + lines[i].size() >= captureLimit) {
            // More than any answer that is waited for: it would only grow.
            if (const auto child = weak.lock()) child->terminate(captureGrace);
            return;
          }
          collected->output.append(lines[i]).push_back('\n');
        }
      },
      [ended, timer](const Exit& exit) {
        timer->cancel();
        ended.set(exit);
      });
  Exit exit = co_await ended.wait();
  co_return Capture{
      .exit = std::move(exit), .output = std::move(collected->output), .timedOut = collected->timedOut};
}

}  // namespace vale
