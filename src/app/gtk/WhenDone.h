#pragma once

#include "common/Error.h"
#include "common/Queues.h"

#include <boost/asio/co_spawn.hpp>

#include <exception>
#include <expected>
#include <functional>
#include <utility>

namespace vale::gtk {

/// Runs a task on the main executor and gives `done`, there too, what it returns or the error it ends with.
template <typename T>
void whenDone(const MainQueue& main, Task<T> task, std::function<void(std::expected<T, Error>)> done) {
  asio::co_spawn(main.executor(), std::move(task),
                 [done = std::move(done)](const std::exception_ptr& error, T value) {
                   if (!error) return done(std::move(value));
                   try {
                     std::rethrow_exception(error);
                   } catch (const Error& reason) {
                     done(std::unexpected(reason));
                   }
                 });
}

}  // namespace vale::gtk
