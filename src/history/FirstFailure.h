#pragma once

#include "common/Error.h"

#include <exception>
#include <utility>

namespace vale {

/// For work on several files, of which one that fails shall not keep the others from being done: the first
/// error waits until the end.
class FirstFailure {
 public:
  template <typename Work> void guard(Work&& work) try { std::forward<Work>(work)(); } catch (const Error&) {
    if (!first_) first_ = std::current_exception();
  }

  void rethrow() const {
    if (first_) std::rethrow_exception(first_);
  }

 private:
  std::exception_ptr first_;
};

}  // namespace vale
