#pragma once

#include "common/OneShot.h"
#include "common/Queues.h"

#include <exception>
#include <expected>
#include <type_traits>
#include <utility>

namespace vale {

/// Runs `work` on the queue, in its turn, and resumes the caller on its own executor with what it gives or
/// throws. What the work needs it must own: it is run even when the caller is gone.
template <typename Work, typename Result = std::invoke_result_t<Work&>>
Task<Result> callOn(SerialQueue queue, Work work) {
  using Outcome = std::expected<Result, std::exception_ptr>;
  const OneShot<Outcome> done;
  queue.post([work = std::move(work), done]() mutable {
    try {
      done.set(work());
    } catch (...) {
      done.set(std::unexpected(std::current_exception()));
    }
  });
  Outcome outcome = co_await done.wait();
  if (!outcome) std::rethrow_exception(outcome.error());
  co_return std::move(*outcome);
}

}  // namespace vale
